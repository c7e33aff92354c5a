// The run-time of COBOL programs as this library meets it: its structs, its version and its
// own routines of the names that calls.cpp defines.
//
// Of its structs only members are used that lie alike in all versions that runtimeversion() knows.
#pragma once

#include "cobsort/cobol.h"

#include <vector>

namespace cobsort {

// The next definition of each name behind ours, which is the run-time's own.
struct ownroutines {
    decltype(&cob_open) open;
    decltype(&cob_file_sort_init) init;
    decltype(&cob_file_sort_init_key) initkey;
    decltype(&cob_file_sort_using) sortusing;
    decltype(&cob_file_sort_giving) giving;
    decltype(&cob_file_sort_close) close;
    decltype(&cob_file_release) release;
    decltype(&cob_file_return) giveback;
    decltype(&cob_table_sort_init) tableinit;
    decltype(&cob_table_sort_init_key) tablekey;
    decltype(&cob_table_sort) tablesort;
    // Of files that a handler of the program's own reads and writes; null in some versions.
    void (*usinghandler)(cob_file *, cob_file *, int (*)(unsigned char *, void *));
    void (*givinghandler)(cob_file *, size_t, ...); // pairs of a file and its handler
};
const ownroutines &own();

// The run-time's `giving` and `givinghandler` take any number of arguments; more files than
// these pass on end the program with a message.
constexpr size_t mostpassed = 64;
void passgiving(cob_file *sort, const std::vector<cob_file *> &files);
void passhandled(cob_file *sort, const std::vector<void *> &pairs);

// Versions differ in what they do about files that fail.
enum class version { unknown, v31, v32 };
version runtimeversion();

} // namespace cobsort
