#include "model/model.h"
#include "model/selection.h"
#include "model/totals.h"

#include <algorithm>
#include <set>

namespace kvern::test {

namespace {

using position = std::vector<modelrecord>::const_iterator;

position endofgroup(position begin, position end) {
    return std::find_if(begin, end, [&](const auto &r) { return compare(*begin, r) != 0; });
}

// The next record of a file that selection keeps, `at` behind it; null: none.
std::optional<modelrecord> nextrecord(const sessionspec &spec, const std::vector<bytes> &file,
                                      size_t &at) {
    while (at < file.size()) {
        const bytes &record = file[at++];
        const verdict v = selected(spec, record);
        if (v.detail != 0)
            return modelrecord{{}, {}, v.detail};
        if (v.keep)
            return taken(spec, record);
    }
    return std::nullopt;
}

// Sort and copy: all records in the order of the files.
modelresult takeall(const sessionspec &spec) {
    modelresult result;
    result.exact = spec.function == KVRN_COPY;
    for (const auto &file : spec.inputs) {
        for (size_t at = 0; auto record = nextrecord(spec, file, at);) {
            if (record->detail != 0) {
                result.details = {record->detail};
                return result;
            }
            result.records.push_back(*std::move(record));
        }
    }
    return result;
}

// What may stop the summation of a sort: in which order the pairs meet is open.
void foretellstops(const sessionspec &spec, modelresult &result) {
    std::set<uint32_t> stops;
    bool certain = false;
    const auto end = result.records.cend();
    for (auto begin = result.records.cbegin(), next = begin; begin != end; begin = next) {
        next = endofgroup(begin, end);
        if (next - begin < 2)
            continue;
        std::vector<bytes> members;
        uint32_t worst = 0;
        for (auto r = begin; r != next; ++r) {
            const uint32_t fault = accountof(spec, r->data).fault;
            if (fault == 0)
                members.push_back(r->data);
            else
                stops.insert(fault == rubbishdigits ? uint32_t{KVRN_D_SUMOVERFLOW} : fault);
            worst = std::max(worst, fault);
        }
        certain = certain || worst > rubbishdigits;
        if ((worst != 0 && spec.sums.size() > 1) || !roomforall(spec, members))
            stops.insert(KVRN_D_SUMOVERFLOW);
    }
    if (stops.empty())
        return;
    // A stop may cost the held record of an external sort, which the balance tells:
    // intended.  And rubbish may have a sum, so that the next field is reached.
    if (spec.external || !addable(spec))
        stops.insert(KVRN_D_LOGIC);
    if (!certain)
        stops.insert(0);
    result.details.assign(stops.begin(), stops.end());
}

// The merge at its slowest: all heads are looked at for every record.
class merging {
  public:
    explicit merging(const sessionspec &spec) : s(spec), at(spec.inputs.size()) {
        result.exact = true;
    }

    modelresult run() {
        for (size_t i = 0; i < at.size() && goeson; ++i)
            fetch(i, nullptr);
        bool folds = !s.sums.empty();
        while (!heads.empty() && goeson) {
            const auto lowest =
                std::min_element(heads.begin(), heads.end(), [](const head &a, const head &b) {
                    const int order = compare(a.record, b.record);
                    return order != 0 ? order < 0 : a.input < b.input;
                });
            const head next = std::move(*lowest);
            heads.erase(lowest);
            modelrecord out = next.record;
            const bool same = held && compare(*held, out) == 0;
            if (same && s.suppress)
                held.reset(); // the last of a group stays
            else if (same && folds)
                folds = foldheld(out);
            flush();
            held = std::move(out);
            if (goeson)
                fetch(next.input, &next.record);
        }
        flush();
        return result;
    }

  private:
    struct head {
        modelrecord record;
        size_t input;
    };
    const sessionspec &s;
    std::vector<size_t> at;
    std::vector<head> heads{};
    std::optional<modelrecord> held{};
    uint64_t taken = 0;
    bool goeson = true;
    modelresult result{};

    void flush() {
        if (held)
            result.records.push_back(*std::move(held));
        held.reset();
    }

    void fail(uint32_t detail, bool fatal) {
        uint32_t &known = result.details.front();
        known = known == KVRN_D_SUMOPERAND ? known : detail;
        goeson = !fatal;
    }

    void fetch(size_t input, const modelrecord *before) {
        auto record = nextrecord(s, s.inputs[input], at[input]);
        if (!record)
            return;
        if (s.keeporder) { // in the order of reading
            ++taken;
            bytes sequence;
            for (int shift = 56; shift >= 0; shift -= 8)
                sequence += static_cast<char>(taken >> shift);
            record->key.push_back({false, sequence});
        }
        if (record->detail == 0 && before != nullptr && compare(*record, *before) < 0)
            record->detail = KVRN_D_ORDER;
        if (record->detail != 0)
            fail(record->detail, true);
        heads.push_back({*std::move(record), input});
    }

