// An indexed file from bytes, asked what it is: first out of an arena that ends where its
// last buffer does, then out of one that may be too small, with an operation that may
// fail.  Beside what the sanitizers see these are findings: a file that stays open, a
// failure without a word, keys that no file can have.
//
//   byte 0   record form      byte 1      the operation that fails, from 1
//   byte 2,3 bytes of arena   from byte 4 the file
#include "file/filectl.h"
#include "file/idxinfo.h"
#include "fuzz/memory_platform.h"
#include "param/indexedinput.h"
#include "session/qha9msgt.h"

#include <cstring>
#include <memory>
#include <vector>

namespace kvern::test {

namespace {

constexpr const char *path = "da/indexed";
constexpr size_t settings = 4;
constexpr uint32_t roomy = 80000; // for the longest blocks and the most parts

void start(const uint8_t *data, size_t size, uint32_t failat) {
    memoryplan plan;
    plan.failat = failat;
    startplatform(plan);
    if (size > settings)
        makefile(path).assign(data + settings, data + size);
}

void checkkeys(const idxinfo &info, uint8_t recform) {
    uint32_t keys = 0, marked = 0;
    for (uint32_t i = 0; i < info.keypartcount; ++i) {
        const keypart &part = info.keyparts[i];
        if (part.length == 0 || part.length == 255 || (part.flags & 0xCF) != 0 ||
            info.keynumber[i] != keys)
            finding("a key part that is none");
        const bool last = (part.flags & kp_more) == 0;
        keys += last ? 1 : 0;
        marked += last && (part.flags & kp_attribute) != 0 ? 1 : 0;
    }
    if (keys != info.keycount || marked != info.dupkeycount || info.keypartcount == 0)
        finding("keys that are miscounted");
    if ((recform == 'v') != (info.variablerecs == 1) || recform == 'r')
        finding("a file of another form");
}

// In an arena of so many bytes; what is taken of them.
uint32_t describe(uint8_t recform, uint32_t arenabytes) {
    const std::unique_ptr<uint64_t[]> arena(new uint64_t[(arenabytes + 7) / 8]);
    qha5ctx ctx{};
    filectl file{};
    ctx.msgtable = qha9msgt;
    ctx.recform = recform;
    ctx.arenanext = reinterpret_cast<uint8_t *>(arena.get());
    ctx.arenafree = arenabytes;
    file.kind = KVRN_FILE_INDEXED;
    file.mode = 'r';
    file.name = path;
    if (describeindexed(&ctx, &file, 0, 1) == 0)
        checkkeys(*ctx.idxinfos[0], recform);
    else if (ctx.errdetail == 0)
        finding("a failure without a word");
    if (held().handles != 0)
        finding("a file that is open after it was read");
    return arenabytes - ctx.arenafree;
}

} // namespace

} // namespace kvern::test

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    using namespace kvern::test;
    uint8_t set[settings] = {};
    memcpy(set, data, size < settings ? size : settings);
    const auto recform = static_cast<uint8_t>("fvfvr"[set[0] % 5]);
    start(data, size, 0);
    const uint32_t taken = describe(recform, roomy);
    start(data, size, 0);
    describe(recform, taken);
    start(data, size, set[1]);
    describe(recform, 2 * (set[2] + set[3] * 256U));
    return 0;
}
