// Reading organisation 6 in the order of the primary key.  Every block's checksum,
// every place and length, and the order of the keys are tested on the way.
#include "byteorder.h"
#include "cobolfile.h"
#include "indexhead.h"

#include <algorithm>
#include <cstring>

namespace fmgr {

namespace {

// The bytes of the data blocks as one stream; holds one block.
class blockreader {
  public:
    blockreader(const inputfile *from, const indexhead &head)
        : file(from), first(head.headblocks()), payload(head.payload()), block(newdatablock(head)) {
    }

    void readat(uint64_t position, uint8_t *to, size_t length) {
        while (length != 0) {
            load(first + position / payload);
            const auto within = static_cast<size_t>(position % payload);
            const size_t part = std::min<size_t>(length, payload - within);
            std::copy_n(&block[datahead + within], part, to);
            to += part;
            position += part;
            length -= part;
        }
    }

  private:
    void load(uint64_t number) {
        if (number == held)
            return;
        held = 0; // the header's number: never one of these
        file->readat(number * block.size(), block.data(), block.size());
        if (!soundblock(block, number))
            fail(status::failed);
        held = number;
    }

    const inputfile *file;
    uint64_t first, held = 0;
    uint32_t payload;
    std::vector<uint8_t> block;
};

class indexedreader final : public reader {
  public:
    explicit indexedreader(const opening &how)
        : file(how.path), head(readhead(file)), primary(head.keys().front()), list(&file, head),
          data(&file, head), key(primary.length()), before(key.size()) {
        if (head.longest > how.longest || how.variable != (head.shortest != head.longest))
            fail(status::conflict);
        record.resize(head.longest);
    }

    bool read(uint8_t *to, uint32_t room, uint32_t *length) override {
        if (number == head.records)
            return false;
        const uint32_t found = fetch();
        if (found > room)
            fail(status::lengthdiffers);
        primary.extract(record.data(), key.data());
        const int sign = number == 0 ? -1 : std::memcmp(before.data(), key.data(), key.size());
        if (sign > 0 || (sign == 0 && !primary.duplicates))
            fail(status::failed);
        before.swap(key);
        std::copy_n(record.data(), found, to);
        *length = found;
        ++number;
        return true;
    }

  private:
    // Brings record `number`; what lies behind it in the buffer is an older one's.
    uint32_t fetch() {
        uint8_t place[sizeof(uint64_t)], prefix[2];
        list.readat(head.recordbytes + number * sizeof place, place, sizeof place);
        const uint64_t at = bigendian(place, sizeof place);
        if (at > head.recordbytes || head.recordbytes - at < sizeof prefix)
            fail(status::failed);
        data.readat(at, prefix, sizeof prefix);
        const auto found = static_cast<uint32_t>(bigendian(prefix, sizeof prefix));
        if (found < head.shortest || found > head.longest ||
            head.recordbytes - at - sizeof prefix < found)
            fail(status::failed);
        data.readat(at + sizeof prefix, record.data(), found);
        return found;
    }

    inputfile file;
    indexhead head;
    keydef primary;
    blockreader list, data;
    std::vector<uint8_t> key, before, record;
    uint64_t number = 0;
};

} // namespace

std::unique_ptr<reader> readindexed(const opening &how) {
    return std::make_unique<indexedreader>(how);
}

} // namespace fmgr
