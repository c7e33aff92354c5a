#include "kvern/run/statistics.h"

#include "kvern/options/optiontable.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <cstdio>
#include <numeric>

namespace command {

namespace {

using json = nlohmann::ordered_json;

uint64_t headerrecords(const flowjob &job) {
    uint64_t records = 0;
    for (const inputsource &source : job.sources)
        records += source.skippedrecords();
    return records;
}

// What parts hold is less than what was read for them, by prefixes of blocks and records
// that are left out.
uint64_t bytesread(const flowjob &job, bool done) {
    uint64_t fed = job.seen.bytesfed(), all = 0;
    bool whole = done;
    for (const inputsource &source : job.sources) {
        whole = whole && !source.endsatmark();
        fed += source.skipped();
        all += source.skipped() + (source.placed() ? source.size() : source.taken());
    }
    return whole ? all : fed;
}

json records(const flowjob &job) {
    const KVRNSTAT &stat = job.seen.counters();
    const uint64_t header = headerrecords(job);
    const bool writes = job.plan.kind != jobkind::check;
    return {
        {"read", stat.taken + job.counts.taken + job.counts.dropped + job.counts.shorts + header},
        {"header", header},
        {"short", job.counts.shorts},
        {"dropped", stat.rejected + job.counts.dropped},
        {"duplicate", stat.suppressed},
        {"summed", stat.summed},
        {"written", writes ? stat.delivered + job.counts.taken + header : 0}};
}

json sessions(const flowjob &job) {
    const std::vector<uint64_t> &ranges = job.counts.ranges;
    const uint64_t all = std::accumulate(ranges.begin(), ranges.end(), uint64_t{0});
    const auto share = [&](uint64_t count) {
        return all == 0 ? 1.0 : static_cast<double>(count) / static_cast<double>(all);
    };
    json out = {{"jobs", job.storage.jobs}};
    if (job.plan.kind == jobkind::sort)
        out.update({{"sessions", std::max<size_t>(ranges.size(), 1)},
                    {"session_memory", job.storage.memory}});
    if (ranges.size() > 1) {
        const auto [least, most] = std::minmax_element(ranges.begin(), ranges.end());
        out.update({{"ranges", ranges.size()},
                    {"smallest_share", share(*least)},
                    {"largest_share", share(*most)}});
    }
    return out;
}

json describe(const flowjob &job, bool done) {
    const KVRNSTAT &stat = job.seen.counters();
    json seconds = {{"total", job.seen.elapsed()}};
    for (size_t phase = 0; phase < watch::phases; ++phase)
        if (job.seen.seconds(phase) > 0)
            seconds[watch::nameof(phase)] = job.seen.seconds(phase);
    const uint64_t written = job.target != nullptr ? job.target->bytes() : job.counts.outbytes;
    json out = {{"command", jobname(job.plan.kind)},
                {"finished", done},
                {"records", records(job)},
                {"bytes", {{"read", bytesread(job, done)}, {"written", written}}},
                {"parallel", sessions(job)}};
    if (job.plan.kind == jobkind::sort)
        out["sort"] = {{"external", stat.datablocks != 0},  {"strings", stat.strings},
                       {"temporary_files", stat.tempfiles}, {"temporary_bytes", stat.tempbytes},
                       {"blocks_written", stat.tempwrites}, {"blocks_read", stat.tempreads},
                       {"blocks_spilled", stat.spills}};
    out["seconds"] = seconds;
    return out;
}

std::string shown(const json &value) {
    if (value.is_string())
        return value.get<std::string>();
    if (value.is_boolean())
        return value.get<bool>() ? "yes" : "no";
    if (!value.is_number_float())
        return std::to_string(value.get<uint64_t>());
    char number[32];
    std::snprintf(number, sizeof number, "%.3f", value.get<double>());
    return number;
}

// The same object, a line for each part.
std::string astext(const json &facts) {
    std::string text;
    for (const auto &part : facts.items()) {
        text += part.key() + std::string(10 - std::min<size_t>(part.key().size(), 9), ' ');
        if (part.value().is_object()) {
            const char *comma = "";
            for (const auto &one : part.value().items()) {
                std::string name = one.key();
                std::replace(name.begin(), name.end(), '_', ' ');
                text.append(comma).append(name).append(" ").append(shown(one.value()));
                comma = ", ";
            }
        } else {
            text += shown(part.value());
        }
        text += "\n";
    }
    return text;
}

} // namespace

void printstatistics(const flowjob &job, bool done) {
    const json all = describe(job, done);
    const bool asjson = job.options.stats == "json";
    std::fputs((asjson ? all.dump() + "\n" : astext(all)).c_str(), stderr);
}

} // namespace command
