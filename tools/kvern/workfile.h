// Files that the command makes beside those of the user: scratch files, and an output
// that takes its place only when all went well.
#pragma once

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

namespace command {

// A new file, taken away again with the object.
class scratchfile {
  public:
    // In the first of the directories, or where the system keeps temporary files.
    explicit scratchfile(const std::vector<std::string> &dirs);
    ~scratchfile();
    scratchfile(const scratchfile &) = delete;
    scratchfile &operator=(const scratchfile &) = delete;

    const std::string &path() const { return name; }
    // Bytes go in from clear() to finish(), and only then may others open it.
    void clear();
    void append(const void *data, size_t length);
    void finish();

  private:
    std::string name;
    int descriptor = -1;
};

// Where the session writes: a new file beside the output, with its permissions.  An
// output that is no plain file, or stands where no file can be made, is written itself;
// a plain one that was touched is emptied when the run fails.
class outputfile {
  public:
    explicit outputfile(const std::string &path);
    ~outputfile();
    outputfile(const outputfile &) = delete;
    outputfile &operator=(const outputfile &) = delete;

    const std::string &path() const { return written; }
    // Puts the new file in the output's place.
    void commit();

  private:
    std::string target, written;
    bool made = false;
    bool emptied = false; // where the run fails, when it was touched
    std::filesystem::file_time_type touched{};
};

// Records that the command writes itself: to standard output, or to a file that is
// open until it takes its place.
class outputsink {
  public:
    explicit outputsink(const std::string &path); // empty: standard output
    ~outputsink();
    outputsink(const outputsink &) = delete;
    outputsink &operator=(const outputsink &) = delete;

    void write(const void *data, size_t length);
    uint64_t bytes() const { return total; }
    // All is written; nothing of it would stay without this call but on a stream.
    void finish();
    void commit();

  private:
    std::string name;
    std::optional<outputfile> file;
    int descriptor;
    std::string buffer;
    uint64_t total = 0;

    void flush();
};

} // namespace command
