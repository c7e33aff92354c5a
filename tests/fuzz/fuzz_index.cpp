// An indexed file from bytes, asked what it is: first on buffers of exactly the
// size they may use, then out of an arena that may be too small, with an
// operation that may fail.  Beside what the sanitizers see these are findings: a
// file that stays open, a failure without a word, keys that no file can have.
//
//   byte 0   record form      byte 1      the operation that fails, from 1
//   byte 2,3 bytes of arena   from byte 4 the file
#include "fuzz/memory_platform.h"
#include "param/indexedinput.h"
#include "support/idxrig.h"

#include <cstring>
#include <vector>

namespace kvern::test {

namespace {

constexpr const char *path = "da/indexed";
constexpr size_t settings = 4;

void start(const uint8_t *data, size_t size, uint32_t failat) {
    memoryplan plan;
    plan.failat = failat;
    startplatform(plan);
    if (size > settings)
        makefile(path).assign(data + settings, data + size);
}

void checkclosed() {
    if (held().handles != 0)
        finding("a file that is open after it was read");
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

void readalone(uint8_t recform) {
    idxrig rig(path, recform);
    if (rig.read() == 0)
        checkkeys(rig.info, recform);
    checkclosed();
}

void readinsession(uint8_t recform, uint32_t arenabytes) {
    const std::unique_ptr<uint64_t[]> arena(new uint64_t[arenabytes / 8 + 1]);
    idxrig rig(path, recform);
    rig.ctx.arenanext = reinterpret_cast<uint8_t *>(arena.get());
    rig.ctx.arenafree = arenabytes;
    if (describeindexed(&rig.ctx, &rig.file, 0, 1) == 0)
        checkkeys(*rig.ctx.idxinfos[0], recform);
    else if (rig.ctx.errdetail == 0)
        finding("a failure without a word");
    checkclosed();
}

} // namespace

} // namespace kvern::test

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    using namespace kvern::test;
    uint8_t set[settings] = {};
    memcpy(set, data, size < settings ? size : settings);
    const auto recform = static_cast<uint8_t>("fvfvr"[set[0] % 5]);
    start(data, size, 0);
    readalone(recform);
    start(data, size, set[1]);
    readinsession(recform, 2 * (set[2] + set[3] * 256U));
    return 0;
}
