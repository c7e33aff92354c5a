// Files that the command makes beside those of the user: scratch files, and an output
// that takes its place only when all went well.  Where the system can, none of them has a
// name while it is written, so that nothing is left behind whatever ends the process.
#pragma once

#include "kvern/system/cleanup.h"
#include "kvern/system/streams.h"
#include "shared/replacefile.h"

#include <atomic>
#include <cstdint>
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

    void append(const void *data, size_t length);
    // Up to so many bytes from there on, by any thread; 0 at the end.
    size_t readat(uint64_t place, void *to, size_t room) const;

  private:
    std::string shown;
    int descriptor = -1;
};

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

    void write(const void *data, size_t length);
    // Bytes can go to any place of it, by several threads; 0 is where the output begins.
    // write() goes on behind the last one.
    bool placeable() const { return byplace; }
    void writeat(uint64_t offset, const void *data, size_t length);
    // Behind all of it, whichever way it was written.
    void append(const void *data, size_t length);
    uint64_t bytes() const { return total; } // up to the last one
    // All is written; nothing of it would stay without commit() but on a stream.
    void finish();
    void commit();

  private:
    std::string name;
    shared::replacefile file;
    int descriptor = -1;
    bool opened = false; // a stream of its own
    bool byplace = false;
    uint64_t start = 0; // the place where the output begins
    std::string buffer;
    uint64_t behind = 0; // the place of the buffer in it
    std::atomic<uint64_t> total{0};
    cleanup leftover{remove, this};

    static void remove(void *self);
    void findstream(const std::string &path, const std::vector<fileidentity> &inputs);
    void makefile(const std::string &path, const std::vector<std::string> &tempdirs,
                  const std::vector<fileidentity> &inputs);
    void flush();
    void pass(const void *data, size_t length);
    void reach(uint64_t end);
};

} // namespace command
