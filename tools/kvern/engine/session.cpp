#include "kvern/engine/session.h"

#include "kvern/system/failure.h"
#include "kvern/system/signals.h"

#include <cstring>
#include <new>
#include <utility>

namespace command {

namespace {

constexpr uint32_t version = KVRN_VERSION_L4;

// A look asks the engine and the clock: not between any two records, but after this
// many bytes.
constexpr uint32_t workbetween = 1u << 20;
constexpr uint32_t callwork = 256; // that a call is worth by itself

// Nothing may be thrown through the engine's calls: what cannot be shown now is shown at
// the next look.
int KVRN_CALL stophook(KVRNSESS *sess, void *watcher) {
    try {
        if (watcher != nullptr)
            static_cast<watch *>(watcher)->look(sess);
    } catch (const std::bad_alloc &) {
        return stopwanted() ? 1 : 0;
    }
    return stopwanted() ? 1 : 0;
}

template <typename Block, typename Entry>
Block tableof(const std::vector<Entry> &entries) {
    Block block(entries.size());
    for (size_t i = 0; i < entries.size(); ++i)
        std::memcpy(&block->entry[0] + i, &entries[i], sizeof(Entry));
    return block;
}

pathblock pathsof(const std::vector<std::string> &texts) {
    pathblock block(texts.size());
    for (size_t i = 0; i < texts.size(); ++i)
        block->path[i] = texts[i].c_str();
    return block;
}

// A session that has ended tells none.
uint64_t syscodeof(KVRNSESS *sess) {
    KVRNSTAT stat{};
    stat.size = sizeof stat;
    return kvrnstat(sess, &stat) == 0 ? stat.syscode : 0;
}

} // namespace

session::session(const description &what, uint32_t &sumstop)
    : prim(what.prim), sumstopped(sumstop), watcher(what.watcher) {
    if (!what.separator.empty())
        prim.separator = what.separator.c_str();
    auto keys = tableof<keyblock>(what.keys);
    auto sums = tableof<sumblock>(what.sums);
    auto conditions = tableof<selblock>(what.conditions.entries);
    auto pieces = tableof<rcnblock>(what.pieces);
    KVRNOPT options = {sums.get(), conditions.get(), pieces.get()};
    pathblock workdirs = pathsof(what.workdirs);
    KVRNFILE files{};
    files.workfiles = what.workdirs.empty() ? nullptr : workdirs.get();

    // One hook a thread: sessions without one who looks on leave that of the others.
    static thread_local watch *looker = nullptr;
    looker = watcher != nullptr ? watcher : looker;
    kvrnhook(stophook, nullptr); // an open calls it a thousand times, with nothing to see
    const int result = kvrnopen(version, &link, &prim, &sess, keys.get(), &files, &options);
    kvrnhook(stophook, looker);
    open = true;
    try {
        check("kvrnopen", result);
        look(workbetween);
    } catch (...) {
        // The destructor of a half-made object does not run.
        tellend();
        kvrnclse(version, &link, &prim, &sess);
        throw;
    }
}

session::~session() {
    if (open)
        tellend();
    closeopen(this);
}

void session::closeopen(void *self) {
    auto *one = static_cast<session *>(self);
    if (one->open)
        kvrnclse(version, &one->link, &one->prim, &one->sess);
    one->open = false;
}

void session::look(uint32_t work) {
    unseen += work + callwork;
    if (watcher == nullptr || unseen < workbetween)
        return;
    watcher->look(&sess);
    tellfed();
    unseen = 0;
}

void session::tellfed() {
    if (untold != 0)
        watcher->fed(std::exchange(untold, 0));
}

void session::tellend() {
    if (watcher == nullptr)
        return;
    tellfed();
    watcher->finish(&sess);
}

// A stop shows as a failure without a detail, or as result 1 of the open.
void session::check(const char *call, int result) {
    if (stopwanted())
        throw stopped{};
    if (result >= 0 && (sess.detail == KVRN_D_SUMOVERFLOW || sess.detail == KVRN_D_SUMMISSING)) {
        sumstopped = sess.detail;
        sess.detail = 0;
    }
    if (result < 0 || sess.detail != 0)
        throw enginefailure{call, sess.detail, syscodeof(&sess)};
}

void session::put(const void *data, uint32_t length) {
    sess.code = KVRN_RECORD;
    sess.recaddr = const_cast<void *>(data); // the engine only reads it
    sess.reclen = length;
    check("kvrnput", kvrnput(&sess));
    look(length);
}

void session::endinput() {
    look(workbetween);
    sess.code = KVRN_END;
    check("kvrnput", kvrnput(&sess));
    look(workbetween);
}

bool session::get(const void **data, uint32_t *length) {
    const int result = kvrnget(&sess);
    check("kvrnget", result);
    look(sess.reclen);
    *data = sess.recaddr;
    *length = sess.reclen;
    return result == 0;
}

bool session::step(const char *input, size_t inputlength, const void **data, uint32_t *length) {
    sess.code = input != nullptr ? KVRN_RECORD : KVRN_END;
    sess.recaddr = const_cast<char *>(input); // the engine only reads it
    sess.reclen = static_cast<uint32_t>(inputlength);
    const int result = kvrnmrge(&sess);
    check("kvrnmrge", result);
    untold += inputlength;
    look(sess.outlen);
    *data = sess.outaddr;
    *length = sess.outlen;
    return result == 0;
}

size_t session::keybytes() {
    unsigned length = 0;
    kvrnkey(&sess, nullptr, 0, nullptr, &length); // says that there is no room
    sess.detail = 0;
    return length;
}

bool session::key(std::string_view record) {
    if (probed.empty())
        probed.resize(keybytes());
    auto room = static_cast<unsigned>(probed.size());
    const int result =
        kvrnkey(&sess, record.data(), static_cast<unsigned>(record.size()), probed.data(), &room);
    if (result < 0)
        failprobe("kvrnkey");
    return result == 0;
}

bool session::keeps(std::string_view record) {
    const int result = kvrntest(&sess, record.data(), static_cast<unsigned>(record.size()));
    if (result < 0)
        failprobe("kvrntest");
    return result == 0;
}

void session::failprobe(const char *call) {
    throw enginefailure{call, std::exchange(sess.detail, 0), 0};
}

void session::close() {
    tellend();
    open = false;
    check("kvrnclse", kvrnclse(version, &link, &prim, &sess));
}

} // namespace command
