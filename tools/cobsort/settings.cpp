#include "cobsort/settings.h"

#include "cobsort/cobol.h"
#include "kvern.h"

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <sched.h>
#include <unistd.h>

namespace cobsort {

namespace {

constexpr uint64_t most = KVRN_MEM_MAX;   // of one session
constexpr uint64_t worthwhile = 1u << 20; // below so much of each, fewer sessions
constexpr uint64_t leastrecords = 40;     // that the storage of a session has room for
constexpr unsigned mostcores = 8;

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

std::string temporaryfolder() {
    char name[2 * COB_LARGE_BUFF] = "";
    cob_temp_name(name, nullptr);
    const char *slash = std::strrchr(name, '/');
    return slash == nullptr ? "." : std::string(name, static_cast<size_t>(slash - name));
}

} // namespace

settings settingsfor(size_t recordbytes) {
    const uint64_t cores = std::clamp(allowedcores(), 1u, mostcores);
    const uint64_t least = std::clamp<uint64_t>(leastrecords * recordbytes, KVRN_MEM_MIN, most);
    const uint64_t memory = givenmemory(cores * most);
    const uint64_t sessions = std::clamp<uint64_t>(memory / std::max(least, worthwhile), 1, cores);
    return {static_cast<unsigned>(sessions),
            static_cast<uint32_t>(std::clamp(memory / sessions, least, most)), temporaryfolder()};
}

bool cancreate() {
    const int made = open(temporaryfolder().c_str(), O_TMPFILE | O_WRONLY | O_CLOEXEC, 0600);
    if (made < 0) // some file systems have none without a name
        return errno == EOPNOTSUPP || errno == EISDIR;
    close(made);
    return true;
}

} // namespace cobsort
