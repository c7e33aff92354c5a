#include "cobsort/runtime.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <dlfcn.h>
#include <utility>

namespace cobsort {

namespace {

// The library that a routine of the run-time stands in.
void *runtimelibrary() {
    Dl_info found;
    return dladdr(reinterpret_cast<void *>(cob_stop_run), &found) != 0
               ? dlopen(found.dli_fname, RTLD_LAZY | RTLD_NOLOAD)
               : nullptr;
}

// A program that is linked to this library (ahead.c) has the run-time ahead of it.
template <typename Routine>
void bind(Routine &routine, const char *name) {
    void *found = dlsym(RTLD_NEXT, name);
    static void *const library = runtimelibrary();
    if (found == nullptr && library != nullptr)
        found = dlsym(library, name);
    routine = reinterpret_cast<Routine>(found);
}

// A program that sorts has the run-time loaded: what is missing shows that another library
// stands in its place.
template <typename Routine>
void need(Routine &routine, const char *name) {
    bind(routine, name);
    if (routine == nullptr) {
        std::fprintf(stderr, "kvern: %s: not found in the run-time of COBOL\n", name);
        std::abort();
    }
}

ownroutines boundroutines() {
    ownroutines all{};
    need(all.open, "cob_open");
    need(all.init, "cob_file_sort_init");
    need(all.initkey, "cob_file_sort_init_key");
    need(all.sortusing, "cob_file_sort_using");
    need(all.giving, "cob_file_sort_giving");
    need(all.close, "cob_file_sort_close");
    need(all.release, "cob_file_release");
    need(all.giveback, "cob_file_return");
    need(all.tableinit, "cob_table_sort_init");
    need(all.tablekey, "cob_table_sort_init_key");
    need(all.tablesort, "cob_table_sort");
    bind(all.usinghandler, "cob_file_sort_using_extfh");
    bind(all.givinghandler, "cob_file_sort_giving_extfh");
    return all;
}

version foundversion() {
    const char *(*tell)() = nullptr;
    bind(tell, "libcob_version");
    const char *text = tell == nullptr ? "" : tell();
    if (std::strncmp(text, "3.1", 3) == 0)
        return version::v31;
    return std::strncmp(text, "3.2", 3) == 0 ? version::v32 : version::unknown;
}

// What is passed beyond `count` is not looked at.
template <typename Routine, typename What, size_t... Index>
void passall(Routine routine, cob_file *sort, const std::vector<What *> &all,
             std::index_sequence<Index...>) {
    if (all.size() > sizeof...(Index)) {
        cob_runtime_error("kvern: too many files behind GIVING: %u",
                          static_cast<unsigned>(all.size()));
        cob_stop_run(1);
    }
    routine(sort, all.size(), (Index < all.size() ? all[Index] : nullptr)...);
}

} // namespace

const ownroutines &own() {
    static const ownroutines all = boundroutines();
    return all;
}

void passgiving(cob_file *sort, const std::vector<cob_file *> &files) {
    passall(own().giving, sort, files, std::make_index_sequence<mostpassed>());
}

void passhandled(cob_file *sort, const std::vector<void *> &pairs) {
    passall(own().givinghandler, sort, pairs, std::make_index_sequence<2 * mostpassed>());
}

version runtimeversion() {
    static const version found = foundversion();
    return found;
}

} // namespace cobsort
