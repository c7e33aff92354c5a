// The entry points of the run-time that this library stands in for, by their names.
//
// Nothing is thrown out of them: what cannot be set up is left to the run-time.
#include "cobsort/explain.h"
#include "cobsort/names.h"
#include "cobsort/tables.h"
#include "cobsort/verb.h"

#include <cstdarg>
#include <cstdio>
#include <map>
#include <pthread.h>
#include <stdio_ext.h>

#define KVERN_ENTRY extern "C" __attribute__((visibility("default")))

namespace cobsort {

namespace {

// The sorts that are open.  A program's sorts all run on one thread of it.
// They are not destroyed at the end of the process, which may come by a signal in the midst of
// a call: a lock of theirs may be held then, and their threads' files have no names.
using verbs = std::map<const cob_file *, verb>;

verbs &openverbs() {
    static verbs &all = *new verbs;
    static const int watched = pthread_atfork(nullptr, nullptr, [] {
        for (auto &[file, one] : openverbs())
            one.lose();
    });
    static_cast<void>(watched);
    return all;
}

verb *find(const cob_file *file) {
    const auto found = openverbs().find(file);
    return found == openverbs().end() ? nullptr : &found->second;
}

template <typename What>
std::vector<What *> gather(size_t count, va_list &list) {
    std::vector<What *> all(count);
    for (What *&one : all)
        one = va_arg(list, What *); // NOLINT(clang-analyzer-valist.Uninitialized): the caller's
    return all;
}

} // namespace

} // namespace cobsort

using namespace cobsort;

// The run-time closes its files where a signal ends the program, in the midst of a character
// that it reads perhaps.  As long as a process has had one thread only, the streams of C take
// no locks; so that the handler does not wait for itself, those that it may close never do.
KVERN_ENTRY void cob_open(cob_file *file, const int mode, const int sharing, cob_field *status) {
    own().open(file, mode, sharing, status);
    if (runtimeversion() == version::unknown)
        return;
    const bool isstream = file->organization == COB_ORG_LINE_SEQUENTIAL || COB_FILE_SPECIAL(file);
    if (isstream && file->file != nullptr && file->file_status[0] == '0')
        __fsetlocking(static_cast<FILE *>(file->file), FSETLOCKING_BYCALLER);
}

KVERN_ENTRY void cob_file_sort_init(cob_file *file, const unsigned int keys,
                                    const unsigned char *collating, void *sortreturn,
                                    cob_field *status) {
    own().init(file, keys, collating, sortreturn, status);
    if (runtimeversion() == version::unknown) // whose structs are not looked into
        return;
    try {
        openverbs().erase(file);
        openverbs().try_emplace(file, file, static_cast<int *>(sortreturn), status);
    } catch (const std::exception &) { // no memory
    }
}

KVERN_ENTRY void cob_file_sort_init_key(cob_file *file, cob_field *field, const int flag,
                                        const unsigned int offset) {
    own().initkey(file, field, flag, offset);
}

KVERN_ENTRY void cob_file_sort_using(cob_file *file, cob_file *data) {
    verb *one = find(file);
    one != nullptr ? one->sortusing(data) : own().sortusing(file, data);
}

KVERN_ENTRY void cob_file_sort_giving(cob_file *file, const size_t count, ...) {
    va_list list;
    va_start(list, count);
    const std::vector<cob_file *> files = gather<cob_file>(count, list);
    va_end(list);
    verb *one = find(file);
    one != nullptr ? one->giving(files) : passgiving(file, files);
}

KVERN_ENTRY void cob_file_release(cob_file *file) {
    verb *one = find(file);
    one != nullptr ? one->release() : own().release(file);
}

KVERN_ENTRY void cob_file_return(cob_file *file) {
    verb *one = find(file);
    one != nullptr ? one->giveback() : own().giveback(file);
}

KVERN_ENTRY void cob_file_sort_close(cob_file *file) {
    if (verb *one = find(file)) {
        if (explained())
            one->explain();
        openverbs().erase(file);
    }
    own().close(file);
}

// Files with a handler of the program's own are the run-time's; these two are its own in
// some versions alone, where it may call them as well.

KVERN_ENTRY void cob_file_sort_using_extfh(cob_file *file, cob_file *data,
                                           int (*handler)(unsigned char *, void *)) {
    if (verb *one = find(file))
        one->yield();
    own().usinghandler(file, data, handler);
}

KVERN_ENTRY void cob_file_sort_giving_extfh(cob_file *file, const size_t count, ...) {
    va_list list;
    va_start(list, count);
    const std::vector<void *> pairs = gather<void>(count, list);
    va_end(list);
    if (verb *one = find(file))
        one->yield();
    passhandled(file, pairs);
}

KVERN_ENTRY void cob_table_sort_init(const size_t keys, const unsigned char *collating) {
    tableinit(keys, collating);
}

KVERN_ENTRY void cob_table_sort_init_key(cob_field *field, const int flag,
                                         const unsigned int offset) {
    tablekey(field, flag, offset);
}

KVERN_ENTRY void cob_table_sort(cob_field *table, const int count) {
    tablesort(table, count);
}

#define KVERN_TWIN(name)                                                                           \
    KVERN_ENTRY __attribute__((alias("cob_" #name))) decltype(cob_##name) kvern_##name
COBSORT_CALLS(KVERN_TWIN);
