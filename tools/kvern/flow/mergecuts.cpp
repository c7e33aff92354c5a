#include "kvern/flow/mergecuts.h"

#include "kvern/flow/keyfinder.h"
#include "kvern/system/team.h"

#include <algorithm>

namespace command {

namespace {

constexpr uint64_t samplesarange = 4;
constexpr uint64_t mostlooked = uint64_t{64} << 10; // bytes, for a record that is kept
constexpr uint64_t heldbytes = uint64_t{64} << 10;  // are searched in memory

} // namespace

mergecuts::mergecuts(const flowjob &given, unsigned threads, uint64_t rangebytes)
    : job(given), seen(given.sources.size()), places(given.sources.size()),
      lacking(given.sources.size()) {
    eachinput(threads, [&](keyfinder &keys, size_t input) {
        inputsource &source = job.sources[input];
        seen[input] = look(keys, source, std::max<uint64_t>(rangebytes / samplesarange, 1));
        lacking[input] = job.plan.view.text ? lackingend(source) : 0;
    });
    choosecuts(samplesarange);
    eachinput(threads,
              [&](keyfinder &keys, size_t input) { places[input] = findplaces(keys, input); });
}

template <typename Each>
void mergecuts::eachinput(unsigned threads, Each each) {
    team crew(threads);
    crew.run([&](unsigned) {
        keyfinder keys(job.plan);
        for (size_t input; crew.take(job.sources.size(), input);)
            each(keys, input);
    });
}

mergecuts::samples mergecuts::look(keyfinder &keys, inputsource &source, uint64_t step) const {
    samples all;
    uint64_t behind = 0;
    for (uint64_t place = 0; place < source.size(); place += step) {
        const uint64_t from = keys.recordat(source, std::max(place, behind));
        if (!keys.findkept(source, from, std::min(from + mostlooked, source.size())))
            continue;
        if (!all.empty() && keys.key() < all.back().key)
            throw uncut{};
        all.push_back({std::string(keys.key()), keys.place()});
        behind = keys.next();
    }
    return all;
}

// Every so many samples, but each key once.
void mergecuts::choosecuts(size_t step) {
    std::vector<std::string_view> keys;
    for (const samples &one : seen)
        for (const sample &its : one)
            keys.push_back(its.key);
    std::sort(keys.begin(), keys.end());
    for (size_t at = step; at < keys.size(); at += step)
        if ((cuts.empty() ? keys.front() : cuts.back()) < keys[at])
            cuts.emplace_back(keys[at]);
}

// The first kept record whose key is not below the cut, for each of them: between two
// samples by halves.  No kept record from `to` on up to `place` begins.
std::vector<uint64_t> mergecuts::findplaces(keyfinder &keys, size_t input) const {
    inputsource &source = job.sources[input];
    std::vector<uint64_t> all(1, 0);
    for (const std::string &cut : cuts) {
        const auto above = std::lower_bound(
            seen[input].begin(), seen[input].end(), cut,
            [](const sample &one, const std::string &key) { return one.key < key; });
        uint64_t place = above == seen[input].end() ? source.size() : above->place;
        uint64_t from = above == seen[input].begin() ? 0 : std::prev(above)->place, to = place;
        while (from < to) {
            if (to - from <= heldbytes)
                keys.hold(source, from, to);
            const uint64_t middle = from + (to - from) / 2;
            const uint64_t begin = middle == from ? from : keys.recordat(source, middle);
            if (!keys.findkept(source, begin, to)) {
                to = middle;
            } else if (keys.key() < cut) {
                from = keys.next();
            } else {
                place = keys.place();
                to = middle;
            }
        }
        all.push_back(place);
    }
    all.push_back(source.size());
    return all;
}

size_t mergecuts::lackingend(inputsource &source) const {
    const std::string_view end = endbytes(job.plan.shape.end);
    char last[2] = {};
    const uint64_t size = source.size(), length = std::min<uint64_t>(size, end.size());
    const size_t got = source.readat(size - length, last, static_cast<size_t>(length));
    return size == 0 || std::string_view(last, got) == end ? 0 : end.size();
}

uint64_t mergecuts::bytesahead(size_t range) const {
    uint64_t bytes = 0;
    for (size_t input = 0; input < places.size(); ++input) {
        const uint64_t place = places[input][range];
        bytes += place + (place == job.sources[input].size() ? lacking[input] : 0);
    }
    return bytes;
}

} // namespace command
