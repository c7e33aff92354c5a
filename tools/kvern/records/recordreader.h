// Records of one input, one after the other, in whatever form they lie there.
//
// In this folder: inputs and what is read of them ahead (inputs), framing, readers and
// the sink, lines looked at beforehand (textscan).  Left to others: whether a record is
// wanted (the engine's filter), where it goes (run).  In order: an inputsource, a
// recordreader of it, next until it gives false; a recordsink, its records, finish.
#pragma once

#include "kvern/records/framing.h"
#include "kvern/records/inputs.h"
#include "kvern/records/rawbytes.h"

#include <functional>

namespace command {

// More than the engine can sort by far; a longer line is not kept to be measured.
constexpr size_t longestkept = size_t{4} << 20;
[[noreturn]] void refuselongline(const std::string &line, const inputsource &source, size_t bytes);
// A last fixed record is not whole: the source has so many bytes.
[[noreturn]] void refusetorn(const inputsource &source, uint64_t bytes, uint32_t length);
// Throws where a line that should end in CR LF holds a bare line feed.
void checkfeeds(const recordshape &shape, std::string_view line, uint64_t number,
                const inputsource &source);

// Whole records of a placed input, from the first byte on up to the other one.
struct recordslice {
    uint64_t from = 0, to = 0;
};

class recordreader {
  public:
    static constexpr size_t usualroom = size_t{256} << 10; // bytes that are read at once

    recordreader(inputsource &from, const recordshape &form, size_t room = usualroom);
    // A slice is read by its place, whoever else reads the source; its numbers are not
    // those of the source.
    recordreader(inputsource &from, const recordshape &form, const recordslice &its, size_t room);

    // False at the end.  Throws the failure of what is no record of the form.
    bool next();
    // Until the next call: the data, and all bytes that the record takes in the file.  A
    // last line has its end in memory also where the file lacks it.
    std::string_view data() const;
    std::string_view raw() const { return {buffer.data() + first, length}; }
    uint64_t number() const { return count; } // from 1
    uint64_t offset() const { return place; } // of raw() in the file
    // What was read and not given yet.
    std::string_view rest() const { return {buffer.data() + at, stop - at}; }
    // Of the block that the record lies in, behind it.
    uint32_t blockrest() const { return blockleft; }
    // Fixed records: the last one is not whole, and is left out.
    void forgivetorn() { forgiving = true; }
    bool torn() const { return incomplete; }

    // "record 17 of vb.bin (offset 1280)"
    std::string whichrecord() const;

  private:
    inputsource &source;
    recordshape shape;
    size_t chunk;
    recordslice part;
    size_t (recordreader::*bring)(void *to, size_t room);
    bool forgiving = false, incomplete = false;
    rawbytes buffer;
    size_t at = 0, stop = 0; // bytes that wait
    size_t first = 0, length = 0;
    uint64_t count = 0, place = 0, nextplace = 0;
    uint32_t blockleft = 0;
    bool atend = false;

    size_t readon(void *to, size_t room);
    size_t readslice(void *to, size_t room);
    bool fill(); // more bytes behind `stop`; false: there are none
    bool need(size_t bytes);
    bool give(size_t bytes);
    bool nextfixed();
    bool nextvariable();
    bool nextline();
    bool enterblock();
    [[noreturn]] void failprefix(const std::string &why) const;
    [[noreturn]] void failblock(const std::string &why) const;
    std::string placenow() const;
};

// Runs `each` over the lines of a source, without their ends.
void eachline(inputsource &source, const recordshape &shape,
              const std::function<void(std::string_view)> &each);

} // namespace command
