// The inputs in parts: runs of whole records, small enough to be kept, numbered in the
// order of the inputs, so that several threads can work at them and what they find still
// has its place.
#pragma once

#include "kvern/records/inputs.h"
#include "kvern/records/recordreader.h"
#include "kvern/records/textscan.h"

#include <atomic>
#include <exception>
#include <memory>
#include <mutex>
#include <string_view>
#include <vector>

namespace command {

constexpr size_t partbytes = size_t{128} << 10;

struct part {
    uint64_t number = 0; // over all inputs, from 0; some hold nothing
    size_t source = 0;   // which of the inputs
    uint64_t offset = 0; // of the bytes in the input
    // Records of the input ahead of it, its header too.  Of lines that a thread read by
    // their place it is not known: partreader::count tells where it is needed.
    uint64_t first = 0;
    bool counted = true;
    // What follows the part is no record: to be thrown once its records were looked at.
    std::exception_ptr trouble;
    rawbytes room;
    size_t begin = 0, filled = 0;

    // Whole records as they lie in the input, but for the prefixes of blocks; the last
    // line has its end.
    std::string_view bytes() const { return {room.data() + begin, filled}; }
};

// What is common to all parts of a run.
struct partrules {
    const recordshape &shape;
    bool dropshort = false;   // a last fixed record that is not whole is left out
    bool placedonly = false;  // streams are not touched
    size_t bytes = partbytes; // of a part, or so
};

class partreader {
  public:
    partreader(std::vector<inputsource> &inputs, const partrules &given);

    // All parts are read by place, several at a time.
    bool byplace() const;
    // The next part, for any thread; false at the end of all inputs.
    bool next(part &out);
    // Records of its input ahead of the part.
    uint64_t count(const part &one) const;

    // Last fixed records that were not whole, and left out for that.
    uint64_t torn() const { return tornrecords; }

  private:
    std::vector<inputsource> &sources;
    partrules rules;
    std::mutex lock;
    uint64_t number = 0;
    size_t current = 0;                   // the input that parts come from
    uint64_t place = 0;                   // in it, where they are read by place
    std::unique_ptr<recordreader> reader; // of it, where they are framed in order
    uint64_t given = 0;                   // records of it, of a stream of fixed ones
    std::atomic<uint64_t> tornrecords{0};

    bool byplace(const inputsource &source) const;
    uint64_t stride() const;
    void startpart(part &out);
    void nextsource();
    bool framerecords(part &out);
    bool frame(part &out);
    bool fillfixed(part &out);
    void readfixed(part &out, uint64_t to);
    void readlines(part &out, uint64_t to);
    void settletorn(part &out);
    bool findend(part &out, uint64_t base, size_t &got, size_t from, size_t &stop) const;
    void refuseline(part &out) const;
};

// Runs `each` with all bytes of a record and with its data, over the records of a part.
template <typename Each>
void walkrecords(const recordshape &shape, std::string_view bytes, Each each) {
    if (shape.kind == formkind::fixed) {
        for (; !bytes.empty(); bytes.remove_prefix(shape.length))
            each(bytes.substr(0, shape.length), bytes.substr(0, shape.length));
    } else if (shape.kind == formkind::variable) {
        const framing &frame = *shape.frame;
        for (uint32_t length = 0; !bytes.empty(); bytes.remove_prefix(frame.prefix + length)) {
            readprefix(frame, bytes.data(), length);
            each(bytes.substr(0, frame.prefix + length), bytes.substr(frame.prefix, length));
        }
    } else {
        const std::string_view end = endbytes(shape.end);
        while (!bytes.empty()) {
            const size_t length = bytes.find(end);
            each(bytes.substr(0, length + end.size()), bytes.substr(0, length));
            bytes.remove_prefix(length + end.size());
        }
    }
}

} // namespace command
