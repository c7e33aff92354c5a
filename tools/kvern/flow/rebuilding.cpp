#include "kvern/flow/rebuilding.h"

#include "kvern/plan/plan.h"
#include "kvern/plan/storage.h"

#include <algorithm>

namespace command {

namespace {

// Beside its tables a session holds so many records.
constexpr uint32_t mergedrecords = 8, sortedrecords = 48;

} // namespace

rebuilder::rebuilder(const jobplan &planned)
    : plan(planned), sorts(plan.view.text && plan.shape.end == lineend::crlf),
      what(sorts ? plan.engine : planmerge(plan, 1)) {
    KVRNPRIM &prim = what.prim;
    const auto least = static_cast<uint32_t>(
        leaststorage + uint64_t{sorts ? sortedrecords : mergedrecords} * prim.reclen);
    prim.memsize = sorts ? std::max(prim.memsize, least) : least; // whatever -S says
}

void rebuilder::start() {
    out.clear();
    count = 0;
    engine.emplace(what);
}

void rebuilder::take(std::string_view raw, std::string_view data) {
    if (sorts)
        engine->put(raw.data(), static_cast<uint32_t>(raw.size()));
    else if (plan.view.text)
        step(raw.data(), raw.size());
    else
        step(data.data(), data.size());
}

// Each record but the first one puts out the one ahead of it.
void rebuilder::step(const char *record, size_t length) {
    const void *data = nullptr;
    uint32_t bytes = 0;
    engine->step(record, length, &data, &bytes);
    if (data != nullptr)
        add({static_cast<const char *>(data), bytes});
}

void rebuilder::add(std::string_view record) {
    record.remove_prefix(plan.leadingbytes());
    if (plan.shape.kind == formkind::variable)
        addprefix(*plan.shape.frame, static_cast<uint32_t>(record.size()), out);
    out.append(record);
    ++count;
}

std::string_view rebuilder::finish() {
    if (sorts) {
        engine->endinput();
        drain();
    } else {
        const void *data = nullptr;
        uint32_t length = 0;
        while (engine->step(nullptr, 0, &data, &length))
            if (data != nullptr)
                add({static_cast<const char *>(data), length});
    }
    engine->close();
    engine.reset();
    return out;
}

void rebuilder::drain() {
    const std::string_view end = endbytes(plan.shape.end);
    const void *data = nullptr;
    uint32_t length = 0;
    while (engine->get(&data, &length)) {
        std::string_view lines(static_cast<const char *>(data), length);
        while (!lines.empty()) {
            const size_t line = lines.find(end) + end.size();
            add(lines.substr(0, line));
            lines.remove_prefix(line);
        }
    }
}

} // namespace command
