#include "workfile.h"

#include "report.h"
#include "streams.h"

#include <cstdlib>
#include <filesystem>
#include <system_error>

namespace command {

namespace {

namespace fs = std::filesystem;

constexpr size_t sinkbytes = size_t{256} << 10; // pass in one call

constexpr int attempts = 100; // names that may be taken by others

// A new, empty file whose name begins so; empty: it cannot be made.
std::string makenew(const std::string &beginning) {
    static unsigned number = 0;
    for (int i = 0; i < attempts; ++i) {
        std::string name = beginning + ".kvern-" + std::to_string(processnumber()) + "-" +
                           std::to_string(number++);
        const int file = createfile(name);
        if (file >= 0) {
            closeinput(file);
            return name;
        }
    }
    return "";
}

// Where no name beside it is free the file itself may be: its own may be shorter.
bool canmake(const std::string &path) {
    const int file = createfile(path);
    if (file < 0)
        return false;
    closeinput(file);
    std::error_code ignored;
    return fs::remove(path, ignored);
}

std::string scratchplace(const std::vector<std::string> &dirs) {
    if (!dirs.empty())
        return dirs.front();
    std::error_code error;
    const fs::path found = fs::temp_directory_path(error);
    return error ? std::string(".") : found.string();
}

void removefile(const std::string &path) {
    std::error_code ignored;
    fs::remove(path, ignored);
}

} // namespace

scratchfile::scratchfile(const std::vector<std::string> &dirs) {
    const std::string place = scratchplace(dirs);
    name = makenew((fs::path(place) / "scratch").string());
    if (name.empty())
        throw failure{ending::file, place + ": no temporary file can be made", "look at -T"};
}

scratchfile::~scratchfile() {
    finish();
    removefile(name);
}

void scratchfile::clear() {
    removefile(name);
    descriptor = createfile(name);
    if (descriptor < 0)
        throw failure{ending::file, name + ": " + systemerror(), "look at -T"};
}

void scratchfile::append(const void *data, size_t length) {
    writefile(descriptor, name, data, length);
}

void scratchfile::finish() {
    if (descriptor >= 0)
        closeinput(descriptor);
    descriptor = -1;
}

outputfile::outputfile(const std::string &path) : target(path), written(path) {
    std::error_code error;
    const fs::file_status found = fs::status(path, error);
    if (fs::exists(found) && !fs::is_regular_file(found))
        return;
    if (fs::is_symlink(fs::symlink_status(path, error))) {
        const fs::path real = fs::canonical(path, error);
        if (error)
            return;
        target = real.string();
    }
    const std::string name = makenew(target);
    if (name.empty()) {
        if (!fs::exists(found) && !canmake(target))
            throw failure{ending::file, path + ": " + systemerror(), "name another place with -o"};
        touched = fs::last_write_time(target, error);
        emptied = !error;
        return;
    }
    written = name;
    made = true;
    fs::perms mode = found.permissions();
    if (!fs::exists(found)) { // as any program would make it
        removefile(name);
        return;
    }
    fs::permissions(name, mode, error);
}

outputfile::~outputfile() {
    if (made)
        removefile(written);
    std::error_code error;
    if (emptied && fs::last_write_time(target, error) != touched && !error)
        fs::resize_file(target, 0, error);
}

void outputfile::commit() {
    emptied = false;
    if (!made)
        return;
    std::error_code error;
    fs::rename(written, target, error);
    if (error)
        throw failure{ending::file, target + ": " + error.message(), ""};
    made = false;
}

// ---- what the command writes --------------------------------------------------

outputsink::outputsink(const std::string &path)
    : name(path.empty() ? "standard output" : path), descriptor(standardoutput) {
    if (path.empty())
        return;
    file.emplace(path);
    descriptor = openoutput(file->path());
    if (descriptor < 0)
        throw failure{ending::file, path + ": " + systemerror(), ""};
}

outputsink::~outputsink() {
    if (file && descriptor >= 0)
        closeinput(descriptor);
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
    if (!file)
        return;
    const bool closed = closeoutput(descriptor);
    descriptor = -1;
    if (!closed)
        throw failure{ending::file, name + ": " + systemerror(), ""};
}

void outputsink::commit() {
    if (file)
        file->commit();
}

} // namespace command
