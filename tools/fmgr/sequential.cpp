// Organisation 2, sequential: fixed records back to back; before a variable record
// its length as two bytes, highest first, and two zero bytes.  These are the formats
// that GnuCOBOL writes by default.
#include "byteorder.h"
#include "cobolfile.h"
#include "diskfile.h"

namespace fmgr {

namespace {

constexpr size_t headlength = 4;
constexpr uint32_t longestvariable = 0xFFFF;

class fixedreader final : public reader {
  public:
    explicit fixedreader(const opening &how) : file(how.path), reclen(how.longest) {
        if (reclen == 0 || file.size() % reclen != 0)
            fail(status::conflict);
    }
    bool read(uint8_t *to, uint32_t room, uint32_t *length) override {
        if (file.left() == 0)
            return false;
        if (room < reclen)
            fail(status::lengthdiffers);
        file.next(to, reclen);
        *length = reclen;
        return true;
    }

  private:
    inputfile file;
    uint32_t reclen;
};

class variablereader final : public reader {
  public:
    explicit variablereader(const opening &how) : file(how.path) {}
    bool read(uint8_t *to, uint32_t room, uint32_t *length) override {
        if (file.left() == 0)
            return false;
        uint8_t head[headlength];
        file.next(head, sizeof head);
        const auto found = static_cast<uint32_t>(bigendian(head, 2));
        if (head[2] != 0 || head[3] != 0 || found > file.left())
            fail(status::failed);
        if (found > room)
            fail(status::lengthdiffers);
        file.next(to, found);
        *length = found;
        return true;
    }

  private:
    inputfile file;
};

class sequentialwriter final : public writer {
  public:
    explicit sequentialwriter(const opening &how)
        : file(how.path), longest(how.longest), variable(how.variable) {
        if (longest == 0 || (variable && longest > longestvariable))
            fail(status::conflict);
    }
    void write(const uint8_t *from, uint32_t length) override {
        if (length > longest || (!variable && length != longest))
            fail(status::badlength);
        if (variable) {
            uint8_t head[headlength] = {};
            putbig(head, 2, length);
            file.append(head, sizeof head);
        }
        file.append(from, length);
    }
    void commit() override { file.commit(); }

  private:
    outputfile file;
    uint32_t longest;
    bool variable;
};

} // namespace

std::unique_ptr<reader> readsequential(const opening &how) {
    if (how.variable)
        return std::make_unique<variablereader>(how);
    return std::make_unique<fixedreader>(how);
}

std::unique_ptr<writer> writesequential(const opening &how) {
    return std::make_unique<sequentialwriter>(how);
}

} // namespace fmgr
