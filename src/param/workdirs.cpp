// The text of directories is made up at the arena's next byte, unclaimed, so that
// a source of higher precedence may overwrite one of lower; cutplaces claims
// it.  In the text ';' stands between entries:
//
//     "C:\a;D:\b"   ->   "C:\a" 0 "D:\b" 0      workpaths -> [0], [5]
//
// An entry can begin neither with '\' nor ':' nor ';' (blanks before it set
// aside), save the first, which only ';' may not open: intended, though a list
// of the caller's can break the rule only by being joined to one text.

#include "param/param.h"

#include "session/arena.h"
#include "session/qha9msg.h"

#include <cstring>

namespace kvern {

namespace {

constexpr char separator = ';';
constexpr char nothingearly = 3;             // first byte: kvrntmpd has deposited nothing
constexpr uint32_t variablelimit = 0x100000; // a variable this long counts as absent
constexpr const char *variables[] = {"KVERN_TMPDIR", "TEMP", "TMP"};

enum class found : int8_t { failed = -1, no = 0, yes = 1 };

found refuseplaces(KVRNSESS *sess, uint32_t detail) {
    sess->detail = detail;
    return found::failed;
}

char *textplace(const qha5ctx *ctx) {
    return reinterpret_cast<char *>(ctx->arenanext);
}

// The caller's list, joined by separators.  A list of files is no text of ours, nor is
// one that is too long for the storage: the analysis refuses that, unread.
found fromlist(qha5ctx *ctx, KVRNSESS *sess, const KVRNFLST *list) {
    if (uint64_t{list->count} * sizeof(char *) > ctx->arenafree)
        return found::no;
    char *text = textplace(ctx);
    uint64_t used = 0;
    uint32_t directories = 0;
    for (uint32_t i = 0; i < list->count; ++i) {
        const char *path = list->path[i];
        if ((path == nullptr) || !platform::isdirectory(path))
            continue;
        const size_t length = strlen(path);
        if (used + length + 1 > ctx->arenafree)
            return refuseplaces(sess, KVRN_D_CONTEXT);
        memcpy(text + used, path, length);
        used += length;
        text[used++] = separator;
        ++directories;
    }
    if (directories == 0)
        return found::no;
    if (directories != list->count)
        return refuseplaces(sess, KVRN_D_TEMPCREATE);
    text[used - 1] = 0;
    ctx->workdirs = 'd';
    return found::yes;
}

found fromearly(const qha5ctx *ctx, KVRNSESS *sess) {
    if ((ctx->earlydir == nullptr) || *ctx->earlydir == nothingearly)
        return found::no;
    const size_t bytes = strlen(ctx->earlydir) + 1;
    if (bytes > ctx->arenafree)
        return refuseplaces(sess, KVRN_D_CONTEXT);
    memcpy(textplace(ctx), ctx->earlydir, bytes);
    return found::yes;
}

// A variable counts as absent unless it is shorter than the room left, its end
// included.
found fromenvironment(const qha5ctx *ctx) {
    const uint32_t limit = ctx->arenafree < variablelimit ? ctx->arenafree : variablelimit;
    if (limit < 2)
        return found::no;
    const uint32_t room = limit - 1;
    for (const char *name : variables) {
        const uint32_t length = platform::environment(name, textplace(ctx), room);
        if (length != 0 && length < room)
            return found::yes;
    }
    return found::no;
}

found fromsystem(const qha5ctx *ctx, KVRNSESS *sess) {
    const uint32_t room = ctx->arenafree < platform::maxpath ? ctx->arenafree : platform::maxpath;
    const uint32_t length = platform::systemdirectory(textplace(ctx), room);
    if (length == 0)
        return found::no;
    return length < room ? found::yes : refuseplaces(sess, KVRN_D_CONTEXT);
}

// The list comes first, for its faults show even where the deposited text, which
// takes precedence over it, is used.
found findlist(qha5ctx *ctx, KVRNSESS *sess, const KVRNFLST *list) {
    found listed = found::no;
    if ((list != nullptr) && list->count != 0)
        listed = fromlist(ctx, sess, list);
    if (listed == found::failed)
        return listed;
    const found early = fromearly(ctx, sess);
    if (early != found::no)
        return early;
    if (listed == found::yes)
        return listed;
    if (fromenvironment(ctx) == found::yes)
        return found::yes;
    return fromsystem(ctx, sess);
}

bool textends(char c) {
    return c == 0 || c == '\n';
}

const char *behindspace(const char *at) {
    while (*at == ' ' || *at == '\t')
        ++at;
    return at;
}

// Whether no entry can begin here, behind a separator.
bool noentry(const char *at) {
    at = behindspace(at);
    return textends(*at) || *at == '\\' || *at == ':' || *at == separator;
}

// Entries up to the first separator that has no entry behind it.
uint32_t countentries(const char *at) {
    uint32_t count = 1;
    for (; !textends(*at); ++at) {
        if (*at != separator)
            continue;
        if (noentry(at + 1))
            break;
        ++count;
    }
    return count;
}

// Ends each entry with a zero byte.  A separator met when all that were counted
// have ended is one that has no entry behind it.
bool cutentries(char *at, char **table, uint32_t count) {
    uint32_t ended = 0;
    table[0] = at;
    for (; !textends(*at); ++at) {
        if (*at != separator)
            continue;
        if (at == table[ended] || ended + 1 == count)
            return false;
        *at = 0;
        table[++ended] = at + 1;
    }
    *at = 0;
    return *table[ended] != 0;
}

// Cuts the text at arenanext into directories; 0 or -1 as findplaces.
int cutplaces(qha5ctx *ctx, KVRNSESS *sess) {
    char *text = textplace(ctx);
    const auto length = static_cast<uint32_t>(strlen(text));
    char *at = text + (behindspace(text) - text);
    if (*at == separator) {
        sess->detail = KVRN_D_WORKDIRS;
        return -1;
    }
    const uint32_t count = countentries(at);
    ctx->workdircount = count;
    const uint64_t tablebytes = uint64_t{count} * sizeof(char *);
    if ((arenatake(ctx, uint64_t{length} + 1) == nullptr) ||
        arenaround(tablebytes) + length + count > ctx->arenafree) {
        setargs(ctx);
        return -1; // intended: no detail
    }
    ctx->workpaths = reinterpret_cast<char **>(arenatake(ctx, tablebytes));
    arenalose(ctx, length); // intended: the text weighs twice
    if (!cutentries(at, ctx->workpaths, count)) {
        sess->detail = KVRN_D_WORKDIRS;
        return -1;
    }
    ctx->workkind = 'd';
    return 0;
}

} // namespace

int findplaces(qha5ctx *ctx, KVRNSESS *sess, const KVRNFILE *files) {
    switch (findlist(ctx, sess, files != nullptr ? files->workfiles : nullptr)) {
    case found::failed:
        return -1;
    case found::no:
        return 0;
    case found::yes:
        break;
    }
    return cutplaces(ctx, sess);
}

} // namespace kvern
