#include "kvern/flow/keyfinder.h"

#include "kvern/flow/probing.h"
#include "kvern/records/recordreader.h"
#include "kvern/system/failure.h"

#include <algorithm>

namespace command {

namespace {

constexpr size_t lookbytes = size_t{4} << 10; // that are read at once, at least

} // namespace

keyfinder::keyfinder(const jobplan &planned)
    : plan(planned), probe(probing(planned)), tests(planned.form) {}

// From there on all that is at hand, so many bytes but at the end of the input.
std::string_view keyfinder::look(inputsource &source, uint64_t from, size_t least) {
    least = static_cast<size_t>(std::min<uint64_t>(least, source.size() - from));
    if (held != &source || from < base || from + least > base + filled) {
        room.resize(std::max(least, lookbytes));
        held = nullptr;
        filled = source.readat(from, room.data(), room.size());
        held = &source;
        base = from;
    }
    return std::string_view(room.data(), filled).substr(static_cast<size_t>(from - base));
}

void keyfinder::hold(inputsource &source, uint64_t from, uint64_t to) {
    look(source, from, static_cast<size_t>(to - from));
}

uint64_t keyfinder::recordat(inputsource &source, uint64_t place) {
    if (place == 0)
        return 0;
    if (plan.shape.kind == formkind::fixed)
        return (place + plan.shape.length - 1) / plan.shape.length * plan.shape.length;
    const uint64_t ahead = place - std::min<uint64_t>(place, endbytes(plan.shape.end).size());
    return ahead + line(source, ahead).size();
}

// With its end, which the last one may lack.
std::string_view keyfinder::line(inputsource &source, uint64_t at) {
    const std::string_view end = endbytes(plan.shape.end);
    for (size_t wanted = 1;; wanted = std::max(2 * wanted, lookbytes)) {
        const std::string_view bytes = look(source, at, wanted);
        if (const size_t stop = bytes.find(end); stop != std::string_view::npos)
            return bytes.substr(0, stop + end.size());
        if (at + bytes.size() == source.size())
            return bytes;
        if (bytes.size() > longestkept)
            throw failure{ending::data, "", ""}; // told by whoever reads it in its order
        wanted = std::max(wanted, bytes.size());
    }
}

// Without bytes: what is there is none.
std::string_view keyfinder::record(inputsource &source, uint64_t at) {
    if (plan.shape.kind == formkind::fixed) {
        const std::string_view bytes = look(source, at, plan.shape.length);
        return bytes.size() < plan.shape.length ? bytes.substr(0, 0)
                                                : bytes.substr(0, plan.shape.length);
    }
    const std::string_view bytes = line(source, at);
    if (bytes.ends_with(endbytes(plan.shape.end)))
        return bytes;
    return lastline.assign(bytes).append(endbytes(plan.shape.end));
}

bool keyfinder::findkept(inputsource &source, uint64_t from, uint64_t to) {
    const size_t end = plan.view.text ? endbytes(plan.shape.end).size() : 0;
    for (uint64_t at = from; at < to; at = behind) {
        const std::string_view raw = record(source, at);
        if (raw.empty())
            return false;
        found = at;
        behind = std::min(at + raw.size(), source.size());
        if (plan.form.dropshort && !tests.line(raw.substr(0, raw.size() - end)))
            continue;
        if (probe.key(raw))
            return true;
    }
    return false;
}

} // namespace command
