#include "fuzz/memory_platform.h"

#include "model/model.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <map>
#include <memory>
#include <string>

namespace kvern {

namespace test {

namespace {

using namespace platform;

constexpr const char *directories[] = {"da", "db", "dc"};
constexpr size_t nowhere = std::size(directories);
constexpr syserror err_device = 1117;

struct memfile {
    size_t directory; // whose room it takes
    std::vector<uint8_t> data{};
};

struct openedfile {
    std::shared_ptr<memfile> file;
    bool writes;
    size_t at = 0;
};

memoryplan plan;
std::map<std::string, std::shared_ptr<memfile>> disk;
std::vector<std::weak_ptr<memfile>> made; // with a name, opened, or gone
std::map<intptr_t, openedfile> opened;    // standard input among them
intptr_t lasthandle;
uint32_t operations, names, pieces;
bool lostblock;
void *words[2];

enum : unsigned { op_other = 1, op_open = 2, op_read = 4, op_write = 8, op_get = 16, op_put = 32 };
constexpr unsigned op_writes = op_write | op_put;
constexpr unsigned op_moves = op_writes | op_read | op_get;

// By fault: operations that are counted, whether half is moved, and what is told.
constexpr struct {
    unsigned counted;
    bool half;
    syserror code;
} ways[faultkinds] = {
    {~0U, false, err_device},        {op_writes, false, err_diskfull},
    {op_moves, true, err_device},    {op_writes, true, err_diskfull},
    {op_moves & ~op_write, true, 0}, {op_open | op_read | op_write, true, err_interrupted}};

bool struck(unsigned what = op_other) {
    if ((ways[static_cast<size_t>(plan.how)].counted & what) == 0)
        return false;
    ++operations;
    return plan.failat != 0 && operations >= plan.failat &&
           operations <= std::max(plan.failat, plan.failto);
}

// What an operation tells by the plan; *length becomes what it moves then.
syserror planned(unsigned what, uint32_t *length) {
    if (!struck(what))
        return 0;
    const auto &way = ways[static_cast<size_t>(plan.how)];
    *length = way.half ? (*length + (way.code == 0 ? 1 : 0)) / 2 : 0;
    return way.code;
}

errnumber errnumberof(syserror code) {
    constexpr syserror codes[] = {
        0, 2, 3, 80, err_isdirectory, err_device, err_diskfull, err_interrupted};
    constexpr errnumber numbers[] = {0, 2, 2, 17, 21, 5, 28, errno_interrupted};
    return numbers[std::find(std::begin(codes), std::end(codes), code) - std::begin(codes)];
}

size_t directoryof(const char *path) {
    for (size_t i = 0; path != nullptr && i < nowhere; ++i)
        if (strncmp(path, directories[i], 2) == 0 && (path[2] == '/' || path[2] == 0))
            return i;
    return nowhere;
}

std::shared_ptr<memfile> find(const char *path) {
    const auto found = disk.find(path != nullptr ? path : "");
    return found != disk.end() ? found->second : nullptr;
}

std::shared_ptr<memfile> findormake(const char *path) {
    auto &file = disk[path];
    if (file == nullptr)
        made.push_back(file = std::make_shared<memfile>(memfile{directoryof(path)}));
    return file;
}

openedfile &of(intptr_t handle) {
    const auto found = opened.find(handle);
    if (found == opened.end())
        finding("a handle that is not open");
    return found->second;
}

// One that fails has closed all the same.
syserror close(intptr_t handle) {
    (void)of(handle);
    opened.erase(handle);
    return struck() ? err_device : 0;
}

syserror movein(unsigned what, openedfile &from, void *to, uint32_t length, uint32_t *count) {
    const syserror code = planned(what, &length);
    const std::vector<uint8_t> &data = from.file->data;
    const size_t there = from.at < data.size() ? data.size() - from.at : 0;
    *count = static_cast<uint32_t>(std::min<size_t>(there, length));
    if (*count != 0)
        memcpy(to, data.data() + from.at, *count);
    from.at += *count;
    return code;
}

size_t roomon(size_t directory) {
    size_t used = 0;
    for (const std::weak_ptr<memfile> &one : made)
        if (const auto file = one.lock(); file != nullptr && file->directory == directory)
            used += file->data.size();
    return plan.capacity[directory] - std::min<size_t>(plan.capacity[directory], used);
}

syserror moveout(unsigned what, openedfile &to, const void *from, uint32_t length,
                 uint32_t *count) {
    if (!to.writes)
        finding("a write to a file that was opened for reading");
    const syserror code = planned(what, &length);
    std::vector<uint8_t> &data = to.file->data;
    const size_t most = data.size() + roomon(to.file->directory), end = to.at + length;
    *count = length - static_cast<uint32_t>(std::min<size_t>(end - std::min(end, most), length));
    if (*count != 0) {
        data.resize(std::max(data.size(), to.at + *count));
        memcpy(data.data() + to.at, from, *count);
    }
    to.at += *count;
    return code == 0 && *count != length ? err_diskfull : code;
}

syserror openpath(const char *path, openmode mode, intptr_t *out) {
    const bool temporary = mode >= openmode::tempcreate;
    uint32_t nothing = 0;
    if (const syserror code = planned(temporary ? op_other : op_open, &nothing); code != 0)
        return code;
    if (directoryof(path) == nowhere)
        return 3;
    if (isdirectory(path))
        return err_isdirectory;
    std::shared_ptr<memfile> file = find(path);
    if (file != nullptr && temporary && mode != openmode::tempreplace && !plan.deletesbyname)
        return 80;
    if (file == nullptr && (mode == openmode::input || mode == openmode::truncate))
        return 2;
    if (file == nullptr)
        file = findormake(path);
    if (mode != openmode::input)
        file->data.clear();
    *out = ++lasthandle;
    opened[lasthandle] = {file, mode != openmode::input};
    return 0;
}

} // namespace

void startplatform(const memoryplan &next) {
    plan = next;
    disk.clear();
    made.clear();
    opened = {{stdinput, {std::make_shared<memfile>(memfile{nowhere}), false}}};
    lasthandle = 100;
    operations = names = pieces = 0;
    lostblock = false;
    words[0] = words[1] = nullptr;
}

std::vector<uint8_t> &makefile(const char *name) {
    return (strcmp(name, "stdin") == 0 ? opened[stdinput].file : findormake(name))->data;
}

const std::vector<uint8_t> *filenamed(const char *name) {
    const std::shared_ptr<memfile> file = find(name);
    return file != nullptr ? &file->data : nullptr;
}

platformstate held() {
    return {pieces, static_cast<uint32_t>(opened.size() - 1), static_cast<uint32_t>(disk.size()),
            operations, lostblock};
}

void finding(const char *what) {
    fprintf(stderr, "finding: %s\n", what);
    abort();
}

} // namespace test

namespace platform {

using namespace test;

bool takememory(uint32_t bytes, memory *out) {
    if (bytes > plan.grant || struck())
        return false;
    out->handle = out->address = calloc(1, bytes);
    ++pieces;
    return true;
}
void freememory(const memory &taken, uint32_t) {
    if (pieces-- == 0)
        finding("memory given back twice");
    free(taken.address);
}
void wantmanyfiles() {}

syserror openfile(const char *path, openmode mode, filehandle *out) {
    *out = nofile;
    return openpath(path, mode, out);
}
syserror readfile(filehandle file, void *to, uint32_t length, uint32_t *count) {
    return movein(op_read, of(file), to, length, count);
}
syserror writefile(filehandle file, const void *from, uint32_t length, uint32_t *count) {
    return moveout(op_write, of(file), from, length, count);
}
blockmove readat(filehandle file, filepos place, void *to, uint32_t length) {
    of(file).at = static_cast<size_t>(place);
    blockmove result = {err_device, !struck(), 0};
    if (result.placed)
        result.error = movein(op_get, of(file), to, length, &result.count);
    return result;
}
blockmove writeat(filehandle file, filepos place, const void *from, uint32_t length) {
    of(file).at = static_cast<size_t>(place);
    blockmove result = {err_device, !struck(), 0};
    if (result.placed)
        result.error = moveout(op_put, of(file), from, length, &result.count);
    lostblock = lostblock || result.error == err_device;
    return result;
}
filepos filelimit() {
    return ~filepos{0};
}
syserror closefile(filehandle file) {
    return close(file);
}
syserror deletefile(const char *path) {
    if (find(path) == nullptr)
        return 2;
    disk.erase(path);
    return struck() ? err_device : 0;
}

errnumber opendescr(const char *path, bool for_write, int *out) {
    intptr_t handle = -1;
    const syserror code = openpath(path, for_write ? openmode::create : openmode::input, &handle);
    *out = static_cast<int>(handle);
    return errnumberof(code);
}
errnumber readdescr(int descr, void *to, uint32_t length, uint32_t *count) {
    return errnumberof(movein(op_read, of(descr), to, length, count));
}
errnumber writedescr(int descr, const void *from, uint32_t length, uint32_t *count) {
    if (descr != stdinput)
        return errnumberof(moveout(op_write, of(descr), from, length, count));
    *count = length; // standard output goes through it too
    return errnumberof(planned(op_write, count));
}
errnumber closedescr(int descr) {
    return errnumberof(close(descr));
}

// Nothing but slashes behind the directory's name.
bool isdirectory(const char *path) {
    return directoryof(path) != nowhere && path[2 + strspn(path + 2, "/")] == 0;
}
bool samepath(const char *a, const char *b) {
    return a != nullptr && b != nullptr && strcmp(a, b) == 0;
}
bool isopenas(filehandle file, const char *path) {
    return of(file).file == find(path);
}
syserror tempname(const char *directory, char *out, uint32_t room) {
    if (struck())
        return err_device;
    if (!isdirectory(directory))
        return 3;
    const std::string name = std::string(directory, 2) + "/QZ" + std::to_string(++names);
    if (name.size() >= room)
        return 206;
    memcpy(out, name.c_str(), name.size() + 1);
    if (plan.deletesbyname)
        (void)findormake(out);
    return 0;
}
bool tempdirectory(char *out, uint32_t room) {
    if (struck() || room < 3)
        return false;
    memcpy(out, directories[2], 3);
    return true;
}
bool hidetemp(filehandle, const char *path) {
    return !plan.deletesbyname && !struck() && disk.erase(path) != 0;
}

uint32_t environment(const char *, char *, uint32_t) {
    return 0;
}
uint32_t systemdirectory(char *out, uint32_t room) {
    if (plan.deletesbyname && room > 2)
        memcpy(out, directories[1], 3);
    return plan.deletesbyname ? 2 : 0;
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
    return plan.manager != nullptr ? &plan : nullptr;
}
symbol findsymbol(library, const char *name) {
    return plan.manager != nullptr ? plan.manager(name) : nullptr;
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
