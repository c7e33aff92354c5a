#include "session.h"

#include "report.h"
#include "streams.h"

namespace command {

namespace {

constexpr uint32_t version = KVRN_VERSION_L4;

int KVRN_CALL stophook(KVRNSESS *, void *) {
    return stopwanted() ? 1 : 0;
}

pathblock pathsof(const std::vector<std::string> &texts) {
    pathblock block(texts.size());
    for (size_t i = 0; i < texts.size(); ++i)
        block->path[i] = texts[i].c_str();
    return block;
}

} // namespace

session::session(const description &what) : prim(what.prim) {
    if (!what.separator.empty())
        prim.separator = what.separator.c_str();
    keyblock keys(what.keys.size());
    for (size_t i = 0; i < what.keys.size(); ++i)
        keys->entry[i] = what.keys[i];
    pathblock infiles = pathsof(what.infiles);
    pathblock workdirs = pathsof(what.workdirs);
    KVRNFILE files{};
    files.infiles = what.infiles.empty() ? nullptr : infiles.get();
    files.outfile = what.outfile.empty() ? nullptr : what.outfile.c_str();
    files.workfiles = what.workdirs.empty() ? nullptr : workdirs.get();

    kvrnhook(stophook, nullptr);
    const int result = kvrnopen(version, &link, &prim, &sess, keys.get(), &files, nullptr);
    open = true;
    try {
        check("kvrnopen", result);
    } catch (...) {
        // The destructor of a half-made object does not run.
        kvrnclse(version, &link, &prim, &sess);
        kvrnhook(nullptr, nullptr);
        throw;
    }
}

session::~session() {
    if (open)
        kvrnclse(version, &link, &prim, &sess);
    kvrnhook(nullptr, nullptr);
}

// A stop shows as a failure without a detail, or as result 1 of the open.
void session::check(const char *call, int result) {
    if (stopwanted())
        throw stopped{};
    if (result < 0 || sess.detail != 0)
        throw enginefailure{call, sess.detail};
}

void session::put(const void *data, uint32_t length) {
    sess.code = KVRN_RECORD;
    sess.recaddr = const_cast<void *>(data); // the engine only reads it
    sess.reclen = length;
    check("kvrnput", kvrnput(&sess));
}

void session::endinput() {
    sess.code = KVRN_END;
    check("kvrnput", kvrnput(&sess));
}

bool session::get(const void **data, uint32_t *length) {
    const int result = kvrnget(&sess);
    check("kvrnget", result);
    *data = sess.recaddr;
    *length = sess.reclen;
    return result == 0;
}

void session::close() {
    open = false;
    check("kvrnclse", kvrnclse(version, &link, &prim, &sess));
}

} // namespace command
