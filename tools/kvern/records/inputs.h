// The inputs as the user named them, and who reads each: regular files can be
// read by the engine itself and looked through first, everything else is a
// stream, of which only the beginning is looked at before the session opens.
//
// A named file is opened when it is first read from and closed at its end, so that
// there may be more of them than descriptors.  What it held at first has to be read by
// then: a shorter one was cut off in between.
#pragma once

#include "kvern/system/streams.h"

#include <string>
#include <string_view>
#include <vector>

namespace command {

// The beginning of a stream that is read ahead.  A stream that ends within it is
// known as well as a file.
constexpr size_t aheadroom = size_t{1} << 20;

class inputsource {
  public:
    explicit inputsource(const std::string &path);
    ~inputsource();
    inputsource(inputsource &&other) noexcept;
    inputsource &operator=(inputsource &&) = delete;

    const std::string &name() const { return shown; } // "standard input" for -
    const std::string &path() const { return filepath; }
    bool isfile() const { return facts.sort == filesort::regular; }
    // A regular file that the engine can open by its path.
    bool isnamedfile() const { return isfile() && !fromstdin && (scratch || header == 0); }
    uint64_t size() const { return facts.size; }

    // Makes the beginning of a stream available to `ahead`; no-op for files.
    void readahead();
    const std::string &ahead() const { return beginning; }
    bool aheadisall() const { return ended; }

    // From here on a byte 0x1A ends the input, which makes the same of a file and of a
    // stream; otherwise it is one like any other.
    void endatmark() { marksend = true; }
    bool endedatmark() const { return cut; }
    // Up to `room` bytes from the current place, 0 at the end.
    size_t read(void *to, size_t room);
    // Its bytes can be had from any place: a regular file, or a stream that was kept.
    bool placed() const;
    // Any thread, of a placed one: so many bytes from there on (0 is where it begins now,
    // behind its header), fewer at the end alone.
    size_t readat(uint64_t offset, void *to, size_t room);
    // Takes in the rest of a stream, up to so much of it in memory and what is more into a
    // file without a name in one of the directories.
    void keep(size_t memory, const std::vector<std::string> &tempdirs);
    // Back to the place where a file stood at first.
    void rewind();
    // The source begins behind its first records from now on, so many bytes in front of
    // the end of a block.  They were read, and of a stream so much more as `rest` holds.
    void beginbehind(uint64_t records, uint64_t bytes, std::string_view rest, uint32_t inblock);
    uint32_t blockrest() const { return insideblock; }
    // The largest block that was read so far, with its prefix.
    void sawblock(uint32_t bytes) { largest = bytes > largest ? bytes : largest; }
    uint32_t largestblock() const { return largest; }
    // Bytes that were read, of a file since the last rewind().
    uint64_t taken() const { return bytestaken; }
    uint64_t skippedrecords() const { return headerrecords; }
    uint64_t skipped() const { return header; } // bytes
    // From here on reads what was taken from the input into this file.
    void standfor(const std::string &file);
    // All of it was read once, and there was a byte 0x1A in it.
    bool readup() const { return seenall; }
    bool holdsmark() const { return marks; }
    // Throws the failure of a named file that is shorter now than when it was opened.
    void checkwhole() const;
    // Nothing is read any more: where open files are locked, the output can take the
    // place of this one only now.
    void close();

  private:
    std::string filepath, shown;
    bool fromstdin;
    bool scratch = false;
    bool marksend = false, cut = false; // at a byte 0x1A
    bool marks = false, seenall = false;
    filefacts facts;
    int descriptor = -1;
    int64_t start = 0;
    uint64_t bytestaken = 0;
    uint64_t rawtaken = 0; // from the descriptor, of a file since it was last rewound
    uint64_t header = 0, headerrecords = 0; // that the source begins behind
    uint32_t insideblock = 0, largest = 0;
    std::string beginning; // read ahead, still to be delivered from `given` on
    size_t given = 0;
    bool ended = false;

    void open();
    size_t readraw(void *to, size_t room);
    void reachend();
    [[noreturn]] void failcut(uint64_t bytes) const;
};

// All inputs of a command line; none means standard input.
std::vector<inputsource> opensources(const std::vector<std::string> &paths);
std::vector<fileidentity> identifyall(const std::vector<std::string> &paths);

} // namespace command
