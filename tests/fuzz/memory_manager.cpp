// The files of the file manager on the platform layer in memory, in the place of its own
// on disk.  Here they do not fail: the manager's own tests see to that.
#include "fmgr/cobolfile.h"
#include "fmgr/diskfile.h"
#include "fuzz/memory_platform.h"
#include "manager/managerclient.h"

#include <cerrno>
#include <cstring>

kvern::platform::symbol kvern::test::managerroutine(const char *name) {
    return managerfn<platform::symbol>(name);
}

namespace shared {

// Of a file that replaces another one the name alone is left.
outcome replacefile::create(const std::string &path, const char *) {
    place = path;
    return {};
}
void replacefile::drop() {}

} // namespace shared

namespace fmgr {

using namespace kvern::test;

inputfile::inputfile(const std::string &path) : file(0) {
    const std::vector<uint8_t> *data = filenamed(path.c_str());
    if (data == nullptr)
        fail(status::missing, ENOENT);
    ahead = *data;
    bytes = ahead.size();
}
inputfile::~inputfile() = default;

void inputfile::readat(uint64_t position, void *to, size_t length) const {
    if (position > bytes || length > bytes - position)
        fail(status::failed);
    if (length != 0)
        std::memcpy(to, ahead.data() + position, length);
}
void inputfile::next(void *to, size_t length) {
    readat(place, to, length);
    place += length;
}

outputfile::outputfile(const std::string &path) {
    if (kvern::platform::isdirectory(path.c_str()) || !file.create(path, "").done())
        fail(status::refused, EISDIR);
}
void outputfile::append(const void *from, size_t length) {
    const auto *data = static_cast<const uint8_t *>(from);
    waiting.insert(waiting.end(), data, data + length);
}
void outputfile::rewrite(uint64_t position, const void *from, size_t length) {
    std::memcpy(waiting.data() + position, from, length);
}
void outputfile::commit() {
    makefile(file.target().c_str()) = waiting;
}

} // namespace fmgr
