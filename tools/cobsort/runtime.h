// The run-time of COBOL programs as this library meets it: its structs, its own routines of
// the names that calls.cpp defines, and what it has as settings.
//
// Of its structs only members are used that lie alike in all versions that `known` accepts.
#pragma once

#include "cobsort/cobol.h"

#include <chrono>
#include <cstdint>
#include <string>
#include <vector>

namespace cobsort {

// The next definition of each name behind ours, which is the run-time's own.
struct ownroutines {
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

struct settings {
    unsigned sessions;  // that sort side by side
    uint32_t memory;    // bytes of each
    std::string folder; // of temporary files, as the run-time would take it
};
// For session records of so many bytes.
settings settingsfor(size_t recordbytes);

bool explained(); // KVERN_SORT_EXPLAIN
// One line on standard error; `whynot` tells why the run-time did it, empty: Kvern.
void tellsort(const char *what, const std::string &whynot, uint64_t in, uint64_t out,
              std::chrono::steady_clock::time_point begun);
constexpr const char *uncleankey = "a key holds what is no value of its type";

} // namespace cobsort
