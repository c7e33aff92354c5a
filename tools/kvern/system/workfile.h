// Files that the command makes beside those of the user: scratch files, and an output
// that takes its place only when all went well.  Where the system can, none of them has a
// name while it is written, so that nothing is left behind whatever ends the process.
#pragma once

#include "kvern/system/cleanup.h"
#include "kvern/system/streams.h"
#include "shared/replacefile.h"

#include <cstdint>
#include <deque>
#include <string>
#include <vector>

namespace command {

// A new file that nobody else sees, gone with the object.
class scratchfile {
  public:
    // In the first of the directories, or where the system keeps temporary files.
    explicit scratchfile(const std::vector<std::string> &dirs);
    ~scratchfile();
    scratchfile(const scratchfile &) = delete;
    scratchfile &operator=(const scratchfile &) = delete;

    // A name that opens it in this process.
    const std::string &path() const { return way; }
    // Bytes go in from clear() to finish(), and only then may others open it.
    void clear();
    void append(const void *data, size_t length);
    void finish();

  private:
    std::string shown, name, way; // name: empty where it has none
    int descriptor = -1;
    cleanup leftover{remove, this};

    static void remove(void *self);
    int makenamed(const std::string &prefix);
};
using scratchfiles = std::deque<scratchfile>; // their places stay

// Where an output of that name is written: as a new file that replaces what stands there,
// or through a descriptor.
bool isreplaced(const std::string &path);

// The output.  It is there, or its failure thrown, before anything is read.
//
//   a stream        a pipe or a device, which is opened; or what standard output or
//                   standard error is too, under whatever name: then through that
//   beside          a plain file, or a new name: a file beside it that takes its place
//   in between      a plain file where no file can be made beside it: a file among the
//                   temporary ones, copied over it when it is whole
//
// Nothing of an input may be written before all inputs were read, and an output that is
// copied over would be lost with the copy: so no stream that is a file or a disk, and no
// file without room beside it, may be one of the inputs.
class outputsink {
  public:
    // Empty: standard output.
    outputsink(const std::string &path, const std::vector<std::string> &tempdirs,
               const std::vector<fileidentity> &inputs);
    ~outputsink();
    outputsink(const outputsink &) = delete;
    outputsink &operator=(const outputsink &) = delete;

    // Of one that replaces: a name by which the engine may write it instead.
    const std::string &way() const { return file.way(); }
    void write(const void *data, size_t length);
    uint64_t bytes() const { return total; }
    // All is written; nothing of it would stay without commit() but on a stream.
    void finish();
    void commit();

  private:
    std::string name;
    shared::replacefile file;
    int descriptor = -1;
    bool opened = false; // a stream of its own
    std::string buffer;
    uint64_t total = 0;
    cleanup leftover{remove, this};

    static void remove(void *self);
    void findstream(const std::string &path, const std::vector<fileidentity> &inputs);
    void makefile(const std::string &path, const std::vector<std::string> &tempdirs,
                  const std::vector<fileidentity> &inputs);
    void flush();
};

} // namespace command
