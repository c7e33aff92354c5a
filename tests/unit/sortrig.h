// A sort without files and callers: a key table, the working storage divided, raw
// records in, finished records out.
#pragma once

#include "key/keytable.h"
#include "key/textfields.h"
#include "param/param_fields.h"
#include "sort/blockflow.h"
#include "sort/diskimage.h"
#include "sort/emit.h"
#include "sort/intake.h"
#include "unit/enginecontext.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <string>

namespace kvern {

struct sortrig : enginecontext {
    explicit sortrig(uint32_t arenabytes = 1 << 16) : enginecontext(arenabytes) { apiinput = 1; }

    void fixed(uint32_t length) {
        recform = 'f';
        inreclen = outreclen = length;
    }
    void variable(uint32_t length) {
        recform = 'v';
        inreclen = outreclen = length;
    }
    // length counts the delimiter
    void columns(uint32_t length, const char *delimiter = "\n") {
        text(KVRN_COLUMNS, length, delimiter);
    }
    void fields(uint32_t length, const char *separator = ",", const char *delimiter = "\n") {
        text(KVRN_FIELDS, length, delimiter);
        sepgiven = 1;
        sepstr = reinterpret_cast<const uint8_t *>(separator);
        seplen = static_cast<uint32_t>(strlen(separator));
    }

    // "1+3" copies, "'x'" is a literal.
    void rebuild(std::initializer_list<const char *> pieces) {
        reconopt = 1;
        reconspec = reinterpret_cast<KVRNRCN *>(specbytes);
        outreclen = 0;
        for (const char *piece : pieces) {
            KVRNRCNE &entry = reconspec->entry[reconspec->count++];
            if (*piece == '\'') {
                entry = {};
                entry.literal = piece + 1;
                entry.length = static_cast<uint32_t>(strlen(piece) - 2);
                entry.type = KVRN_FLD_LIT;
            } else {
                entry.type = KVRN_FLD_COPY;
                EXPECT_EQ(sscanf(piece, "%u+%u", &entry.position, &entry.length), 2);
                reconcopies = 1;
                reconmaxfld = std::max(reconmaxfld, entry.position);
                reconmaxpos = std::max(reconmaxpos, entry.position + entry.length - 1);
            }
            outreclen += entry.length;
        }
        if (fieldmode == KVRN_FIELDS)
            outreclen += (reconspec->count - 1) * seplen;
    }

    // The table and the lengths that follow from it; no piece: the whole record.
    void keys(std::initializer_list<keypiece> pieces) {
        keytablebuilder builder(this);
        keygiven = pieces.size() != 0;
        ASSERT_EQ(builder.begin(static_cast<uint32_t>(pieces.size()), 0), 0);
        if (pieces.size() == 0)
            builder.addkey({0, outreclen, KVRN_CHAR, 0, KVRN_ASCENDING, 0});
        for (auto piece = std::rbegin(pieces); piece != std::rend(pieces); ++piece) {
            builder.addkey(*piece);
            if (fieldmode == KVRN_FIELDS)
                keymaxfld = std::max(keymaxfld, piece->position);
        }
        ASSERT_EQ(builder.finish(nullptr), 0);
        if (recform == 'r') {
            outreclen += linedlmtlen;
            txtlenoff = intreclen;
        }
        if (recform != 'f')
            intreclen += 4;
        idxentlen = idxentrylen(keylen);
    }

    blockhdr *open() {
        blockhdr *block = buildblocks(this);
        deliver = choosedeliver(this);
        return block;
    }

    // Puts raw records into the block and counts them as the session would.
    static void load(blockhdr *block, const bytes &raw, uint32_t records) {
        ASSERT_LE(raw.size(), static_cast<size_t>(block->end - block->first));
        std::copy(raw.begin(), raw.end(), block->first);
        block->limit = block->first + raw.size();
        block->count = records;
    }

    // What comes out for one block of input, block by block.
    std::vector<bytes> sortblock(const bytes &raw, uint32_t records) {
        std::vector<bytes> out;
        blockhdr *block = open();
        if (block == nullptr)
            return out;
        load(block, raw, records);
        incount = records;
        block = feedblock(this, block);
        if (block != nullptr)
            block = endinput(this, block);
        for (; block != nullptr; out.emplace_back(block->first, block->limit)) {
            if (shortenoutput != 0)
                block->end = block->first + shortenoutput;
            block = drawblock(this, block);
            if (block == nullptr || block->count == 0)
                break;
            outcount += block->count;
        }
        return out;
    }

    uint32_t shortenoutput = 0; // usable bytes of an output block; 0: as built

  private:
    alignas(8) uint8_t specbytes[1024] = {};

    void text(uint8_t mode, uint32_t length, const char *delimiter) {
        maketext(mode, delimiter);
        inreclen = length;
        outreclen = length > linedlmtlen ? length - linedlmtlen : 0;
    }
};

constexpr keypiece charkey(uint32_t position, uint32_t length, uint8_t order = KVRN_ASCENDING) {
    return {position, length, KVRN_CHAR, 0, order, 0};
}

} // namespace kvern
