// Writing organisation 6: records go to the data blocks as they come, a length of two
// bytes before each; their keys stay in memory.  At the end follows the list of the
// records' places in the order of the primary key, and the head, which knows the
// number of blocks, is written once more.
#include "byteorder.h"
#include "cobolfile.h"
#include "indexhead.h"
#include "keystore.h"

#include <algorithm>
#include <limits>

namespace fmgr {

std::vector<uint32_t> keystore::order() const {
    std::vector<uint32_t> out(count);
    for (uint32_t i = 0; i < count; ++i)
        out[i] = i;
    std::sort(out.begin(), out.end(), [this](uint32_t a, uint32_t b) {
        const int sign = std::memcmp(at(a), at(b), length);
        return sign != 0 ? sign < 0 : a < b;
    });
    return out;
}

namespace {

// Cuts a stream of bytes into data blocks.
class blockwriter {
  public:
    blockwriter(outputfile *to, const indexhead &head)
        : file(to), block(newdatablock(head)), number(head.headblocks()) {}

    void append(const uint8_t *from, size_t length) {
        while (length != 0) {
            const size_t part = std::min(length, block.size() - used);
            std::copy_n(from, part, block.begin() + static_cast<ptrdiff_t>(used));
            from += part;
            length -= part;
            used += part;
            if (used == block.size())
                flush();
        }
    }
    void finish() {
        if (used != datahead)
            flush();
    }

  private:
    void flush() {
        if (number > std::numeric_limits<uint32_t>::max())
            fail(status::full);
        std::fill(block.begin() + static_cast<ptrdiff_t>(used), block.end(), uint8_t{0});
        sealdatablock(block, number++);
        file->append(block.data(), block.size());
        used = datahead;
    }

    outputfile *file;
    std::vector<uint8_t> block;
    size_t used = datahead;
    uint64_t number;
};

indexhead headof(const opening &how) {
    indexhead head = {};
    head.shortest = how.shortest;
    head.longest = how.longest;
    head.attributes[0] = how.attributes[0];
    head.attributes[1] = how.attributes[1];
    head.blocksize = how.blocksize;
    head.keyparts = how.keyparts;
    checkhead(head);
    if (how.variable != (head.shortest != head.longest))
        fail(status::conflict);
    return head;
}

class indexedwriter final : public writer {
  public:
    explicit indexedwriter(const opening &how)
        : head(headof(how)), keys(head.keys()), file(how.path), data(&file, head) {
        for (const keydef &key : keys) {
            const bool primary = stores.empty();
            const bool kept = primary || !key.duplicates;
            stores.push_back(kept ? std::make_unique<keystore>(key.length(), !key.duplicates)
                                  : nullptr);
            for (const keypart &part : key.parts)
                reach = std::max(reach, part.position + part.length);
        }
        const std::vector<uint8_t> blocks = encodehead(head); // keeps their place
        file.append(blocks.data(), blocks.size());
    }

    void write(const uint8_t *from, uint32_t length) override {
        if (length < std::max(head.shortest, reach) || length > head.longest)
            fail(status::badlength);
        if (head.records == std::numeric_limits<uint32_t>::max())
            fail(status::full);
        for (size_t i = 0; i < keys.size(); ++i) {
            if (!stores[i])
                continue;
            keys[i].extract(from, stores[i]->next());
            if (!stores[i]->add())
                fail(status::duplicate);
        }
        places.push_back(head.recordbytes);
        uint8_t prefix[2];
        putbig(prefix, sizeof prefix, length);
        data.append(prefix, sizeof prefix);
        data.append(from, length);
        head.recordbytes += sizeof prefix + length;
        ++head.records;
    }

    void commit() override {
        for (const uint32_t record : stores[0]->order()) {
            uint8_t place[sizeof(uint64_t)];
            putbig(place, sizeof place, places[record]);
            data.append(place, sizeof place);
        }
        data.finish();
        const std::vector<uint8_t> blocks = encodehead(head);
        file.rewrite(0, blocks.data(), blocks.size());
        file.commit();
    }

  private:
    indexhead head;
    std::vector<keydef> keys;
    outputfile file;
    blockwriter data;
    std::vector<std::unique_ptr<keystore>> stores; // of the primary key, and where none twice
    std::vector<uint64_t> places;
    uint32_t reach = 0; // a record holds all of its keys
};

} // namespace

std::unique_ptr<writer> writeindexed(const opening &how) {
    return std::make_unique<indexedwriter>(how);
}

} // namespace fmgr
