#include "file/indexed/indexed.h"

#include "file/indexed/idxinfo.h"
#include "session/qha9msg.h"

#include <cstring>

namespace kvern {

namespace {

constexpr uint32_t mostparts = 255;
constexpr uint32_t highestposition = 0x7FF8;
constexpr uint32_t mostkeybytes = 254; // of one part, and of all together

// Flags of a part.
constexpr uint8_t part_attribute = 0x02;   // the attribute of the key part
constexpr uint8_t part_noattribute = 0x04; // never together with it
constexpr uint8_t part_primary = 0x10;
constexpr uint8_t part_last = 0x40; // the last part of its key

// Bits of the option byte that ask for the second form of an index attribute.
constexpr uint8_t option_indexattr[2] = {8, 1};

constexpr uint8_t typemasks[] = {0xA1, 0xA2, 0xA7, 0xA8, 0xA9, 0xAC, 0xAD,
                                 0xAE, 0xAF, 0xC2, 0xC5, 0xC6, 0xC7};

// A type passes that holds all bits of one of the masks, so more types do than
// the list shows: intended.
bool istype(uint8_t type) {
    for (const uint8_t mask : typemasks)
        if ((type & mask) == mask)
            return true;
    return false;
}

bool ispart(const KVRNOKEYE &part) {
    const bool ordered = part.order == KVRN_ASCENDING || part.order == KVRN_DESCENDING;
    const bool contradicts = (part.flags & part_attribute) != 0 && //
                             (part.flags & part_noattribute) != 0;
    return part.position <= highestposition && part.length <= mostkeybytes && istype(part.type) &&
           ordered && !contradicts;
}

bool issound(const KVRNOKEY *table) {
    if (table == nullptr || table->count == 0 || table->count > mostparts)
        return false;
    uint32_t total = 0; // 255 parts of 254 bytes at most
    bool primary = false;
    for (uint32_t i = 0; i < table->count; i++) {
        const KVRNOKEYE &part = table->entry[i];
        if (!ispart(part))
            return false;
        total += part.length;
        primary = primary || (part.flags & part_primary) != 0;
    }
    return total <= mostkeybytes && primary;
}

keypart told(const KVRNOKEYE &part) {
    const uint8_t attribute = (part.flags & part_attribute) != 0 ? kp_attribute : 0;
    const uint8_t more = (part.flags & part_last) != 0 ? 0 : kp_more;
    return {static_cast<uint8_t>(part.length),
            static_cast<uint8_t>(attribute | more),
            {static_cast<uint8_t>(part.position), static_cast<uint8_t>(part.position >> 8)}};
}

} // namespace

int buildoutkeys(qha5ctx *ctx, const filectl *file, idxoutkeys *out) {
    const KVRNOKEY *table = ctx->filetypes;
    if (!issound(table))
        return fail(ctx, msg_fileblock, KVRN_D_FILEMANAGER, file->name);
    for (uint32_t i = 0; i < table->count; i++) {
        const keypart part = told(table->entry[i]);
        memcpy(ctx->keyspecbuf + i * sizeof part, &part, sizeof part);
    }
    out->parts = ctx->keyspecbuf;
    out->bytes = table->count * static_cast<uint32_t>(sizeof(keypart));
    for (uint32_t i = 0; i < 2; i++)
        out->indexattr[i] = (table->options & option_indexattr[i]) != 0 ? 2 : 1;
    return 0;
}

} // namespace kvern
