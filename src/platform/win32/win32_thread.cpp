// Two words for each thread.  The indexes are taken when the library comes into
// the process and given back when it leaves, so that a host that loads and frees
// it again and again does not run out of them; in between they only are read.
#include "platform/win32/win32_system.h"

namespace kvern::platform {

namespace {

constexpr unsigned threadwords = 2;
DWORD indexes[threadwords] = {TLS_OUT_OF_INDEXES, TLS_OUT_OF_INDEXES};

[[gnu::constructor]] void takeindexes() {
    for (DWORD &index : indexes)
        index = TlsAlloc();
}

[[gnu::destructor]] void freeindexes() {
    for (const DWORD index : indexes)
        if (index != TLS_OUT_OF_INDEXES)
            TlsFree(index);
}

bool has(unsigned which) {
    return which < threadwords && indexes[which] != TLS_OUT_OF_INDEXES;
}

} // namespace

// The last error survives the reading, which may come between a failed call and
// the question why.
void *threadword(unsigned which) {
    if (!has(which))
        return nullptr;
    const DWORD error = GetLastError();
    void *value = TlsGetValue(indexes[which]);
    SetLastError(error);
    return value;
}

void setthreadword(unsigned which, void *value) {
    if (has(which))
        TlsSetValue(indexes[which], value);
}

} // namespace kvern::platform
