// Callers of the old kind keep their stack on 4 bytes: the calls work wherever it stands.
#include "session/handmade.h"

#include <algorithm>

namespace kvern::test {
namespace {

using words = std::vector<const void *>;

// Calls a cdecl routine; at the call the stack is `off` bytes below a 16-byte boundary.
template <class F>
int callat(uint32_t off, F *routine, const words &arguments) {
    auto result = reinterpret_cast<uintptr_t>(routine);
    const void *const *first = arguments.data();
    const void *const *behind = first + arguments.size();
    uint32_t down = off + 64 - 4 * static_cast<uint32_t>(arguments.size());
    __asm__ volatile("movl %%esp, %%edi\n\t"
                     "andl $-16, %%esp\n\t"
                     "subl %%ecx, %%esp\n\t"
                     "1: cmpl %%ebx, %%esi\n\t"
                     "je 2f\n\t"
                     "subl $4, %%esi\n\t"
                     "pushl (%%esi)\n\t"
                     "jmp 1b\n\t"
                     "2: call *%%eax\n\t"
                     "movl %%edi, %%esp\n\t"
                     : "+a"(result), "+c"(down), "+S"(behind)
                     : "b"(first)
                     : "edi", "edx", "memory", "cc");
    return static_cast<int>(result);
}

TEST(stack, may_stand_anywhere) {
    const strings given = numbered(5003, 5003);
    strings wanted = given;
    std::sort(wanted.begin(), wanted.end());
    for (const uint32_t off : {0U, 4U, 8U, 12U}) {
        handmade s;
        s.key(0, 8);
        const auto *version = reinterpret_cast<const void *>(uintptr_t{s.version});
        words all = {version, &s.link, &s.prim, &s.sess, s.keys.get(), nullptr, nullptr};
        ASSERT_EQ(callat(off, kvrnopen, all), 0) << s.sess.detail;
        for (const std::string &record : given) {
            s.give(record);
            ASSERT_EQ(callat(off, record < "1002000" ? s.link.chkp : kvrnput, {&s.sess}), 0);
        }
        s.sess.code = KVRN_END;
        EXPECT_EQ(callat(off, kvrnput, {&s.sess}), 1);
        strings got;
        while (callat(off, off == 4 ? s.link.chkg : kvrnget, {&s.sess}) == 0)
            got.push_back(s.got());
        EXPECT_EQ(got, wanted);
        all.resize(4);
        EXPECT_EQ(callat(off, kvrnclse, all), 0);
    }
}

} // namespace
} // namespace kvern::test
