#include "fuzz/memory_platform.h"

#include "kvern.h"
#include "model/model.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#if defined(__SANITIZE_ADDRESS__)
#define KVERN_POISON 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
#define KVERN_POISON 1
#endif
#endif
#ifdef KVERN_POISON
#include <sanitizer/asan_interface.h>
#else
#define ASAN_POISON_MEMORY_REGION(from, bytes) ((void)(from), (void)(bytes))
#define ASAN_UNPOISON_MEMORY_REGION(from, bytes) ((void)(from), (void)(bytes))
#endif

namespace kvern {

namespace test {

namespace {

constexpr const char *directories[] = {"da", "db", "dc"};
constexpr size_t maxopen = 200;

struct memfile {
    std::string name;     // empty: taken off the disk
    size_t directory = 0; // whose room it takes
    std::vector<uint8_t> data;
    uint32_t opens = 0;
};

struct openedfile {
    intptr_t handle;
    memfile *file;
    size_t at;
    bool writes;
};

memoryplan plan;
std::array<memfile, 48> slots;
std::vector<openedfile> opened;
memfile standardinput;
size_t standardat; // read so far
intptr_t lasthandle;
uint32_t operations, names, pieces;
bool lostblock;
void *words[2];

// The work area, taken again by each session: no other piece of memory is as big.
alignas(64) uint8_t area[maxgrant];
constexpr uint32_t areaatleast = KVRN_MEM_MIN;
bool areataken;

enum operation : unsigned {
    op_other = 1,
    op_open = 2,
    op_read = 4,
    op_write = 8,
    op_readat = 16,
    op_writeat = 32
};
constexpr unsigned op_writes = op_write | op_writeat;
constexpr unsigned op_moves = op_writes | op_read | op_readat;
// By fault.
constexpr unsigned counted[faultkinds] = {
    ~0U, op_writes, op_moves, op_writes, op_moves & ~op_write, op_open | op_read | op_write};

bool struck(operation what = op_other) {
    if ((counted[static_cast<size_t>(plan.how)] & what) == 0)
        return false;
    ++operations;
    return plan.failat != 0 && operations >= plan.failat &&
           operations <= std::max(plan.failat, plan.failto);
}

size_t directoryof(const char *path) {
    for (size_t i = 0; i < std::size(directories); ++i)
        if (strncmp(path, directories[i], 2) == 0 && (path[2] == '/' || path[2] == 0))
            return i;
    return std::size(directories);
}

// Nothing but slashes behind the directory's name.
bool namesdirectory(const char *path) {
    return path[2 + strspn(path + 2, "/")] == 0;
}

memfile *find(const char *path) {
    for (memfile &file : slots)
        if (!file.name.empty() && file.name == path)
            return &file;
    return nullptr;
}

memfile *newfile(const char *path) {
    for (memfile &file : slots) {
        if (!file.name.empty() || file.opens != 0)
            continue;
        file.name = path;
        file.directory = directoryof(path);
        file.data.clear();
        return &file;
    }
    return nullptr;
}

intptr_t opennew(memfile *file, bool writes) {
    ++file->opens;
    opened.push_back({++lasthandle, file, 0, writes});
    return lasthandle;
}

openedfile &of(intptr_t handle) {
    for (openedfile &file : opened)
        if (file.handle == handle)
            return file;
    finding("a handle that is not open");
}

void close(intptr_t handle) {
    openedfile &file = of(handle);
    --file.file->opens;
    file = opened.back();
    opened.pop_back();
}

uint32_t roomon(size_t directory) {
    size_t used = 0;
    for (const memfile &file : slots)
        if ((!file.name.empty() || file.opens != 0) && file.directory == directory)
            used += file.data.size();
    const size_t most = directory < plan.capacity.size() ? plan.capacity[directory] : 0;
    return used < most ? static_cast<uint32_t>(most - used) : 0;
}

uint32_t transferin(openedfile &file, void *to, uint32_t length) {
    const std::vector<uint8_t> &data = file.file->data;
    const size_t there = file.at < data.size() ? data.size() - file.at : 0;
    const auto count = static_cast<uint32_t>(std::min<size_t>(there, length));
    if (count != 0)
        memcpy(to, data.data() + file.at, count);
    file.at += count;
    return count;
}

uint32_t transferout(openedfile &file, const void *from, uint32_t length) {
    std::vector<uint8_t> &data = file.file->data;
    const uint64_t end = uint64_t{file.at} + length;
    const uint64_t grown = end > data.size() ? end - data.size() : 0;
    const uint32_t room = roomon(file.file->directory);
    const auto lacks =
        static_cast<uint32_t>(std::min<uint64_t>(grown > room ? grown - room : 0, length));
    const uint32_t count = length - lacks;
    if (count != 0) {
        data.resize(std::max(data.size(), file.at + count));
        memcpy(data.data() + file.at, from, count);
    }
    file.at += count;
    return count;
}

// The codes of a failure in both of the platform's code spaces.
enum class refusal : uint8_t {
    none,
    nofile,
    nodirectory,
    isdirectory,
    toomany,
    exists,
    device,
    full,
    interrupted
};

// What a struck operation tells, and how much of `length` it moves.
struct movement {
    uint32_t length;
    refusal failure;
};
movement planned(operation what, uint32_t length) {
    if (!struck(what))
        return {length, refusal::none};
    constexpr movement struckones[faultkinds] = {{0, refusal::device}, {0, refusal::full},
                                                 {1, refusal::device}, {1, refusal::full},
                                                 {1, refusal::none},   {1, refusal::interrupted}};
    const movement &row = struckones[static_cast<size_t>(plan.how)];
    return {row.length * ((length + (row.failure == refusal::none ? 1 : 0)) / 2), row.failure};
}

refusal movein(operation what, openedfile &from, void *to, uint32_t length, uint32_t *count) {
    const movement done = planned(what, length);
    *count = transferin(from, to, done.length);
    return done.failure;
}

refusal moveout(operation what, openedfile &to, const void *from, uint32_t length,
                uint32_t *count) {
    if (!to.writes)
        finding("a write to a file that was opened for reading");
    const movement done = planned(what, length);
    *count = transferout(to, from, done.length);
    return done.failure == refusal::none && *count != done.length ? refusal::full : done.failure;
}

refusal openpath(const char *path, bool writes, platform::openmode mode, intptr_t *out) {
    using platform::openmode;
    const bool temporary = mode == openmode::tempcreate || mode == openmode::tempreplace;
    if (const movement start = planned(temporary ? op_other : op_open, 0);
        start.failure != refusal::none)
        return start.failure;
    if (path == nullptr || directoryof(path) == std::size(directories))
        return refusal::nodirectory;
    if (namesdirectory(path))
        return refusal::isdirectory;
    if (opened.size() >= maxopen)
        return refusal::toomany;
    memfile *file = find(path);
    if (file != nullptr && mode == openmode::tempcreate && !plan.deletesbyname)
        return refusal::exists;
    const bool makes =
        mode == openmode::create || mode == openmode::tempcreate || mode == openmode::tempreplace;
    if (file == nullptr && !makes)
        return refusal::nofile;
    if (file == nullptr && (file = newfile(path)) == nullptr)
        return refusal::toomany;
    if (mode != openmode::input)
        file->data.clear();
    *out = opennew(file, writes);
    return refusal::none;
}

} // namespace

void startplatform(const memoryplan &next) {
    plan = next;
    for (memfile &file : slots) {
        file.name.clear();
        file.opens = 0;
    }
    opened.clear();
    standardinput.data.clear();
    standardat = 0;
    lasthandle = 100;
    operations = names = pieces = 0;
    lostblock = false;
    areataken = false;
    words[0] = words[1] = nullptr;
    static const bool poisoned = (ASAN_POISON_MEMORY_REGION(area, sizeof area), true);
    (void)poisoned;
}

std::vector<uint8_t> &makefile(const char *name) {
    if (strcmp(name, "stdin") == 0)
        return standardinput.data;
    memfile *file = find(name);
    if (file == nullptr)
        file = newfile(name);
    if (file == nullptr)
        finding("no room for the harness's own files");
    return file->data;
}

const std::vector<uint8_t> *filenamed(const char *name) {
    const memfile *file = find(name);
    return file != nullptr ? &file->data : nullptr;
}

platformstate held() {
    uint32_t files = 0;
    for (const memfile &file : slots)
        files += file.name.empty() ? 0U : 1U;
    return {pieces, static_cast<uint32_t>(opened.size()), files, operations, lostblock};
}

void finding(const char *what) {
    fprintf(stderr, "finding: %s\n", what);
    abort();
}

} // namespace test

namespace platform {

using namespace test;

namespace {

constexpr syserror err_device = 1117;
constexpr syserror systemcodes[] = {
    0, 2, 3, err_isdirectory, 4, 80, err_device, err_diskfull, err_interrupted};
constexpr errnumber errnumbers[] = {0, 2, 2, 21, 24, 17, 5, 28, errno_interrupted};

syserror systemcode(refusal why) {
    return systemcodes[static_cast<size_t>(why)];
}
errnumber errnumberof(refusal why) {
    return errnumbers[static_cast<size_t>(why)];
}

} // namespace

bool takememory(uint32_t bytes, memory *out) {
    if (bytes > plan.grant || struck())
        return false;
    if (bytes >= areaatleast && !areataken) {
        areataken = true;
        ASAN_UNPOISON_MEMORY_REGION(area, bytes);
        memset(area, 0, bytes);
        out->address = area;
    } else {
        out->address = calloc(1, bytes);
    }
    out->handle = out->address;
    ++pieces;
    return true;
}
void freememory(const memory &taken, uint32_t bytes) {
    if (pieces == 0)
        finding("memory given back twice");
    --pieces;
    if (taken.address != area)
        return free(taken.address);
    areataken = false;
    ASAN_POISON_MEMORY_REGION(area, bytes);
}
void wantmanyfiles() {}

syserror openfile(const char *path, openmode mode, filehandle *out) {
    *out = nofile;
    return systemcode(openpath(path, mode != openmode::input, mode, out));
}
syserror readfile(filehandle file, void *to, uint32_t length, uint32_t *count) {
    return systemcode(movein(op_read, of(file), to, length, count));
}
syserror writefile(filehandle file, const void *from, uint32_t length, uint32_t *count) {
    return systemcode(moveout(op_write, of(file), from, length, count));
}
static blockmove placed(filehandle file, filepos place) {
    of(file).at = static_cast<size_t>(place);
    const syserror error = struck() ? err_device : 0;
    return {error, error == 0, 0};
}
blockmove readat(filehandle file, filepos place, void *to, uint32_t length) {
    blockmove result = placed(file, place);
    if (result.placed)
        result.error = systemcode(movein(op_readat, of(file), to, length, &result.count));
    return result;
}
blockmove writeat(filehandle file, filepos place, const void *from, uint32_t length) {
    blockmove result = placed(file, place);
    if (result.placed)
        result.error = systemcode(moveout(op_writeat, of(file), from, length, &result.count));
    lostblock = lostblock || result.error == err_device;
    return result;
}
filepos filelimit() {
    return ~filepos{0};
}
// A close that fails has closed all the same.
syserror closefile(filehandle file) {
    test::close(file);
    return struck() ? err_device : 0;
}
syserror deletefile(const char *path) {
    memfile *file = path != nullptr ? find(path) : nullptr;
    if (file == nullptr)
        return 2;
    file->name.clear();
    return struck() ? err_device : 0;
}

errnumber opendescr(const char *path, bool for_write, int *out) {
    intptr_t handle = -1;
    const refusal code =
        openpath(path, for_write, for_write ? openmode::create : openmode::input, &handle);
    *out = static_cast<int>(handle);
    return errnumberof(code);
}
errnumber readdescr(int descr, void *to, uint32_t length, uint32_t *count) {
    openedfile input = {stdinput, &standardinput, standardat, false};
    openedfile &from = descr != stdinput ? of(descr) : input;
    const refusal failure = movein(op_read, from, to, length, count);
    standardat = input.at;
    return errnumberof(failure);
}
errnumber writedescr(int descr, const void *from, uint32_t length, uint32_t *count) {
    if (descr != stdinput)
        return errnumberof(moveout(op_write, of(descr), from, length, count));
    const movement done = planned(op_write, length); // standard output goes through it too
    *count = done.length;
    return errnumberof(done.failure);
}
errnumber closedescr(int descr) {
    test::close(descr);
    return struck() ? errnumberof(refusal::device) : 0;
}

bool isdirectory(const char *path) {
    const size_t directory = path != nullptr ? directoryof(path) : std::size(directories);
    return directory != std::size(directories) && namesdirectory(path);
}
bool samepath(const char *a, const char *b) {
    return a != nullptr && b != nullptr && strcmp(a, b) == 0;
}
bool isopenas(filehandle file, const char *path) {
    return path != nullptr && of(file).file->name == path;
}
syserror tempname(const char *directory, char *out, uint32_t room) {
    if (struck())
        return err_device;
    if (!isdirectory(directory))
        return 3;
    char name[16];
    const int length = snprintf(name, sizeof name, "%.2s/QZ%u", directory, ++names);
    if (static_cast<uint32_t>(length) >= room)
        return 206;
    memcpy(out, name, static_cast<size_t>(length) + 1);
    return plan.deletesbyname && newfile(name) == nullptr ? syserror{4} : syserror{0};
}
bool tempdirectory(char *out, uint32_t room) {
    if (struck() || room < 3)
        return false;
    memcpy(out, directories[2], 3);
    return true;
}
bool hidetemp(const char *path) {
    if (plan.deletesbyname || struck())
        return false;
    memfile *file = find(path);
    if (file == nullptr)
        return false;
    file->name.clear();
    return true;
}

uint32_t environment(const char *, char *out, uint32_t room) {
    const size_t length = plan.variable != nullptr ? strlen(plan.variable) : 0;
    if (length != 0 && length < room)
        memcpy(out, plan.variable, length + 1);
    return static_cast<uint32_t>(length);
}
uint32_t systemdirectory(char *out, uint32_t room) {
    if (!plan.deletesbyname)
        return 0;
    if (room > 2)
        memcpy(out, directories[1], 3);
    return 2;
}
bool readsetting(setting, char (&)[settingroom]) {
    return false;
}
// The engine under test is the one in this program.
const char *defaultengine() {
    return nullptr;
}
library loadlibrary(const char *) {
    return nullptr;
}
library loadproduct(const char *, const char *) {
    return nullptr;
}
symbol findsymbol(library, const char *) {
    return nullptr;
}
void freelibrary(library) {}
errnumber lasterror() {
    return 0;
}
void clearerror() {}

bool messageround() {
    return false;
}
void *threadword(unsigned which) {
    return words[which];
}
void setthreadword(unsigned which, void *value) {
    words[which] = value;
}
syserror currenttime(int64_t *seconds) {
    *seconds = 1000000;
    return struck() ? err_device : 0;
}
bool leadbyte(uint8_t byte) {
    return test::leadbyte(static_cast<char>(byte)); // as the model has it
}
// Every byte is looked at, nothing is shown.
void print(stream, const char *text, uint32_t length) {
    if (memchr(text, 0, length) != nullptr)
        finding("a zero byte in a message");
}

} // namespace platform

} // namespace kvern
