// The inputs as the user named them, and who reads each: regular files can be
// read by the engine itself and looked through first, everything else is a
// stream, of which only the beginning is looked at before the session opens.
#pragma once

#include "streams.h"

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
    bool aheadisall() const { return atend; }

    // Up to `room` bytes from the current place, 0 at the end.
    size_t read(void *to, size_t room);
    // Back to the place where a file stood at first.
    void rewind();
    // The source begins behind its first records from now on.  They were read, and of a
    // stream so much more as `rest` holds.
    void beginbehind(uint64_t records, uint64_t bytes, std::string_view rest);
    // Bytes that were read, of a file since the last rewind().
    uint64_t taken() const { return bytestaken; }
    uint64_t skippedrecords() const { return headerrecords; }
    uint64_t skipped() const { return header; } // bytes
    // From here on reads what was taken from the input into this file, which holds bytes
    // 0x1A or does not.
    void standfor(const std::string &file, bool marked);
    bool holdsmark() const { return scratch && marks; }
    // The engine ends a text file of the user's at a byte 0x1A.
    bool endsatmark() const { return isnamedfile() && !scratch; }
    // Nothing is read any more: where open files are locked, the output can take the
    // place of this one only now.
    void close();

  private:
    std::string filepath, shown;
    bool fromstdin;
    bool scratch = false, marks = false;
    filefacts facts;
    int descriptor = -1;
    int64_t start = 0;
    uint64_t bytestaken = 0;
    uint64_t header = 0, headerrecords = 0; // that the source begins behind
    std::string beginning;                  // read ahead, still to be delivered from `given` on
    size_t given = 0;
    bool atend = false;

    void open();
    size_t readraw(void *to, size_t room);
};

// All inputs of a command line; none means standard input.
std::vector<inputsource> opensources(const std::vector<std::string> &paths);
std::vector<fileidentity> identifyall(const std::vector<std::string> &paths);

} // namespace command
