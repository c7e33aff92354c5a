// Records on their way out, in the form of the shape: as they come, behind a prefix, or
// in blocks:
//
//   00 12 00 00   00 06 00 00 a b   00 08 00 00 c d e f
//   block         record            record
#pragma once

#include "kvern/records/framing.h"

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <utility>

namespace command {

class recordsink {
  public:
    // The bytes that a block may have; asked when the first record goes out, for an input
    // may have to be read up to then.
    using blocklimit = std::function<uint32_t()>;
    using writer = std::function<void(const void *, size_t)>;

    // Where `strict` is set a record that has no room in a block is refused; otherwise it
    // has a larger one for itself.
    recordsink(writer to, const recordshape &form, blocklimit most, bool strict)
        : out(std::move(to)), shape(form), limit(std::move(most)), exact(strict) {}

    // Bytes that are in their form already: of a header, and of records without a prefix.
    // Of blocks they are records with their prefixes.
    void write(const void *data, size_t length);
    // One variable record.
    void put(const void *data, size_t length);
    // Records in their form already, variable ones behind their prefixes.
    void putframed(std::string_view records);
    // What is still held goes out.
    void finish();

  private:
    writer out;
    const recordshape &shape;
    blocklimit limit;
    bool exact;
    uint32_t room = 0; // of a block; 0: not asked yet
    std::string block, framed, leading;

    void settle();
    void addtoblock(std::string_view record);
    void endblock();
};

} // namespace command
