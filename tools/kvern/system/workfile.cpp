#include "kvern/system/workfile.h"

#include "kvern/system/failure.h"

#include <algorithm>
#include <cerrno>
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
    static std::atomic<unsigned> number{0};
    const std::string place = scratchplace(dirs);
    const std::string base = (fs::path(place) / "scratch").string();
    const std::string prefix = base + "." + mark + "-";
    const std::string own = prefix + std::to_string(shared::processnumber()) + "-";
    shown = "a temporary file in " + place;
    std::string way;
    descriptor = shared::createunnamed(base, ownmode, &way);
    if (descriptor < 0)
        shared::removedead(prefix);
    for (int i = 0; i < attempts && descriptor < 0 && (i == 0 || errno == EEXIST); ++i)
        descriptor = shared::createpassing(own + std::to_string(number++), ownmode);
    if (descriptor < 0)
        throw failure{ending::file,
                      place + ": no temporary file can be made (" + systemerror() + ")",
                      "look at -T"};
}

scratchfile::~scratchfile() {
    closeinput(descriptor);
}

void scratchfile::append(const void *data, size_t length) {
    writefile(descriptor, shown, data, length);
}

size_t scratchfile::readat(uint64_t place, void *to, size_t room) const {
    const int64_t count = readplace(descriptor, place, to, room);
    if (count < 0)
        failsystem(errno, shown);
    return static_cast<size_t>(count);
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
    if (descriptor >= 0) {
        // Where notes go to the same file they would lie upon what is placed there.
        byplace = isplaceable(descriptor) && !its.same(identify(standarderror));
        start = byplace ? static_cast<uint64_t>(position(descriptor)) : 0;
        return;
    }
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
    byplace = true;
}

outputsink::~outputsink() {
    if (opened)
        closeinput(descriptor);
}

void outputsink::remove(void *self) {
    static_cast<outputsink *>(self)->file.drop();
}

void outputsink::write(const void *data, size_t length) {
    if (behind + buffer.size() != total) { // others wrote meanwhile
        flush();
        behind = total;
    }
    if (buffer.size() + length < sinkbytes) {
        buffer.append(static_cast<const char *>(data), length);
    } else {
        flush();
        pass(data, length);
    }
    reach(behind + buffer.size());
}

void outputsink::flush() {
    pass(buffer.data(), buffer.size());
    buffer.clear();
}

void outputsink::pass(const void *data, size_t length) {
    if (byplace)
        writeplace(descriptor, name, start + behind, data, length);
    else
        writefile(descriptor, name, data, length);
    behind += length;
}

void outputsink::writeat(uint64_t offset, const void *data, size_t length) {
    writeplace(descriptor, name, start + offset, data, length);
    reach(offset + length);
}

void outputsink::append(const void *data, size_t length) {
    flush();
    if (byplace) {
        writeat(total, data, length);
        return;
    }
    pass(data, length);
    reach(behind);
}

void outputsink::reach(uint64_t end) {
    uint64_t before = total;
    while (before < end && !total.compare_exchange_weak(before, end)) {
    }
}

void outputsink::finish() {
    flush();
    if (byplace && !goback(descriptor, static_cast<int64_t>(start + total)))
        failsystem(errno, name);
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
