#include "model/model.h"
#include "support/fieldvalues.h"

#include <algorithm>
#include <set>
#include <utility>

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
    bool stops = false;
    const auto end = result.records.cend();
    for (auto begin = result.records.cbegin(), next = begin; begin != end; begin = next) {
        next = endofgroup(begin, end);
        std::vector<account> members;
        for (auto r = begin; r != next; ++r)
            members.push_back(accountof(spec, r->data));
        stops = stops || (members.size() > 1 && !roomforall(spec, members));
    }
    if (stops)
        result.details = {KVRN_D_SUMOVERFLOW, KVRN_D_SUMMISSING, KVRN_D_SUMOPERAND, 0};
    // A stop may cost the held record of an external sort, which the balance tells: intended.
    if (stops && spec.external)
        result.details.push_back(KVRN_D_LOGIC);
}

// The merge at its slowest: all heads are looked at for every record.
modelresult mergeall(const sessionspec &spec) {
    modelresult result;
    result.exact = true;
    const size_t inputs = spec.inputs.size();
    std::vector<size_t> at(inputs);
    std::vector<std::optional<modelrecord>> heads(inputs);
    std::optional<modelrecord> held;
    bool folds = !spec.sums.empty(), goeson = true;
    int64_t read = 0;
    const auto fail = [&](uint32_t detail) {
        uint32_t &known = result.details.front();
        known = known == KVRN_D_SUMOPERAND ? known : detail;
    };
    const auto fetch = [&](size_t input) {
        auto &head = heads[input];
        const auto before = std::exchange(head, nextrecord(spec, spec.inputs[input], at[input]));
        if (!head)
            return;
        if (spec.keeporder) // in the order of reading
            head->key.push_back({false, bigendian(++read, 8)});
        if (head->detail == 0 && before && compare(*head, *before) < 0)
            head->detail = KVRN_D_ORDER;
        goeson = head->detail == 0;
        if (!goeson)
            fail(head->detail);
    };
    const auto flush = [&] {
        if (held)
            result.records.push_back(*held);
    };
    for (size_t i = 0; i < inputs && goeson; ++i)
        fetch(i);
    while (goeson) {
        size_t lowest = inputs;
        for (size_t i = 0; i < inputs; ++i)
            if (heads[i] && (lowest == inputs || compare(*heads[i], *heads[lowest]) < 0))
                lowest = i;
        if (lowest == inputs)
            break;
        modelrecord out = *heads[lowest];
        const bool same = held && compare(*held, out) == 0;
        if (same && spec.suppress) {
            held.reset(); // the last of a group stays
        } else if (same && folds) {
            const uint32_t fault = fold(spec, out.data, held->data); // the later one takes the sum
            folds = fault == 0;
            if (folds)
                held.reset();
            else
                fail(fault);
            result.open = fault == rubbishdigits;
        }
        flush();
        held = out;
        fetch(lowest);
    }
    flush();
    return result;
}

std::string told(size_t number, const std::vector<bytes> &wanted, const std::vector<bytes> &got) {
    std::string text = "records from number " + std::to_string(number) + " on:";
    for (size_t i = 0; i < std::min<size_t>(std::max(wanted.size(), got.size()), 6); ++i) {
        text += "\n  model " + (i < wanted.size() ? visible(wanted[i]) : "-") + "\n  got   " +
                (i < got.size() ? visible(got[i]) : "-");
    }
    return text;
}

// What stands in the summation fields of records; not known: one cannot be summed.
struct books {
    std::vector<number> totals;
    bool known = true;

    explicit books(size_t fields) : totals(fields) {}
    void enter(const account &a) {
        known = known && a.fault == 0;
        for (size_t i = 0; i < totals.size() && a.fault == 0; ++i)
            totals[i] = plus(totals[i], a.amounts[i]);
    }
    [[nodiscard]] bool balances(const books &other) const {
        return !known || std::equal(totals.begin(), totals.end(), other.totals.begin(), isequal);
    }
};

// In order; those that cannot be taken stand last.
void orderbykeys(const sessionspec &spec, std::vector<bytes> &records) {
    std::vector<std::pair<modelrecord, bytes>> all;
    for (const bytes &record : records)
        all.emplace_back(taken(spec, record), record);
    std::stable_sort(all.begin(), all.end(), [](const auto &a, const auto &b) {
        const bool good = a.first.detail == 0, other = b.first.detail == 0;
        return good != other ? good : good && compare(a.first, b.first) < 0;
    });
    std::transform(all.begin(), all.end(), records.begin(), [](const auto &r) { return r.second; });
}

} // namespace

modelresult outcomeof(const sessionspec &spec) {
    modelresult result = spec.function == KVRN_MERGE ? mergeall(spec) : takeall(spec);
    const auto order = [&](const auto &lower) {
        std::stable_sort(result.records.begin(), result.records.end(), lower);
    };
    if (spec.function == KVRN_SORT) {
        order([](const auto &a, const auto &b) { return compare(a, b) < 0; });
        if (result.details.front() == 0 && !spec.sums.empty())
            foretellstops(spec, result);
    } else if (spec.output == exchange::indexedfile) { // the file has an order of its own
        order(
            [](const auto &a, const auto &b) { return a.data.substr(0, 1) < b.data.substr(0, 1); });
    }
    return result;
}

void orderinputs(sessionspec &spec) {
    for (auto &records : spec.inputs)
        orderbykeys(spec, records);
}

// A group of a sort comes out whole, as one of its records, or summed: as one record with
// the totals and the other bytes of a member.  From a stop of the summation on, groups
// come out unfolded, and the one at the stop in part.
std::string difference(const sessionspec &spec, const modelresult &expected,
                       std::vector<bytes> output, uint32_t detail) {
    if (!expected.exact && spec.output == exchange::indexedfile) {
        sessionspec rebuilt = spec;
        rebuilt.reclen = spec.outlength();
        rebuilt.pieces.clear();
        orderbykeys(rebuilt, output); // the file gives them in an order of its own
    }
    const size_t sums = expected.exact ? 0 : spec.sums.size();
    const auto booked = [&](const bytes &record) {
        return sums == 0 ? account{0, record, {}, {}} : accountof(spec, record);
    };
    bool folds = sums != 0;
    auto out = output.cbegin();
    const auto end = expected.records.cend();
    for (auto begin = expected.records.cbegin(), next = begin; begin != end; begin = next) {
        next = expected.exact ? begin + 1 : endofgroup(begin, end);
        std::vector<bytes> group;
        std::multiset<bytes> rests;
        books before(sums), after(sums);
        for (auto r = begin; r != next; ++r) {
            const account a = booked(r->data);
            group.push_back(r->data);
            rests.insert(a.rest);
            before.enter(a);
        }
        const auto first = out;
        for (; out != output.cend(); ++out) {
            const account a = booked(*out);
            const auto rest = rests.find(a.rest);
            if (rest == rests.end())
                break;
            rests.erase(rest);
            after.enter(a);
        }
        const auto count = static_cast<size_t>(out - first);
        const bool partly = folds && count > 1 && detail != 0;
        const bool one = folds || spec.suppress;
        if ((count != (one ? 1 : group.size()) && !partly) || !before.balances(after) ||
            (spec.keeporder && !one && !std::equal(first, out, group.begin()))) {
            const auto number = static_cast<size_t>(first - output.cbegin());
            return told(number, group, {first, output.cend()});
        }
        folds = folds && !partly;
    }
    return out == output.cend() ? "" : "more records come out than the model has";
}

} // namespace kvern::test
