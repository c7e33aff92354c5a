// What the compiler's guarded stacks ask of a DLL: the guard, and what is done where it was
// overwritten.  The compiler's own library chooses the guard by the system's cryptography,
// which loads more libraries while this one is being loaded, and that may hang a program.
// Time, counters and addresses differ from run to run as well.
//
// Built without guarded stacks: the guard changes beneath this file's own.
#include "platform/win32/win32_system.h"

#include <cstdint>

extern "C" {

extern uintptr_t __stack_chk_guard;
[[noreturn]] void __stack_chk_fail();

uintptr_t __stack_chk_guard = 0x0D0A00FF; // has what ends a text; until the library is loaded

// Nothing on this stack is to be trusted: no clean-up, no handler.
void __stack_chk_fail() {
    constexpr UINT overrun = 0xC0000409; // as the system's own guards end a process
    for (;;)
        TerminateProcess(GetCurrentProcess(), overrun);
}

} // extern "C"

namespace {

// Before any other of our routines: the system runs constructors while it loads the library.
[[gnu::constructor(101)]] void chooseguard() {
    LARGE_INTEGER counter = {};
    FILETIME now = {};
    QueryPerformanceCounter(&counter);
    GetSystemTimeAsFileTime(&now);
    const uintptr_t mixed = static_cast<uintptr_t>(counter.QuadPart) ^ now.dwLowDateTime ^
                            (GetCurrentProcessId() << 16) ^ GetCurrentThreadId() ^
                            reinterpret_cast<uintptr_t>(&counter);
    constexpr uintptr_t scatter = 0x9E3779B1;                 // 2^32 by the golden ratio
    __stack_chk_guard = (mixed * scatter) & ~uintptr_t{0xFF}; // a text ends before it
}

} // namespace
