#include "kvern/run/statistics.h"

#include "kvern/options/optiontable.h"

#include <nlohmann/json.hpp>

#include <cstdio>

namespace command {

namespace {

using json = nlohmann::ordered_json;

json describe(const runfacts &facts, const watch &seen) {
    const KVRNSTAT &stat = seen.counters();
    const uint64_t written = facts.kind == jobkind::check ? 0 : stat.delivered;
    json seconds = {{"total", seen.elapsed()}};
    for (size_t phase = 0; phase < watch::phases; ++phase)
        if (seen.seconds(phase) > 0)
            seconds[watch::nameof(phase)] = seen.seconds(phase);
    json out = {{"command", jobname(facts.kind)},
                {"records",
                 {{"read", stat.taken + facts.shorts + facts.header},
                  {"header", facts.header},
                  {"short", facts.shorts},
                  {"dropped", stat.rejected},
                  {"duplicate", stat.suppressed},
                  {"summed", stat.summed},
                  {"written", written + (facts.kind == jobkind::check ? 0 : facts.header)}}},
                {"bytes", {{"read", facts.bytesread}, {"written", facts.byteswritten}}}};
    if (facts.kind == jobkind::sort)
        out["sort"] = {{"external", stat.datablocks != 0},  {"strings", stat.strings},
                       {"temporary_files", stat.tempfiles}, {"temporary_bytes", stat.tempbytes},
                       {"blocks_written", stat.tempwrites}, {"blocks_read", stat.tempreads},
                       {"blocks_spilled", stat.spills}};
    out["seconds"] = seconds;
    return out;
}

// The same object, a line for each part.
std::string astext(const json &facts) {
    std::string text;
    for (const auto &part : facts.items()) {
        text += part.key() + std::string(10 - std::min<size_t>(part.key().size(), 9), ' ');
        if (!part.value().is_object()) {
            text += part.value().get<std::string>() + "\n";
            continue;
        }
        const char *comma = "";
        for (const auto &one : part.value().items()) {
            std::string name = one.key();
            std::replace(name.begin(), name.end(), '_', ' ');
            text += comma + name + " ";
            if (one.value().is_number_float()) {
                char number[32];
                std::snprintf(number, sizeof number, "%.3f", one.value().get<double>());
                text += number;
            } else if (one.value().is_boolean()) {
                text += one.value().get<bool>() ? "yes" : "no";
            } else {
                text += std::to_string(one.value().get<uint64_t>());
            }
            comma = ", ";
        }
        text += "\n";
    }
    return text;
}

} // namespace

void printstatistics(const std::string &form, const runfacts &facts, const watch &seen) {
    const json all = describe(facts, seen);
    std::fputs((form == "json" ? all.dump() + "\n" : astext(all)).c_str(), stderr);
}

} // namespace command
