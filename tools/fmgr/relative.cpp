// Organisation 4, relative: slots of one size, each a length of eight bytes, lowest
// first, and room for the longest record.  A slot of length 0 is empty: its record
// was deleted or never written.  This is the format that GnuCOBOL writes by default
// where a size has 64 bits; here it is the same on all systems.
//
// Reading takes the records that are there in the order of their numbers; writing
// fills the slots from the first on.
#include "byteorder.h"
#include "cobolfile.h"
#include "diskfile.h"

#include <algorithm>

namespace fmgr {

namespace {

constexpr size_t headlength = 8;
constexpr uint8_t filler = ' '; // behind a record shorter than its slot
constexpr uint32_t mostlength = 1U << 24;

class relativereader final : public reader {
  public:
    explicit relativereader(const opening &how)
        : file(how.path), longest(how.longest), variable(how.variable) {
        if (longest == 0 || longest > mostlength || file.size() % (headlength + longest) != 0)
            fail(status::conflict);
        slot.resize(headlength + longest);
    }
    bool read(uint8_t *to, uint32_t room, uint32_t *length) override {
        while (file.left() != 0) {
            file.next(slot.data(), slot.size());
            const uint64_t found = littleendian(slot.data(), headlength);
            if (found == 0)
                continue;
            if (found > longest)
                fail(status::failed);
            if (found > room || (!variable && found != longest))
                fail(status::lengthdiffers);
            std::copy_n(slot.data() + headlength, found, to);
            *length = static_cast<uint32_t>(found);
            return true;
        }
        return false;
    }

  private:
    inputfile file;
    uint32_t longest;
    bool variable;
    std::vector<uint8_t> slot;
};

class relativewriter final : public writer {
  public:
    explicit relativewriter(const opening &how)
        : file(how.path), longest(how.longest), variable(how.variable) {
        if (longest == 0 || longest > mostlength)
            fail(status::conflict);
        slot.resize(headlength + longest);
    }
    void write(const uint8_t *from, uint32_t length) override {
        if (length == 0 || length > longest || (!variable && length != longest))
            fail(status::badlength);
        putlittle(slot.data(), headlength, length);
        const auto behind = std::copy_n(from, length, slot.begin() + headlength);
        std::fill(behind, slot.end(), filler);
        file.append(slot.data(), slot.size());
    }
    void commit() override { file.commit(); }

  private:
    outputfile file;
    uint32_t longest;
    bool variable;
    std::vector<uint8_t> slot;
};

} // namespace

std::unique_ptr<reader> readrelative(const opening &how) {
    return std::make_unique<relativereader>(how);
}

std::unique_ptr<writer> writerelative(const opening &how) {
    return std::make_unique<relativewriter>(how);
}

} // namespace fmgr
