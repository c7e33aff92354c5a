#include "diskfile.h"

#include "cobolfile.h"
#include "shared/filecalls.h"

#include <algorithm>
#include <cerrno>
#include <cstring>

namespace fmgr {

namespace {

constexpr size_t bufferroom = size_t{64} * 1024;
constexpr const char *mark = "fmgr"; // in the names of files that are not yet in place

[[noreturn]] void failopen(int code, bool output, const std::string &kept = "") {
    switch (code) {
    case ENFILE: // callers know one number for too many open files
        fail(status::failed, EMFILE, kept);
    case ENOENT:
    case ENOTDIR:
        fail(output ? status::failed : status::missing, code, kept);
    case EINVAL: // a pipe or a device
        fail(status::refused, EISDIR, kept);
    case EACCES:
    case EPERM:
    case EROFS:
    case EISDIR:
        fail(status::refused, code, kept);
    default:
        fail(status::failed, code, kept);
    }
}

bool isfull(int code) {
#if defined(EDQUOT)
    if (code == EDQUOT)
        return true;
#endif
    return code == ENOSPC || code == EFBIG;
}

void checkwrite(int code) {
    if (code != 0)
        fail(isfull(code) ? status::full : status::failed, code);
}

} // namespace

inputfile::inputfile(const std::string &path) : file(shared::openplain(path, &bytes)) {
    if (file < 0)
        failopen(errno, false);
}

inputfile::~inputfile() {
    (void)shared::closefile(file);
}

void inputfile::readat(uint64_t position, void *to, size_t length) const {
    if (const int code = shared::seekto(file, position))
        fail(status::failed, code);
    auto *out = static_cast<uint8_t *>(to);
    while (length != 0) {
        const int64_t count = shared::readonce(file, out, length);
        if (count <= 0) // shorter than it was: somebody cuts it
            fail(status::failed, count == 0 ? 0 : errno);
        out += count;
        length -= static_cast<size_t>(count);
    }
}

void inputfile::next(void *to, size_t length) {
    auto *out = static_cast<uint8_t *>(to);
    while (length != 0) {
        if (used == ahead.size()) {
            ahead.resize(static_cast<size_t>(std::min<uint64_t>(bufferroom, left())));
            used = 0;
            if (ahead.empty())
                fail(status::failed);
            readat(place, ahead.data(), ahead.size());
        }
        const size_t part = std::min(length, ahead.size() - used);
        std::memcpy(out, ahead.data() + used, part);
        used += part;
        place += part;
        out += part;
        length -= part;
    }
}

outputfile::outputfile(const std::string &path) {
    shared::outcome made = file.create(path, mark);
    if (made.done() && file.replaces())
        made.code = shared::maywrite(file.target());
    if (!made.done())
        failopen(made.code, true);
    waiting.reserve(bufferroom);
}

void outputfile::append(const void *from, size_t length) {
    if (waiting.size() + length > bufferroom)
        drain();
    const auto *bytes = static_cast<const uint8_t *>(from);
    if (length >= bufferroom)
        checkwrite(shared::writeall(file.descriptor(), bytes, length));
    else
        waiting.insert(waiting.end(), bytes, bytes + length);
}

void outputfile::drain() {
    checkwrite(shared::writeall(file.descriptor(), waiting.data(), waiting.size()));
    waiting.clear();
}

void outputfile::rewrite(uint64_t position, const void *from, size_t length) {
    drain();
    checkwrite(shared::seekto(file.descriptor(), position));
    checkwrite(shared::writeall(file.descriptor(), from, length));
}

void outputfile::commit() {
    drain();
    const shared::outcome placed = file.commit();
    if (isfull(placed.code))
        fail(status::full, placed.code, file.kept());
    if (!placed.done())
        failopen(placed.code, true, file.kept());
}

} // namespace fmgr
