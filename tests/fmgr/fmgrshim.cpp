// A library under the file manager's name that hands every call to the test.  The build
// gives functions that a manager lacks another name.
#include "fmgr/fmgrstage.h"

#include <cstdlib>

#ifdef _WIN32
#define EXPORTED extern "C" __declspec(dllexport)
#else
#define EXPORTED extern "C" __attribute__((visibility("default")))
#endif

namespace {

kvern::test::fmgrstage *stage() {
    const char *text = std::getenv(kvern::test::stagevariable);
    if (text == nullptr)
        std::abort(); // loaded by no test
    const auto address = static_cast<uintptr_t>(std::strtoull(text, nullptr, 10));
    return reinterpret_cast<kvern::test::fmgrstage *>(address);
}

struct presence {
    presence() { stage()->present(true); }
    ~presence() { stage()->present(false); }
} const here;

} // namespace

#define FMGR_EXPORTED(type, name, parameters, arguments)                                           \
    EXPORTED type name parameters {                                                                \
        return stage()->name arguments;                                                            \
    }                                                                                              \
    static_assert(true)
FMGR_CALLS(FMGR_EXPORTED);
