// A file that is written beside another one and takes its place whole.
//
//   replacefile file;
//   if (const outcome made = file.create(path, "kvern"); !made.done()) ...
//   ... write to file.descriptor(), or let file.way() be written ...
//   if (const outcome placed = file.commit(); !placed.done()) ...
//
// The new file is made exclusively in the directory of the old one.  Where the system
// can, it has no name until commit(), so that whatever kills the process leaves nothing;
// to replace a file it gets one just before the rename, when it is whole and on the disk,
// since no system puts a file without a name in the place of another.  Elsewhere it is
// called PATH.MARK-PROCESS-NUMBER, or .MARK-PROCESS-NUMBER where that is too long for
// the directory; such files that a dead process left beside the same path are taken away
// when the next one is given a name, so nothing else may be called so.  Links are followed,
// dangling ones too.
//
// Nothing here throws but for want of memory.  Not for two threads at a time.
#pragma once

#include "filecalls.h"

#include <string>

namespace shared {

// What became of a call: the C library's error number, on Windows too, and the path
// that it is about.
struct [[nodiscard]] outcome {
    int code = 0;
    std::string path;
    bool done() const { return code == 0; }
};

class replacefile {
  public:
    replacefile() = default;
    ~replacefile() { drop(); }
    replacefile(const replacefile &) = delete;
    replacefile &operator=(const replacefile &) = delete;

    // Once.  A failure leaves nothing, and `path` as it was.  Only a plain file may stand
    // there (EISDIR, EINVAL); whether it may be written is asked where it will be, see
    // commit().
    outcome create(const std::string &path, const char *mark);
    // In another directory, for a plain file in whose own no file can be made: commit()
    // copies it over that.
    outcome createin(const std::string &folder, const std::string &path, const char *mark);

    // For reading and writing; -1: none is open.
    int descriptor() const { return held; }
    // A name that opens the new file in this process.
    const std::string &way() const { return opens; }
    // Its name in the directory; empty: it has none.
    const std::string &name() const { return beside; }
    // What `path` stands for.
    const std::string &target() const { return place; }
    // There was a file at the target.
    bool replaces() const { return old.found; }

    // Puts the new file in the target's place and closes it.  One that replaces a file is
    // brought to the disk first and its directory after; it takes over owner, group and
    // the mode bits below 01000.  Where that would part hard links or change an owner,
    // and where the system lets no other file take that place, the new one lies whole on
    // the disk beside the old one while it is copied over that.
    //
    // After a failure the old file is as it was and the new one is gone, but for two
    // cases.  Such a copy failed, or the new file could not be taken away after it: it
    // stays, under the name in kept(), which no later create() takes away.  The
    // directory was not brought to the disk: the new file is in place, though a crash may
    // undo that.
    outcome commit();
    const std::string &kept() const { return saved; }

    // Takes the new file away, if it is not in place.
    void drop();

  private:
    template <class routine>
    int withname(const char *sort, std::string *name, routine make) const;
    outcome begin(const std::string &path, const char *mark, const std::string *folder);
    int makefile();
    void sweep() const;
    bool mustcopy() const;
    int fresh();
    int over(const filestate &now);
    int moveto(const std::string &name);
    int keepandcopy();
    int reopen(const std::string &name);
    int close();

    std::string place, where, marked, beside, opens, saved;
    filestate old; // as it was seen last
    int held = -1;
    bool elsewhere = false; // not in the directory of the target
};

} // namespace shared
