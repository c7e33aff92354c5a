#include "kvern/flow/ranges.h"

#include "kvern/engine/session.h"
#include "kvern/flow/probing.h"
#include "kvern/records/part.h"
#include "kvern/records/recordreader.h"

#include <algorithm>

namespace command {

namespace {

constexpr size_t samplesperrange = 64, leastsamples = 2048, mostsamples = 8192;
constexpr size_t recordsaplace = 4;        // neighbours tell little more
constexpr size_t looked = size_t{8} << 10; // bytes of a place, at least
constexpr size_t chained = 8;              // prefixes that are no chance
constexpr size_t mostofall = 8;            // of so many in one range: there is none to share

uint64_t headof(std::string_view key) {
    uint64_t head = 0;
    for (size_t i = 0; i < sizeof head; ++i)
        head = head << 8 | (i < key.size() ? static_cast<uint8_t>(key[i]) : 0);
    return head;
}

class sampler {
  public:
    sampler(const jobplan &planned, std::vector<inputsource> &inputs, size_t most)
        : plan(planned), sources(inputs), engine(probing(planned)),
          wanted(std::clamp(most * samplesperrange, leastsamples, mostsamples)) {}

    std::vector<std::string> run() {
        const uint64_t bytes = placedbytes(sources);
        for (inputsource &source : sources) {
            if (source.placed())
                takeplaces(source, bytes);
            else
                takebeginning(source);
        }
        std::sort(keys.begin(), keys.end());
        return std::move(keys);
    }

  private:
    const jobplan &plan;
    std::vector<inputsource> &sources;
    session engine;
    size_t wanted;
    std::vector<std::string> keys;

    // What fails here fails where it is routed.
    void take(std::string_view raw, std::string_view data) {
        try {
            if (engine.key(plan.view.text ? raw : data))
                keys.emplace_back(engine.lastkey());
        } catch (const enginefailure &) {
        }
    }
    void takeplaces(inputsource &source, uint64_t bytes) {
        const uint64_t share =
            wanted / recordsaplace * source.size() / std::max<uint64_t>(bytes, 1);
        const uint64_t places = std::max<uint64_t>(share, 1), step = source.size() / places;
        std::vector<char> room(std::max<size_t>(looked, 4 * size_t{plan.engine.prim.reclen}));
        for (uint64_t i = 0; i < places; ++i) {
            uint64_t at = step * i + within(i, step);
            if (plan.shape.kind == formkind::fixed)
                at -= at % plan.shape.length;
            const size_t got = source.readat(at, room.data(), room.size());
            std::string_view found(room.data(), got);
            if (at != 0)
                found.remove_prefix(beginof(found));
            eachof(found, recordsaplace, 1);
        }
    }
    // Some place of so many, as good as by chance: an input that repeats itself is looked
    // at elsewhere each time.
    static uint64_t within(uint64_t number, uint64_t places) {
        constexpr uint64_t golden = 0x9E3779B97F4A7C15;
        return places == 0 ? 0 : (number * golden >> 16) % places;
    }
    // What was read ahead of a stream, evenly.
    void takebeginning(inputsource &source) {
        source.readahead();
        std::string_view found = source.ahead();
        if (plan.shape.blocked())
            found.remove_prefix(std::min<size_t>(found.size(), plan.shape.frame->prefix));
        size_t records = 0;
        const auto count = [&](std::string_view, std::string_view) { ++records; };
        leniently(found, count);
        eachof(found, wanted, std::max<size_t>(records / wanted, 1));
    }
    void eachof(std::string_view bytes, size_t most, size_t step) {
        size_t number = 0, taken = 0;
        leniently(bytes, [&](std::string_view raw, std::string_view data) {
            if (taken < most && number++ % step == 0) {
                take(raw, data);
                ++taken;
            }
        });
    }
    // Where the first record begins behind some place.  Of prefixes that is a guess: a
    // wrong one makes ranges less even, and nothing else.
    size_t beginof(std::string_view bytes) const {
        if (plan.shape.kind == formkind::fixed)
            return 0;
        if (plan.shape.kind == formkind::text) {
            const std::string_view end = endbytes(plan.shape.end);
            const size_t at = bytes.find(end);
            return at == std::string_view::npos ? bytes.size() : at + end.size();
        }
        for (size_t at = 0; at < bytes.size(); ++at) {
            size_t links = 0;
            leniently(bytes.substr(at), [&](std::string_view, std::string_view) { ++links; });
            if (links >= chained)
                return at;
        }
        return bytes.size();
    }
    // The records that lie there whole.
    template <typename Each>
    void leniently(std::string_view bytes, Each each) const {
        size_t whole = 0;
        if (plan.shape.kind == formkind::fixed) {
            whole = bytes.size() / plan.shape.length * plan.shape.length;
        } else if (plan.shape.kind == formkind::text) {
            const size_t last = bytes.rfind(endbytes(plan.shape.end));
            whole = last == std::string_view::npos ? 0 : last + endbytes(plan.shape.end).size();
        } else {
            const framing &frame = *plan.shape.frame;
            uint32_t length = 0;
            while (bytes.size() - whole >= frame.prefix &&
                   readprefix(frame, bytes.data() + whole, length) && length <= plan.shape.length &&
                   length <= bytes.size() - whole - frame.prefix)
                whole += frame.prefix + length;
        }
        walkrecords(plan.shape, bytes.substr(0, whole), each);
    }
};

// All but a small part of the keys are of one range: to look at each record and to lay it
// by its range would cost more than the other threads take over.
bool lopsided(const std::vector<std::string> &keys, const std::vector<std::string> &cuts) {
    size_t begin = 0, most = 0;
    for (const std::string &cut : cuts) {
        const auto end = std::lower_bound(keys.begin(), keys.end(), cut) - keys.begin();
        most = std::max(most, static_cast<size_t>(end) - begin);
        begin = static_cast<size_t>(end);
    }
    return std::max(most, keys.size() - begin) * mostofall > keys.size() * (mostofall - 1);
}

} // namespace

keyranges::keyranges(std::vector<std::string> firstkeys) : cuts(std::move(firstkeys)) {
    for (const std::string &cut : cuts)
        heads.push_back(headof(cut));
}

size_t keyranges::find(std::string_view key) const {
    const auto same = std::equal_range(heads.begin(), heads.end(), headof(key));
    const auto from = cuts.begin() + (same.first - heads.begin());
    const auto to = cuts.begin() + (same.second - heads.begin());
    return static_cast<size_t>(std::upper_bound(from, to, key) - cuts.begin());
}

keyranges sampleranges(const jobplan &plan, std::vector<inputsource> &sources, size_t wanted,
                       bool worthwhile) {
    const std::vector<std::string> keys = sampler(plan, sources, wanted).run();
    std::vector<std::string> cuts;
    for (size_t i = 1; i < wanted && !keys.empty(); ++i) {
        const std::string &cut = keys[keys.size() * i / wanted];
        if ((cuts.empty() ? keys.front() : cuts.back()) < cut)
            cuts.push_back(cut);
    }
    return worthwhile && lopsided(keys, cuts) ? keyranges() : keyranges(std::move(cuts));
}

} // namespace command
