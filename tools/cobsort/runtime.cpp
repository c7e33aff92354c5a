#include "cobsort/runtime.h"

#include "kvern.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <dlfcn.h>
#include <sched.h>
#include <utility>

namespace cobsort {

namespace {

constexpr uint64_t most = KVRN_MEM_MAX;   // of one session
constexpr uint64_t worthwhile = 1u << 20; // below so much of each, fewer sessions
constexpr uint64_t leastrecords = 40;     // that the storage of a session has room for
constexpr unsigned mostcores = 8;

template <typename Routine>
void bind(Routine &routine, const char *name) {
    routine = reinterpret_cast<Routine>(dlsym(RTLD_NEXT, name));
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

unsigned allowedcores() {
    cpu_set_t mine;
    return sched_getaffinity(0, sizeof mine, &mine) == 0 ? static_cast<unsigned>(CPU_COUNT(&mine))
                                                         : 1;
}

// Bytes, or with K, M, G; what is no size is told once, and not heeded.
uint64_t givenmemory(uint64_t otherwise) {
    const char *text = std::getenv("KVERN_SORT_MEMORY");
    if (text == nullptr || *text == '\0')
        return otherwise;
    char *end = nullptr;
    errno = 0;
    const unsigned long long number = std::strtoull(text, &end, 10);
    const char *unit = *end == '\0' ? nullptr : std::strchr("KMG", std::toupper(*end));
    const unsigned shift = unit == nullptr ? 0 : static_cast<unsigned>(unit - "KMG" + 1) * 10;
    if (*text < '0' || *text > '9' || errno != 0 ||
        (*end != '\0' && (unit == nullptr || end[1] != '\0')) || number > UINT64_MAX >> shift) {
        static bool told = false;
        if (!told)
            std::fprintf(stderr, "kvern: KVERN_SORT_MEMORY: \"%s\" is no size\n", text);
        told = true;
        return otherwise;
    }
    return static_cast<uint64_t>(number) << shift;
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

std::string temporaryfolder() {
    char name[2 * COB_LARGE_BUFF] = "";
    cob_temp_name(name, nullptr);
    const char *slash = std::strrchr(name, '/');
    return slash == nullptr ? "." : std::string(name, static_cast<size_t>(slash - name));
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

settings settingsfor(size_t recordbytes) {
    const uint64_t cores = std::clamp(allowedcores(), 1u, mostcores);
    const uint64_t least = std::clamp<uint64_t>(leastrecords * recordbytes, KVRN_MEM_MIN, most);
    const uint64_t memory = givenmemory(cores * most);
    const uint64_t sessions = std::clamp<uint64_t>(memory / std::max(least, worthwhile), 1, cores);
    return {static_cast<unsigned>(sessions),
            static_cast<uint32_t>(std::clamp(memory / sessions, least, most)), temporaryfolder()};
}

bool explained() {
    const char *text = std::getenv("KVERN_SORT_EXPLAIN");
    return text != nullptr && std::strcmp(text, "1") == 0;
}

void tellsort(const char *what, const std::string &whynot, uint64_t in, uint64_t out,
              std::chrono::steady_clock::time_point begun) {
    const std::chrono::duration<double> took = std::chrono::steady_clock::now() - begun;
    std::fprintf(stderr, "kvern: %s: sorted by %s%s; %llu records in, %llu out, %.3f s\n", what,
                 whynot.empty() ? "Kvern" : "the run-time, since ", whynot.c_str(),
                 static_cast<unsigned long long>(in), static_cast<unsigned long long>(out),
                 took.count());
}

} // namespace cobsort
