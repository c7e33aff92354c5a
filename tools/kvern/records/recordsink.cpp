#include "kvern/records/recordsink.h"

#include "kvern/system/report.h"

namespace command {

namespace {

constexpr size_t gathered = size_t{64} << 10; // bytes go out in one call

} // namespace

void recordsink::write(const void *data, size_t length) {
    if (shape.blocked())
        leading.append(static_cast<const char *>(data), length);
    else
        out(data, length);
}

void recordsink::put(const void *data, size_t length) {
    settle();
    addprefix(*shape.frame, static_cast<uint32_t>(length), framed);
    framed.append(static_cast<const char *>(data), length);
    if (shape.blocked())
        addtoblock(framed);
    else if (framed.size() < gathered)
        return;
    else
        out(framed.data(), framed.size());
    framed.clear();
}

// The records of the header lead the first block.
void recordsink::settle() {
    if (!shape.blocked() || room != 0)
        return;
    room = limit();
    putframed(leading);
}

void recordsink::putframed(std::string_view records) {
    if (!shape.blocked()) {
        out(records.data(), records.size());
        return;
    }
    settle();
    while (!records.empty()) {
        uint32_t length = 0;
        readprefix(*shape.frame, records.data(), length);
        const size_t whole = shape.frame->prefix + length;
        addtoblock(records.substr(0, whole));
        records.remove_prefix(whole);
    }
}

void recordsink::addtoblock(std::string_view record) {
    const size_t prefix = shape.frame->prefix;
    if (exact && prefix + record.size() > room)
        throw failure{ending::data,
                      "a record of " + plural(record.size() - prefix, "byte") +
                          " takes a block of " + std::to_string(prefix + record.size()) +
                          ", more than --block-size " + std::to_string(room),
                      "raise --block-size"};
    if (!block.empty() && prefix + block.size() + record.size() > room)
        endblock();
    block += record;
}

void recordsink::endblock() {
    std::string front;
    addprefix(*shape.frame, static_cast<uint32_t>(block.size()), front);
    out(front.data(), front.size());
    out(block.data(), block.size());
    block.clear();
}

void recordsink::finish() {
    settle();
    if (!block.empty())
        endblock();
    if (!framed.empty())
        out(framed.data(), framed.size());
    framed.clear();
}

} // namespace command
