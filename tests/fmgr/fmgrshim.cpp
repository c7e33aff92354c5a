// A library under the file manager's name that hands every call to the test.  The build
// gives functions that a manager lacks another name.
#include "fmgr/fmgrstage.h"

#include <cstdlib>

#if defined(_WIN32)
#include <windows.h>
#define EXPORTED extern "C" __declspec(dllexport)
#else
#define EXPORTED extern "C" __attribute__((visibility("default")))
#endif

namespace {

kvern::test::fmgrstage *stage() {
#if defined(_WIN32)
    char text[32] = "";
    GetEnvironmentVariableA(kvern::test::stagevariable, text, sizeof text);
#else
    const char *set = std::getenv(kvern::test::stagevariable), *text = set != nullptr ? set : "";
#endif
    const auto address = static_cast<uintptr_t>(std::strtoull(text, nullptr, 16));
    return reinterpret_cast<kvern::test::fmgrstage *>(address);
}

struct presence {
    presence() { tell(true); }
    ~presence() { tell(false); }
    static void tell(bool loaded) {
        if (stage() != nullptr)
            stage()->present(loaded);
    }
} const here;

} // namespace

#define FMGR_EXPORTED(type, name, parameters, arguments)                                           \
    EXPORTED type name parameters {                                                                \
        return stage()->name arguments;                                                            \
    }                                                                                              \
    static_assert(true)
FMGR_CALLS(FMGR_EXPORTED);
