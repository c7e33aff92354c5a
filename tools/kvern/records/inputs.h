// The inputs as the user named them.  A regular file can be read at any place, by several
// threads; everything else is a stream, of which the beginning can be looked at, and which
// can be kept and is then read like a file.
//
// A named file is opened when it is read and closed at its end, so that there may be more
// of them than descriptors.  It holds what it held at first: what was added since is not
// read, and a shorter one was cut off in between.
#pragma once

#include "kvern/records/keptstream.h"
#include "kvern/system/streams.h"

#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace command {

// The beginning of a stream that is read ahead.  A stream that ends within it is
// known as well as a file.
constexpr size_t aheadroom = size_t{1} << 20;

class inputsource {
  public:
    // `scarce`: there are too few descriptors for all inputs to stay open.
    explicit inputsource(const std::string &path, bool scarce = false);
    ~inputsource();
    inputsource(inputsource &&other) noexcept;
    inputsource &operator=(inputsource &&) = delete;

    const std::string &name() const { return shown; } // "standard input" for -
    bool isfile() const { return facts.sort == filesort::regular; }
    // Its bytes can be had from any place: a regular file, or a stream that was kept.
    bool placed() const { return isfile() || kept != nullptr; }
    uint64_t size() const { return facts.size; } // of a placed one
    bool isscarce() const { return few; }

    // Makes the beginning of a stream available to `ahead`; no-op for placed ones.
    void readahead();
    const std::string &ahead() const { return beginning; }
    bool aheadisall() const { return ended; }
    // What any source begins with: of a placed one so many bytes, of a stream the same as
    // `ahead`.
    std::string lookahead(size_t most);
    // Takes in the rest of a stream, up to so much of it in memory and what is more into a
    // file without a name in one of the directories; `told` hears of its bytes.
    void keep(size_t memory, const std::vector<std::string> &tempdirs,
              const std::function<void(size_t)> &told);

    // From here on a byte 0x1A ends the input, which makes the same of a file and of a
    // stream; otherwise it is one like any other.
    void endatmark() { marksend = true; }
    bool endsatmark() const { return marksend; }
    bool endedatmark() const { return cut; }
    // Up to `room` bytes from the current place, 0 at the end.
    size_t read(void *to, size_t room);
    // Any thread, of a placed one: so many bytes from there on (0 is where it begins now,
    // behind its header), fewer at the end alone.
    size_t readat(uint64_t offset, void *to, size_t room);
    // Back to the place where a placed one stood at first.
    void rewind();
    // The source begins behind its first records from now on, so many bytes in front of
    // the end of a block.  They were read, and of a stream so much more as `rest` holds.
    void beginbehind(uint64_t records, uint64_t bytes, std::string_view rest, uint32_t inblock);
    uint32_t blockrest() const { return insideblock; }
    // The largest block that was read so far, with its prefix.
    void sawblock(uint32_t bytes) { largest = bytes > largest ? bytes : largest; }
    uint32_t largestblock() const { return largest; }
    // Bytes that read() gave, of a placed one since the last rewind().
    uint64_t taken() const { return bytestaken; }
    uint64_t skippedrecords() const { return headerrecords; }
    uint64_t skipped() const { return header; } // bytes
    // Nothing is read any more: where open files are locked, the output can take the
    // place of this one only now.
    void close();

  private:
    struct openfile; // what threads share
    std::string filepath, shown;
    bool fromstdin, few;
    bool marksend = false, cut = false; // at a byte 0x1A
    filefacts facts;
    fileidentity identity;
    std::unique_ptr<openfile> held;
    std::unique_ptr<keptstream> kept;
    uint64_t start = 0;    // the place where the source begins
    uint64_t rawtaken = 0; // behind it, what was read one after the other
    uint64_t bytestaken = 0;
    uint64_t header = 0, headerrecords = 0; // that the source begins behind
    uint32_t insideblock = 0, largest = 0;
    std::string beginning; // read ahead, still to be delivered from `given` on
    size_t given = 0;
    bool ended = false;

    int open() const;
    void settle();
    size_t readraw(void *to, size_t room);
    size_t fetch(uint64_t place, void *to, size_t room);
    [[noreturn]] void failcut(uint64_t place) const;
};

bool allplaced(const std::vector<inputsource> &sources);
uint64_t placedbytes(const std::vector<inputsource> &sources); // of those that are

// All inputs of a command line; none means standard input.
std::vector<inputsource> opensources(const std::vector<std::string> &paths);
std::vector<fileidentity> identifyall(const std::vector<std::string> &paths);

} // namespace command
