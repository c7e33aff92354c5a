#include "kvern/system/workfile.h"

#include "kvern/system/failure.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <system_error>

namespace command {

namespace {

namespace fs = std::filesystem;

constexpr size_t sinkbytes = size_t{256} << 10; // pass in one call
constexpr int attempts = 100;                   // names that may be taken by others
constexpr uint32_t ownmode = 0600;

constexpr const char *mark = "kvern"; // in names
constexpr const char *otherplace = "name another output with -o";

std::string scratchplace(const std::vector<std::string> &dirs) {
    if (!dirs.empty())
        return dirs.front();
    std::error_code error;
    const fs::path found = fs::temp_directory_path(error);
    return error ? std::string(".") : found.string();
}

bool isamong(const fileidentity &one, const std::vector<fileidentity> &inputs) {
    return std::any_of(inputs.begin(), inputs.end(),
                       [&](const fileidentity &input) { return input.same(one); });
}

// The standard stream that `path` is another name of; -1: none.
int standardof(const std::string &path) {
    const fileidentity its = identify(path);
    for (const int descriptor : {standardoutput, standarderror})
        if (its.same(identify(descriptor)) && iswritable(descriptor))
            return descriptor;
    return -1;
}

} // namespace

// ---- scratch files --------------------------------------------------------------

scratchfile::scratchfile(const std::vector<std::string> &dirs) {
    const std::string place = scratchplace(dirs);
    const std::string base = (fs::path(place) / "scratch").string();
    shown = "a temporary file in " + place;
    descriptor = shared::createunnamed(base, ownmode, &way);
    const int code = descriptor >= 0 ? 0 : makenamed(base + "." + mark + "-");
    if (code != 0)
        throw failure{ending::file,
                      place + ": no temporary file can be made (" + std::strerror(code) + ")",
                      "look at -T"};
    finish();
}

// It has its name no longer than it is needed.
int scratchfile::makenamed(const std::string &prefix) {
    static unsigned number = 0;
    shared::removedead(prefix);
    int code = EEXIST;
    for (int i = 0; i < attempts && code == EEXIST; ++i) {
        name = prefix + std::to_string(shared::processnumber()) + "-" + std::to_string(number++);
        descriptor = shared::createfile(name, ownmode);
        code = descriptor < 0 ? errno : 0;
    }
    way = name;
    const bool hidden =
        code == 0 && shared::reachable(descriptor, &way) && shared::removefile(name) == 0;
    if (code == 0 && !hidden) {
        way = name;
        static_cast<void>(shared::claimfile(descriptor, true));
    } else {
        name.clear();
    }
    return code;
}

scratchfile::~scratchfile() {
    remove(this);
}

void scratchfile::remove(void *self) {
    auto *one = static_cast<scratchfile *>(self);
    if (one->descriptor >= 0)
        closeinput(one->descriptor);
    one->descriptor = -1;
    if (!one->name.empty())
        static_cast<void>(shared::removefile(one->name));
}

void scratchfile::clear() {
    if (descriptor < 0)
        descriptor = shared::openagain(name);
    int code = descriptor < 0 ? errno : shared::seekto(descriptor, 0);
    if (code == 0)
        code = shared::cutto(descriptor, 0);
    if (code != 0)
        failsystem(code, shown, "look at -T");
}

void scratchfile::append(const void *data, size_t length) {
    writefile(descriptor, shown, data, length);
}

// One without a name lives as long as it is open.
void scratchfile::finish() {
    int code = 0;
    if (shared::strictrename) {
        code = shared::closefile(descriptor);
        descriptor = -1;
    } else {
        code = shared::flushfile(descriptor);
    }
    if (code != 0)
        failsystem(code, shown, "look at -T");
}

// ---- the output -----------------------------------------------------------------

bool isreplaced(const std::string &path) {
    shared::filestate its;
    const int code = shared::lookat(path, &its);
    if (code != 0)
        failsystem(code, path, otherplace);
    return (its.plain || !its.found) && standardof(path) < 0;
}

outputsink::outputsink(const std::string &path, const std::vector<std::string> &tempdirs,
                       const std::vector<fileidentity> &inputs)
    : name(path.empty() ? "standard output" : path) {
    if (path.empty() || !isreplaced(path))
        findstream(path, inputs);
    else
        makefile(path, tempdirs, inputs);
}

void outputsink::findstream(const std::string &path, const std::vector<fileidentity> &inputs) {
    descriptor = path.empty() ? standardoutput : standardof(path);
    const fileidentity its = descriptor < 0 ? identify(path) : identify(descriptor);
    if (its.keeps && isamong(its, inputs))
        throw failure{ending::file, name + " is an input too, and would change while it is read",
                      otherplace};
    if (descriptor >= 0)
        return;
    descriptor = openstream(path);
    if (descriptor < 0)
        failsystem(errno, path);
    opened = true;
}

void outputsink::makefile(const std::string &path, const std::vector<std::string> &tempdirs,
                          const std::vector<fileidentity> &inputs) {
    const int beside = file.create(path, mark).code;
    if (beside != 0) {
        if (inspect(path).sort != filesort::regular)
            failsystem(beside, path, otherplace);
        if (isamong(identify(path), inputs))
            failsystem(beside, path + " is an input too, and no file can be made beside it",
                       otherplace);
        const int elsewhere = file.createin(scratchplace(tempdirs), path, mark).code;
        if (elsewhere != 0)
            failsystem(elsewhere, path, otherplace);
    }
    descriptor = file.descriptor();
}

outputsink::~outputsink() {
    if (opened)
        closeinput(descriptor);
}

void outputsink::remove(void *self) {
    static_cast<outputsink *>(self)->file.drop();
}

void outputsink::write(const void *data, size_t length) {
    total += length;
    if (buffer.size() + length < sinkbytes) {
        buffer.append(static_cast<const char *>(data), length);
        return;
    }
    flush();
    writefile(descriptor, name, data, length);
}

void outputsink::flush() {
    writefile(descriptor, name, buffer.data(), buffer.size());
    buffer.clear();
}

void outputsink::finish() {
    flush();
    const bool own = opened;
    opened = false;
    const int code = own ? shared::closefile(descriptor) : shared::flushfile(descriptor);
    if (code != 0)
        failsystem(code, name);
}

void outputsink::commit() {
    if (file.descriptor() < 0)
        return;
    const shared::outcome done = file.commit();
    if (!done.done())
        failsystem(done.code, name,
                   file.kept().empty() ? "" : "the whole output stays in " + file.kept());
}

} // namespace command
