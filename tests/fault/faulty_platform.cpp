// Stands in front of the real platform layer, which the build makes once more
// under the name platform_real.
#define platform platform_real
#include "platform/platform.h"
#undef platform
#undef KVERN_PLATFORM_H
#include "platform/platform.h"

#include "fault/faulty_platform.h"

namespace kvern {

namespace test {

namespace {
faultplan plan;
uint64_t counted;
int64_t taken;

constexpr platform::syserror deviceerror = 1117;
constexpr platform::errnumber descrerror = 5; // EIO
constexpr platform::errnumber descrfull = 28; // ENOSPC

// Counts an operation; true: this is one that fails.
bool struck(bool writes = false) {
    if (plan.kind != fault::error && !writes)
        return false;
    ++counted;
    const uint64_t last = plan.fail_to < plan.fail_at ? plan.fail_at : plan.fail_to;
    return plan.fail_at != 0 && counted >= plan.fail_at && counted <= last;
}
} // namespace

void arm(const faultplan &next) {
    plan = next;
    counted = 0;
}
uint64_t operations() {
    return counted;
}
int64_t held() {
    return taken;
}

} // namespace test

namespace platform {

using test::descrerror;
using test::descrfull;
using test::deviceerror;
using test::fault;
using test::plan;
using test::struck;
using test::taken;
namespace real = platform_real;

bool takememory(uint32_t bytes, memory *out) {
    real::memory got = {};
    if (struck() || !real::takememory(bytes, &got))
        return false;
    ++taken;
    *out = {got.handle, got.address};
    return true;
}
void freememory(const memory &given, uint32_t bytes) {
    --taken;
    real::freememory({given.handle, given.address}, bytes);
}
void wantmanyfiles() {
    real::wantmanyfiles();
}

syserror openfile(const char *path, openmode mode, filehandle *out) {
    if (struck())
        return deviceerror;
    const syserror code = real::openfile(path, static_cast<real::openmode>(mode), out);
    taken += code == 0 ? 1 : 0;
    return code;
}
syserror readfile(filehandle file, void *to, uint32_t length, uint32_t *count) {
    *count = 0;
    return struck() ? deviceerror : real::readfile(file, to, length, count);
}
syserror writefile(filehandle file, const void *from, uint32_t length, uint32_t *count) {
    *count = 0;
    if (!struck(true))
        return real::writefile(file, from, length, count);
    if (plan.kind == fault::torn)
        (void)real::writefile(file, from, length / 2, count);
    return plan.kind == fault::error ? deviceerror : err_diskfull;
}
blockmove readat(filehandle file, filepos place, void *to, uint32_t length) {
    if (struck())
        return {deviceerror, false, 0};
    if (struck())
        return {deviceerror, true, 0};
    const real::blockmove moved = real::readat(file, place, to, length);
    return {moved.error, moved.placed, moved.count};
}
blockmove writeat(filehandle file, filepos place, const void *from, uint32_t length) {
    if (struck())
        return {deviceerror, false, 0};
    const bool fails = struck(true);
    if (fails && plan.kind != fault::torn)
        return {plan.kind == fault::error ? deviceerror : err_diskfull, true, 0};
    const real::blockmove moved = real::writeat(file, place, from, fails ? length / 2 : length);
    return {fails ? err_diskfull : moved.error, moved.placed, moved.count};
}
filepos filelimit() {
    return real::filelimit();
}
// A close that fails has closed all the same, and a name that could not be
// deleted is gone: what stays behind here would be the test's own doing.
syserror closefile(filehandle file) {
    --taken;
    const bool fails = struck();
    const syserror code = real::closefile(file);
    return fails ? deviceerror : code;
}
syserror deletefile(const char *path) {
    const bool fails = struck();
    const syserror code = real::deletefile(path);
    return fails ? deviceerror : code;
}

errnumber opendescr(const char *path, bool for_write, int *out) {
    if (struck())
        return descrerror;
    const errnumber code = real::opendescr(path, for_write, out);
    taken += code == 0 ? 1 : 0;
    return code;
}
errnumber readdescr(int descr, void *to, uint32_t length, uint32_t *count) {
    *count = 0;
    return struck() ? descrerror : real::readdescr(descr, to, length, count);
}
errnumber writedescr(int descr, const void *from, uint32_t length, uint32_t *count) {
    *count = 0;
    if (!struck(true))
        return real::writedescr(descr, from, length, count);
    if (plan.kind == fault::torn)
        (void)real::writedescr(descr, from, length / 2, count);
    return plan.kind == fault::error ? descrerror : descrfull;
}
errnumber closedescr(int descr) {
    --taken;
    const bool fails = struck();
    const errnumber code = real::closedescr(descr);
    return fails ? descrerror : code;
}

bool isdirectory(const char *path) {
    return real::isdirectory(path);
}
bool samepath(const char *a, const char *b) {
    return real::samepath(a, b);
}
bool isopenas(filehandle file, const char *path) {
    return real::isopenas(file, path);
}
syserror tempname(const char *directory, char *out, uint32_t room) {
    return struck() ? deviceerror : real::tempname(directory, out, room);
}
bool tempdirectory(char *out, uint32_t room) {
    return !struck() && real::tempdirectory(out, room);
}
bool hidetemp(const char *path) {
    return !struck() && real::hidetemp(path);
}
uint32_t environment(const char *name, char *out, uint32_t room) {
    return real::environment(name, out, room);
}
uint32_t systemdirectory(char *out, uint32_t room) {
    return real::systemdirectory(out, room);
}
bool readsetting(setting, char (&)[settingroom]) {
    return false;
}
// The engine under test is the one in this program.
const char *defaultengine() {
    return nullptr;
}
library loadlibrary(const char *name) {
    return real::loadlibrary(name);
}
library loadproduct(const char *directory, const char *name) {
    return real::loadproduct(directory, name);
}
symbol findsymbol(library lib, const char *name) {
    return real::findsymbol(lib, name);
}
void freelibrary(library lib) {
    real::freelibrary(lib);
}
errnumber lasterror() {
    return real::lasterror();
}
void clearerror() {
    real::clearerror();
}
bool messageround() {
    return real::messageround();
}
void *threadword(unsigned which) {
    return real::threadword(which);
}
void setthreadword(unsigned which, void *value) {
    real::setthreadword(which, value);
}
syserror currenttime(int64_t *seconds) {
    return struck() ? deviceerror : real::currenttime(seconds);
}
bool leadbyte(uint8_t byte) {
    return real::leadbyte(byte);
}
void print(stream to, const char *text, uint32_t length) {
    real::print(static_cast<real::stream>(to), text, length);
}

} // namespace platform
} // namespace kvern
