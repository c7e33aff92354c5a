#include "cobsort/engine.h"

#include "kvern.h"

#include <dlfcn.h>
#include <string>

namespace cobsort {

namespace {

struct calls {
    decltype(&kvrnopen) open;
    decltype(&kvrnclse) close;
    decltype(&kvrntext) text;
};

template <typename Routine>
bool bind(void *library, Routine &routine, const char *name) {
    routine = reinterpret_cast<Routine>(dlsym(library, name));
    return routine != nullptr;
}

constexpr const char *name = "libkvern.so.1";

// It lies beside this library, or where the system looks.
void *enginelibrary() {
    Dl_info here{};
    if (dladdr(reinterpret_cast<const void *>(&loadengine), &here) != 0 &&
        here.dli_fname != nullptr) {
        std::string path = here.dli_fname;
        path.erase(path.rfind('/') + 1).append(name);
        if (void *library = dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL))
            return library;
    }
    return dlopen(name, RTLD_NOW | RTLD_LOCAL);
}

calls boundcalls() {
    void *library = enginelibrary();
    calls all{};
    if (library == nullptr || !bind(library, all.open, "kvrnopen") ||
        !bind(library, all.close, "kvrnclse") || !bind(library, all.text, "kvrntext"))
        return {};
    return all;
}

const calls &bound() {
    static const calls all = boundcalls();
    return all;
}

} // namespace

bool loadengine() {
    return bound().open != nullptr;
}

} // namespace cobsort

// The calls that kvern.hpp makes, passed on.

using cobsort::bound;
using cobsort::loadengine;

int kvrnopen(uint32_t version, KVRNLINK *link, KVRNPRIM *prim, KVRNSESS *sess, KVRNKEY *keys,
             KVRNFILE *files, KVRNOPT *opts) {
    if (!loadengine())
        return KVRN_NOSESSION;
    return bound().open(version, link, prim, sess, keys, files, opts);
}

int kvrnclse(uint32_t version, KVRNLINK *link, KVRNPRIM *prim, KVRNSESS *sess) {
    if (!loadengine())
        return KVRN_NOSESSION;
    return bound().close(version, link, prim, sess);
}

int kvrntext(KVRNSESS *sess, char *text, unsigned room) {
    return loadengine() ? bound().text(sess, text, room) : KVRN_FAILED;
}
