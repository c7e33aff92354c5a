#include "kvern/flow/exchange.h"

#include "kvern/system/failure.h"

namespace command {

namespace {

constexpr uint64_t toldatonce = uint64_t{1} << 20;

[[noreturn]] void failorder(const recordreader &record) {
    throw failure{ending::notinorder, record.whichrecord() + " sorts before the one ahead of it",
                  "sort each input first, by the same keys", 40, KVRN_D_ORDER};
}

} // namespace

// A line that ends in CR LF as one that ends in the byte of the plan.
std::string_view exchange::withend(const recordreader &record) {
    if (record.data().find(plan.lineput[0]) != std::string_view::npos)
        throw failure{ending::data,
                      record.whichrecord() + " holds a bare line feed or carriage return",
                      "such lines can be sorted, checked and copied, but not merged here"};
    brought.assign(record.data());
    brought += plan.lineput;
    return brought;
}

void exchange::tell() {
    if (seen != nullptr)
        seen->fed(untold);
    untold = 0;
}

// Without bytes: the input has ended.
std::string_view exchange::fetch(size_t input) {
    if (!intakes[input].next())
        return {};
    const recordreader &record = intakes[input].record();
    untold += record.raw().size();
    if (untold >= toldatonce)
        tell();
    if (!plan.view.text)
        return record.data();
    return otherend ? withend(record) : record.raw();
}

bool exchange::next(std::string_view &record) {
    const void *data = nullptr;
    uint32_t length = 0;
    do {
        const bool wanted = engine.wantsinput();
        const size_t input = engine.wanted();
        const std::string_view one = wanted ? fetch(input) : std::string_view();
        try {
            if (!engine.step(one.data(), one.size(), &data, &length)) {
                tell();
                return false;
            }
        } catch (const enginefailure &what) {
            if (what.detail == KVRN_D_ORDER)
                failorder(intakes[input].record());
            throw;
        }
    } while (data == nullptr);
    record = {static_cast<const char *>(data), length};
    if (otherend) {
        given.assign(record.substr(0, length - 1)).append(end);
        record = given;
    }
    return true;
}

} // namespace command
