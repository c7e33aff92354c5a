// What the manager's rooms share: file statuses, the failure that carries one, and
// the two ways in which a file is open.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace fmgr {

// COBOL file status, a decimal digit in each half of the byte.
enum class status : uint8_t {
    done = 0x00,
    lengthdiffers = 0x04, // the record is longer than the room, or not of the fixed length
    atend = 0x10,
    duplicate = 0x22,
    failed = 0x30, // the system's error, or contents that cannot be right
    badname = 0x31,
    full = 0x34,
    missing = 0x35,
    refused = 0x37,
    conflict = 0x39, // the file is not what the request says it is
    notopen = 0x42,
    badlength = 0x44,
    notread = 0x47, // not open for input
    notwritten = 0x48,
    pastend = 0x96,
};

// Thrown by whatever cannot go on; ends as the status of a reply.
struct failure {
    status state;
    int code;              // the C library's error number; 0: none
    std::string kept = {}; // a whole output that stays under this name
};

[[noreturn]] inline void fail(status state, int code = 0, const std::string &kept = {}) {
    throw failure{state, code, kept};
}

enum class organisation : uint8_t { sequential = 2, relative = 4, indexed = 6 };

// What an open request says.
struct opening {
    std::string path;
    bool output;
    bool variable;
    uint32_t longest;              // longest record
    uint32_t shortest;             // what follows: indexed files alone
    std::vector<uint8_t> keyparts; // 4 bytes each
    uint32_t blocksize;
    uint32_t attributes[2];
};

class reader {
  public:
    reader() = default;
    virtual ~reader() = default;
    reader(const reader &) = delete;
    reader &operator=(const reader &) = delete;
    // The next record to `to`, which holds `room` bytes.  False: there is none.
    virtual bool read(uint8_t *to, uint32_t room, uint32_t *length) = 0;
};

// The file stands under its name only after commit(); without it nothing stays.
class writer {
  public:
    writer() = default;
    virtual ~writer() = default;
    writer(const writer &) = delete;
    writer &operator=(const writer &) = delete;
    virtual void write(const uint8_t *from, uint32_t length) = 0;
    virtual void commit() = 0;
};

// The organisations, each in its own source.
std::unique_ptr<reader> readsequential(const opening &how);
std::unique_ptr<writer> writesequential(const opening &how);
std::unique_ptr<reader> readrelative(const opening &how);
std::unique_ptr<writer> writerelative(const opening &how);
std::unique_ptr<reader> readindexed(const opening &how);
std::unique_ptr<writer> writeindexed(const opening &how);

} // namespace fmgr
