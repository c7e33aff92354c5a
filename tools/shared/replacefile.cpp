#include "replacefile.h"

#include <atomic>
#include <cerrno>
#include <utility>
#include <vector>

namespace shared {

namespace {

constexpr int attempts = 100;      // names that may be taken by others
constexpr uint32_t ownmode = 0600; // until it replaces a file
constexpr uint32_t newmode = 0666; // less what the process keeps back
constexpr uint32_t takenbits = 0777;
constexpr uint32_t droppedbits = 07000;
constexpr size_t copyroom = size_t{256} << 10;

int copyall(int from, int to, std::vector<char> &buffer) {
    uint64_t total = 0;
    int code = seekto(from, 0);
    while (code == 0) {
        const int64_t count = readonce(from, buffer.data(), buffer.size());
        if (count < 0)
            return errno;
        if (count == 0)
            return cutto(to, total);
        code = writeall(to, buffer.data(), static_cast<size_t>(count));
        total += static_cast<uint64_t>(count);
    }
    return code;
}

// Of a file that is not its own the system itself drops such bits when it is written.
int dropbits(int file, uint32_t mode) {
    const int code = (mode & droppedbits) != 0 ? givemode(file, mode & takenbits) : 0;
    return code == EPERM ? 0 : code;
}

int copyover(int from, const std::string &target, const filestate &old, std::vector<char> &buffer) {
    const int to = openover(target);
    if (to < 0)
        return errno;
    int code = dropbits(to, old.mode);
    if (code == 0)
        code = copyall(from, to, buffer);
    if (code == 0)
        code = syncfile(to);
    const int closed = closefile(to);
    return code != 0 ? code : closed;
}

int notplain(const filestate &state) {
    if (!state.found || state.plain)
        return 0;
    return state.folder ? EISDIR : EINVAL;
}

} // namespace

// Does `make` with names of the sort until one is free; shorter ones where the long ones
// fail, for whatever reason.
template <class routine>
int replacefile::withname(const char *sort, std::string *name, routine make) const {
    static std::atomic<unsigned> last{0};
    int code = 0;
    for (const std::string &start : {where, folderof(where)})
        for (int i = 0; i < attempts; ++i) {
            std::string tried = start + marked;
            tried += sort + std::to_string(processnumber()) + "-" + std::to_string(last++);
            code = make(tried);
            if (code == 0) {
                *name = std::move(tried); // takes no memory: the file is there
                return 0;
            }
            if (code != EEXIST && code != EAGAIN)
                break;
        }
    return code;
}

outcome replacefile::create(const std::string &path, const char *mark) {
    return begin(path, mark, nullptr);
}

outcome replacefile::createin(const std::string &folder, const std::string &path,
                              const char *mark) {
    return begin(path, mark, &folder);
}

outcome replacefile::begin(const std::string &path, const char *mark, const std::string *folder) {
    place = path;
    elsewhere = folder != nullptr;
    marked = std::string(".") + mark + "-";
    int code = followlinks(&place);
    if (code == 0)
        code = lookat(place, &old);
    if (code == 0)
        code = elsewhere && !old.found ? ENOENT : notplain(old);
    where = folder != nullptr ? *folder + "/" + place.substr(folderof(place).size()) : place;
    if (code == 0)
        code = makefile();
    if (code == 0 && (strictrename || mustcopy()) && old.found)
        code = maywrite(place);
    if (code != 0)
        drop();
    return {code, place};
}

int replacefile::makefile() {
    const uint32_t mode = old.found ? ownmode : newmode;
    held = createunnamed(where, mode, &opens);
    if (held >= 0)
        return claimfile(held, false);
    sweep();
    const int code = withname("", &beside, [this, mode](const std::string &name) {
        held = createfile(name, mode);
        const int made = held < 0 ? errno : claimfile(held, true);
        if (made != 0)
            (void)close();
        return made;
    });
    opens = beside;
    return code;
}

// What dead processes left beside the same path.
void replacefile::sweep() const {
    removedead(where + marked);
    removedead(folderof(where) + marked);
}

// A file of several names, or of an owner to whom the new one cannot be given, or in
// whose directory no other one can be made.
bool replacefile::mustcopy() const {
    return old.found && (elsewhere || old.links > 1 || giveowner(held, old) != 0);
}

// The target may have come or gone since create(), and once more meanwhile.
outcome replacefile::commit() {
    int code = held < 0 ? EBADF : EEXIST;
    for (int i = 0; i < attempts && code == EEXIST; ++i) {
        filestate now;
        code = lookat(place, &now);
        if (code == 0)
            code = notplain(now);
        if (code == 0)
            code = now.found ? over(now) : fresh();
    }
    drop();
    return {code, place};
}

// A new name is not synced: nobody else does it, and a copy would take twice the time.
int replacefile::fresh() {
    int code = flushfile(held);
    if (code == 0 && old.found) // it is gone since
        code = givemode(held, old.mode & takenbits);
    if (code == 0)
        code = moveto(place);
    if (code == 0)
        beside.clear();
    return code;
}

int replacefile::over(const filestate &now) {
    old = now;
    int code = reopen(beside);
    const bool copies = code == 0 && mustcopy();
    if (code == 0 && !copies)
        code = givemode(held, old.mode & takenbits);
    if (code == 0)
        code = syncfile(held);
    if (code != 0)
        return code;
    if (copies)
        return keepandcopy();
    if (beside.empty()) {
        sweep(); // one that was killed here leaves its name
        code = withname("", &beside, [this](const std::string &name) { return moveto(name); });
    }
    if (code == 0 && strictrename)
        code = close();
    if (code != 0)
        return code;
    if (replaceby(beside, place) != 0)
        return keepandcopy();
    beside.clear();
    return syncfolder(place);
}

int replacefile::moveto(const std::string &name) {
    if (beside.empty())
        return linkunnamed(opens, name);
    const int code = strictrename ? close() : 0;
    return code != 0 ? code : renamefile(beside, name);
}

// Memory is asked for while nothing is kept yet.
int replacefile::keepandcopy() {
    std::vector<char> buffer(copyroom);
    int code = withname("kept-", &saved, [this](const std::string &name) { return moveto(name); });
    if (code != 0)
        return code;
    beside.clear();
    code = syncfolder(where);
    if (code == 0)
        code = reopen(saved);
    if (code == 0)
        code = copyover(held, place, old, buffer);
    if (code == 0 && strictrename)
        code = close();
    if (code == 0 && (code = removefile(saved)) == 0)
        saved.clear();
    return code;
}

// Where it had to be closed.
int replacefile::reopen(const std::string &name) {
    if (held < 0)
        held = openagain(name);
    return held < 0 ? errno : 0;
}

int replacefile::close() {
    const int code = held >= 0 ? closefile(held) : 0;
    held = -1;
    return code;
}

// What a close would tell of a file in place, the sync or the flush before told.
void replacefile::drop() {
    (void)close();
    if (!beside.empty())
        (void)removefile(beside);
    beside.clear();
}

} // namespace shared
