#include "session/call/binding.h"

#include "platform/platform.h"

namespace kvern {

namespace {

// Where the system finds no library by default, the engine that is here is used
// without a detour.
void bindown(KVRNLINK *link) {
    link->init = qha5init;
    link->chkp = qha5chkp;
    link->chkg = qha5chkg;
    link->chkm = qha5chkm;
    link->term = qha5term;
    link->module = nullptr;
}

bool bindlibrary(KVRNLINK *link, const char *name) {
    platform::library module = platform::loadlibrary(name);
    if (module == nullptr)
        return false;
    link->module = module;
    using platform::findroutine;
    return findroutine(module, "qha5init", &link->init) &&
           findroutine(module, "qha5chkp", &link->chkp) &&
           findroutine(module, "qha5chkg", &link->chkg) &&
           findroutine(module, "qha5chkm", &link->chkm) &&
           findroutine(module, "qha5term", &link->term);
}

} // namespace

bool versionadmitted(uint32_t version) {
    constexpr uint32_t family = 0xFFFF0000;
    return (version & family) == KVRN_VERSION_L0 || (version & family) == KVRN_VERSION_L2_OLDDLMT ||
           version == KVRN_VERSION_L3 || version == KVRN_VERSION_L4;
}

bool bindengine(KVRNLINK *link) {
    char named[platform::settingroom];
    if (platform::readsetting(platform::setting::dll_name, named))
        return bindlibrary(link, named);
    if (const char *name = platform::defaultengine())
        return bindlibrary(link, name);
    bindown(link);
    return true;
}

void unbindengine(KVRNLINK *link) {
    if (link->module != nullptr)
        platform::freelibrary(link->module);
    *link = {};
}

} // namespace kvern
