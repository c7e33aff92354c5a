// A small external sort without its surroundings: records of 16 bytes, 8 of key and
// 8 of input order, in work blocks of a few index entries.  Sizes are the same on
// every target, so that strings, blocks and overflows can be counted by hand.
#pragma once

#include "sort/diskimage.h"
#include "sort/finalmerge.h"
#include "sort/mergesetup.h"
#include "sort/stringmaker.h"
#include "sort/tempfile.h"
#include "support/tempfolder.h"
#include "unit/enginecontext.h"

#include <algorithm>
#include <cstring>
#include <string>
#include <vector>

namespace kvern::test {

struct numbered {
    uint64_t key;
    uint64_t order;
    bool operator==(const numbered &) const = default;
};

struct externalsort : enginecontext {
    static constexpr uint32_t entrybytes = 64;
    tempfolder folder;
    uint64_t mostbytes = 0; // that the files had during the final merge

    externalsort(uint32_t slots, uint32_t entriesperwb, uint32_t phasebytes)
        : enginecontext(1 << 19), folderpath(folder.path()) {
        keylen = sizeof(uint64_t);
        intreclen = inreclen = outreclen = sizeof(numbered);
        idxentlen = entrybytes;
        idxperwb = entriesperwb;
        wbsize = entriesperwb * entrybytes;
        recperwb = wbsize / intreclen;
        setplaces({folderpath}, 'd');
        tfrecroom = 64 << 10;
        tfrecnext = carve(tfrecroom);
        for (wbcount = 0; wbcount < workblockcount; ++wbcount)
            addwb();
        sortfree = phasebytes;
        sortnext = carve(phasebytes);
        qstack = reinterpret_cast<sortpair *>(carve(qstackpairs * sizeof(sortpair)));
        qstackend = qstack + qstackpairs;
        makeslots(slots);
        encode = [](qha5ctx *ctx, const uint8_t *raw, uint8_t *internal) {
            ++ctx->seqno;
            std::memcpy(internal, raw, sizeof(numbered));
            return int32_t{sizeof(numbered)};
        };
    }
    ~externalsort() { (void)deletetempfiles(this); }

    void setplaces(const std::vector<std::string> &list, char kind) {
        names = list;
        places.clear();
        for (std::string &name : names)
            places.push_back(name.empty() ? nullptr : name.data());
        workpaths = places.data();
        workpos = workdirpos = 0;
        workcount = kind == 'p' ? static_cast<uint32_t>(list.size()) : 0;
        workdircount = kind == 'd' ? static_cast<uint32_t>(list.size()) : 0;
        workkind = static_cast<uint8_t>(kind);
    }

    // Fills all slots, goes external and takes the rest.
    bool create(const std::vector<numbered> &records) {
        for (uint32_t at = 0; at < slotcount; ++at) {
            slot *place = at == 0 ? slotfirst : slotnext;
            (void)encode(this, reinterpret_cast<const uint8_t *>(&records[at]), place->record());
            slotnext = place->link;
        }
        slotused = slotcount;
        std::vector<numbered> rest(records.begin() + static_cast<ptrdiff_t>(slotcount),
                                   records.end());
        blockhdr block{};
        block.first = block.next = reinterpret_cast<uint8_t *>(rest.data());
        block.limit = block.end = block.first + rest.size() * sizeof(numbered);
        block.count = static_cast<uint32_t>(rest.size());
        return goexternal(this) == 0 && intake(this, &block)->iostat == 0 && block.count == 0 &&
               block.next == block.limit && endstrings(this) == 0;
    }

    // Whether the storage of the final merge, whose blocks stand behind the tree, would
    // hold a block more.
    bool fitsanother() const {
        const uint64_t block = mergeblockbytes(wbsize, recperwb);
        const auto *behind = reinterpret_cast<const uint8_t *>(mergetree + mergewidth);
        return sortnext + sortfree >= behind + mergewidth * block + sizeof(blockhdr *);
    }

    // All records of the final merge, in blocks of `perblock`.
    bool merge(uint32_t perblock, std::vector<numbered> *out) {
        if (setupmerge(this) != 0)
            return false;
        emit = [](qha5ctx *, blockhdr *block, const uint8_t *record) {
            if (static_cast<size_t>(block->end - block->next) < sizeof(numbered)) {
                block->limit = block->next;
                return int32_t{1};
            }
            std::memcpy(block->next, record, sizeof(numbered));
            block->next += sizeof(numbered);
            return int32_t{0};
        };
        std::vector<numbered> room(perblock);
        blockhdr block{};
        block.first = reinterpret_cast<uint8_t *>(room.data());
        block.end = block.first + perblock * sizeof(numbered);
        for (;;) {
            if (deliver(this, &block)->iostat != 0)
                return false;
            mostbytes = std::max(mostbytes, filebytes());
            if (block.count == 0)
                return true;
            if (block.limit != block.first + block.count * sizeof(numbered))
                return false;
            out->insert(out->end(), room.begin(),
                        room.begin() + static_cast<ptrdiff_t>(block.count));
        }
    }

    uint64_t filebytes() const {
        uint64_t bytes = 0;
        for (const tempfile *file = tempfiles; file != nullptr; file = file->link)
            bytes += file->size;
        return bytes;
    }

    uint8_t *carve(uint64_t bytes) {
        uint8_t *taken = arenanext;
        bytes = arenaround(bytes);
        arenanext += bytes;
        arenafree -= static_cast<uint32_t>(bytes);
        return taken;
    }

  private:
    std::string folderpath;
    std::vector<std::string> names;
    std::vector<char *> places;

    void addwb() {
        auto *wb = reinterpret_cast<blockhdr *>(carve(sizeof(blockhdr)));
        *wb = blockhdr{};
        wb->state = bs_free;
        wb->first = wb->next = carve(wbsize);
        wb->end = wb->first + wbsize;
        wb->link = freewbs;
        freewbs = wb;
    }

    void makeslots(uint32_t slots) {
        slotcount = slots;
        slotstride = static_cast<uint32_t>(arenaround(sizeof(slot) + intreclen));
        slotptrs = reinterpret_cast<slot **>(carve(slots * sizeof(slot *)));
        uint8_t *area = carve(uint64_t{slots} * slotstride);
        for (uint32_t at = slots; at != 0; --at) {
            auto *place = reinterpret_cast<slot *>(area + uint64_t{at - 1} * slotstride);
            place->link = slotfirst;
            slotfirst = place;
        }
        slotnext = slotfirst;
        const uint64_t k = recperwb;
        const uint64_t unfrozen = k + 1 - k * k / slots;
        frozenlimit = unfrozen >= slots ? 1 : static_cast<uint32_t>(slots - unfrozen);
    }
};

} // namespace kvern::test
