#include "cobsort/keys.h"

#include "cobsort/binaries.h"
#include "cobsort/decimals.h"

#include <algorithm>
#include <bit>
#include <cstring>

namespace cobsort {
namespace {

constexpr size_t sequencebytes = 8;
constexpr uint64_t recordlimit = 32716; // of the engine: its key and the session's record
constexpr uint64_t keyunit = 4;         // to which it rounds its key up

const struct {
    unsigned type;
    const char *name;
} leftkinds[] = {
    {COB_TYPE_NUMERIC_FLOAT, "COMP-1"},
    {COB_TYPE_NUMERIC_DOUBLE, "COMP-2"},
    {COB_TYPE_NUMERIC_L_DOUBLE, "FLOAT-EXTENDED"},
    {COB_TYPE_NUMERIC_FP_DEC64, "FLOAT-DECIMAL-16"},
    {COB_TYPE_NUMERIC_FP_DEC128, "FLOAT-DECIMAL-34"},
    {COB_TYPE_NUMERIC_FP_BIN32, "FLOAT-BINARY-32"},
    {COB_TYPE_NUMERIC_FP_BIN64, "FLOAT-BINARY-64"},
    {COB_TYPE_NUMERIC_FP_BIN128, "FLOAT-BINARY-128"},
};

std::string kindname(const cob_field &field) {
    for (const auto &kind : leftkinds)
        if (kind.type == field.attr->type)
            return kind.name;
    return "a number of type " + std::to_string(field.attr->type) + ", " +
           std::to_string(field.attr->digits) + " digits in " + std::to_string(field.size) +
           " bytes";
}

bool translate(const coder &how, const unsigned char *record, unsigned char *room) {
    const unsigned char *field = record + how.source, *weights = how.translation;
#pragma GCC unroll 8
    for (size_t i = 0, length = how.length; i < length; ++i)
        room[i] = weights[field[i]];
    return true;
}

// A sequence that is none needs no coding.
const unsigned char *weightsof(const unsigned char *collating) {
    for (unsigned byte = 0; collating != nullptr && byte < 256; ++byte)
        if (collating[byte] != byte)
            return collating;
    return nullptr;
}

bool choosetext(const cob_field &field, uint32_t at, const unsigned char *weights, coder &how) {
    how.source = at;
    how.length = static_cast<uint32_t>(field.size);
    if (weights != nullptr) {
        how.code = translate;
        how.translation = weights;
        how.coded = how.length;
    }
    return true;
}

// The run-time compares numbers by value and the bytes of everything else.
bool choose(const cob_field &field, uint32_t at, const unsigned char *weights, coder &how) {
    if ((field.attr->type & COB_TYPE_NUMERIC) == 0)
        return choosetext(field, at, weights, how);
    switch (field.attr->type) {
    case COB_TYPE_NUMERIC_DISPLAY:
        return choosezoned(field, at, how);
    case COB_TYPE_NUMERIC_PACKED:
        return choosepacked(field, at, how);
    case COB_TYPE_NUMERIC_BINARY:
    case COB_TYPE_NUMERIC_COMP5:
        return choosebinary(field, at, how);
    default:
        return false;
    }
}

} // namespace

std::optional<keyplan> keyplan::make(const cob_file_key *keys, size_t count,
                                     const unsigned char *collating, size_t recordbytes,
                                     std::string &whynot) {
    keyplan plan;
    std::vector<coder> all(count);
    const unsigned char *weights = weightsof(collating);
    uint64_t keybytes = sequencebytes;
    for (size_t i = 0; i < count; ++i) {
        const cob_field &field = *keys[i].field;
        whynot = "key " + std::to_string(i + 1);
        if (field.size == 0 || uint64_t{keys[i].offset} + field.size > recordbytes) {
            whynot += " is not within the record";
            return std::nullopt;
        }
        if (!choose(field, keys[i].offset, weights, all[i])) {
            whynot += " is " + kindname(field);
            return std::nullopt;
        }
        plan.fields.push_back({&field, field.size});
        keybytes += all[i].coded != 0 ? all[i].coded : field.size;
        plan.aheadbytes += all[i].coded;
    }
    plan.aheadbytes += sequencebytes;
    keybytes = (keybytes + keyunit - 1) / keyunit * keyunit;
    if (keybytes + plan.aheadbytes + recordbytes > recordlimit) {
        whynot = "keys and record are too long";
        return std::nullopt;
    }
    plan.placepieces(all, keys);
    whynot.clear();
    return plan;
}

void keyplan::placepieces(const std::vector<coder> &all, const cob_file_key *keys) {
    uint32_t target = 0;
    for (size_t i = 0; i < all.size(); ++i) {
        coder how = all[i];
        const bool descending = keys[i].flag != COB_ASCENDING;
        const uint32_t direct = static_cast<uint32_t>(aheadbytes) + keys[i].offset;
        how.target = target;
        if (how.coded != 0)
            addpiece({target, how.coded, descending});
        else
            addpiece({direct, static_cast<uint32_t>(fields[i].size), descending});
        target += how.coded;
        if (how.code != nullptr)
            coders.push_back(how);
    }
    addpiece({target, sequencebytes, false});
}

void keyplan::addpiece(const piece &next) {
    if (!keypieces.empty()) {
        piece &last = keypieces.back();
        if (last.position + last.length == next.position && last.descending == next.descending) {
            last.length += next.length;
            return;
        }
    }
    keypieces.push_back(next);
}

bool keyplan::encode(const unsigned char *record, uint64_t sequence, unsigned char *room) const {
    for (const coder &how : coders)
        if (!how.code(how, record, room + how.target))
            return false;
    if (std::endian::native == std::endian::little)
        sequence = __builtin_bswap64(sequence);
    std::memcpy(room + aheadbytes - sequencebytes, &sequence, sequencebytes);
    return true;
}

keyplan keyplan::byarrival() const {
    keyplan plan;
    plan.aheadbytes = aheadbytes;
    plan.addpiece({static_cast<uint32_t>(aheadbytes - sequencebytes), sequencebytes, false});
    return plan;
}

bool keyplan::stillfits() const {
    return std::all_of(fields.begin(), fields.end(),
                       [](const seenfield &seen) { return seen.field->size == seen.size; });
}

int keyplan::compare(const unsigned char *a, const unsigned char *b) const {
    for (const piece &part : keypieces) {
        const int order = std::memcmp(a + part.position, b + part.position, part.length);
        if (order != 0)
            return part.descending ? -order : order;
    }
    return 0;
}

} // namespace cobsort