    // The later record takes the sum.  False: no more is folded.
    bool foldheld(modelrecord &later) {
        const uint32_t fault = fold(s, later.data, held->data);
        if (fault == 0) {
            held.reset();
            return true;
        }
        result.open = fault == rubbishdigits;
        if (result.open && !addable(s)) // rubbish may have a sum, and the next field comes
            result.details.push_back(KVRN_D_LOGIC);
        fail(fault, fault == KVRN_D_LOGIC);
        return false;
    }
};

std::string told(size_t number, const std::vector<bytes> &wanted, const std::vector<bytes> &got) {
    std::string text = "records from number " + std::to_string(number) + " on:";
    for (size_t i = 0; i < std::min<size_t>(std::max(wanted.size(), got.size()), 6); ++i) {
        text += "\n  model " + (i < wanted.size() ? visible(wanted[i]) : "-") + "\n  got   " +
                (i < got.size() ? visible(got[i]) : "-");
    }
    return text;
}

// The accounts of summation in a sort: each group comes out as one record with
// the totals and the other bytes of a member; from a stop on, groups come out
// unfolded, and the one at the stop in part.
std::string sumdifference(const sessionspec &spec, const modelresult &expected,
                          const std::vector<bytes> &output, uint32_t detail) {
    const auto total = [](std::vector<number> &sums, const account &a) {
        for (size_t i = 0; i < sums.size() && a.fault == 0; ++i)
            sums[i] = plus(sums[i], a.amounts[i]);
    };
    bool stopped = false;
    size_t taken = 0;
    const auto end = expected.records.cend();
    for (auto begin = expected.records.cbegin(), next = begin; begin != end; begin = next) {
        next = endofgroup(begin, end);
        std::vector<bytes> group;
        std::multiset<bytes> rests;
        std::vector<number> before(spec.sums.size()), after = before;
        bool known = true;
        for (auto r = begin; r != next; ++r) {
            const account a = accountof(spec, r->data);
            group.push_back(r->data);
            rests.insert(a.rest);
            known = known && a.fault == 0;
            total(before, a);
        }
        const size_t first = taken;
        for (; taken < output.size(); ++taken) {
            const account a = accountof(spec, output[taken]);
            const auto rest = rests.find(a.rest);
            if (rest == rests.end())
                break;
            rests.erase(rest);
            total(after, a);
        }
        const auto sametotal = [](const number &a, const number &b) {
            return a.digits == b.digits && (a.digits.empty() || (a.mark == '-') == (b.mark == '-'));
        };
        const size_t count = taken - first;
        const bool partly = !stopped && count > 1 && detail != 0;
        if ((count != (stopped ? group.size() : 1) && !partly) ||
            (known && !std::equal(before.begin(), before.end(), after.begin(), sametotal))) {
            return "summed " + told(first, group,
                                    {output.begin() + static_cast<ptrdiff_t>(first), output.end()});
        }
        stopped = stopped || partly;
    }
    return taken == output.size() ? "" : "more records come out than the model has";
}

} // namespace

modelresult outcomeof(const sessionspec &spec) {
    if (spec.function == KVRN_MERGE)
        return merging(spec).run();
    modelresult result = takeall(spec);
    if (spec.function == KVRN_SORT) {
        std::stable_sort(result.records.begin(), result.records.end(),
                         [](const auto &a, const auto &b) { return compare(a, b) < 0; });
        if (result.details.front() == 0 && !spec.sums.empty())
            foretellstops(spec, result);
    }
    return result;
}

void orderinputs(sessionspec &spec) {
    for (auto &file : spec.inputs) {
        std::vector<std::pair<modelrecord, bytes>> records;
        for (const bytes &record : file) // those that cannot be taken stand last
            records.emplace_back(taken(spec, record), record);
        std::stable_sort(records.begin(), records.end(), [](const auto &a, const auto &b) {
            const bool good = a.first.detail == 0, other = b.first.detail == 0;
            return good != other ? good : good && compare(a.first, b.first) < 0;
        });
        std::transform(records.begin(), records.end(), file.begin(),
                       [](const auto &r) { return r.second; });
    }
}

std::string difference(const sessionspec &spec, const modelresult &expected,
                       const std::vector<bytes> &output, uint32_t detail) {
    const auto &sorted = expected.records;
    if (!expected.exact && !spec.sums.empty())
        return sumdifference(spec, expected, output, detail);
    size_t taken = 0;
    for (auto begin = sorted.cbegin(), next = begin; begin != sorted.cend(); begin = next) {
        next = expected.exact ? begin + 1 : endofgroup(begin, sorted.cend());
        std::vector<bytes> group;
        for (auto r = begin; r != next; ++r)
            group.push_back(r->data);
        const bool one = !expected.exact && spec.suppress;
        const size_t wanted = one ? 1 : group.size();
        if (output.size() - taken < wanted) {
            return "output ends at record " + std::to_string(output.size()) +
                   ", model goes on with " + visible(group.front());
        }
        std::vector<bytes> got(output.begin() + static_cast<ptrdiff_t>(taken),
                               output.begin() + static_cast<ptrdiff_t>(taken + wanted));
        if (!spec.keeporder) {
            std::sort(group.begin(), group.end());
            std::sort(got.begin(), got.end());
        }
        if (one ? !std::binary_search(group.begin(), group.end(), got.front()) : got != group)
            return told(taken, group, got);
        taken += wanted;
    }
    return taken == output.size() ? "" : "more records come out than the model has";
}

} // namespace kvern::test
