// Files that the command makes beside those of the user: scratch files, and an output
// that takes its place only when all went well.
#pragma once

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
// output that is no plain file, or stands where no file can be made, is written itself.
class outputfile {
  public:
    explicit outputfile(const std::string &path);
    ~outputfile();
    outputfile(const outputfile &) = delete;
    outputfile &operator=(const outputfile &) = delete;

    // False: a failure costs what the output held.
    bool aside() const { return made; }
    const std::string &path() const { return written; }
    // Puts the new file in the output's place.
    void commit();

  private:
    std::string target, written;
    bool made = false;
};

} // namespace command
