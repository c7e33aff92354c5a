#include "kvern/system/machine.h"

#include "kvern/system/streams.h"

#include <algorithm>
#include <charconv>
#include <string_view>
#include <thread>

#if defined(_WIN32)
#include <windows.h>
#else
#include <sched.h>
#include <sys/resource.h>
#include <unistd.h>
#endif

namespace command {

#if defined(_WIN32)

machinefacts inspectmachine(const std::string &) {
    machinefacts facts;
    DWORD_PTR mine = 0, all = 0;
    if (GetProcessAffinityMask(GetCurrentProcess(), &mine, &all)) {
        facts.cores = 0;
        for (; mine != 0; mine &= mine - 1)
            ++facts.cores;
    }
    facts.cores = std::max(facts.cores, 1u);
    MEMORYSTATUSEX state{};
    state.dwLength = sizeof state;
    if (GlobalMemoryStatusEx(&state)) {
        facts.memory = state.ullTotalPhys;
        facts.addresses = state.ullTotalVirtual;
    }
    return facts;
}

#else

namespace {

// Of a file of the system's own, which are short; empty where there is none.
std::string contentsof(const std::string &path) {
    const int file = openinput(path);
    if (file < 0)
        return "";
    std::string text(size_t{16} << 10, '\0');
    const int64_t got = readsome(file, text.data(), text.size());
    closeinput(file);
    text.resize(static_cast<size_t>(std::max<int64_t>(got, 0)));
    return text;
}

// The text ahead of the mark, which goes with it.
std::string_view cut(std::string_view &text, char mark) {
    const std::string_view ahead = text.substr(0, text.find(mark));
    text.remove_prefix(std::min(ahead.size() + 1, text.size()));
    return ahead;
}

// A word of a file, a number; what is none, as "max", is no bound.
uint64_t boundof(const std::string &path, size_t word = 0) {
    const std::string text = contentsof(path);
    std::string_view rest = text, found;
    for (size_t i = 0; i <= word; ++i)
        found = cut(rest, ' ');
    uint64_t number = 0;
    const auto read = std::from_chars(found.data(), found.data() + found.size(), number);
    return read.ec == std::errc() ? number : UINT64_MAX;
}

// A directory of control groups and those above it, each of which bounds.
template <typename Each>
void upwards(const std::string &mount, std::string group, Each each) {
    for (;;) {
        each(mount + group + "/");
        const size_t last = group.rfind('/');
        if (last == std::string::npos)
            return;
        group.erase(last);
    }
}

unsigned coresof(uint64_t quota, uint64_t period) {
    if (quota == UINT64_MAX || period == UINT64_MAX || period == 0)
        return UINT32_MAX;
    return static_cast<unsigned>(
        std::clamp<uint64_t>((quota + period - 1) / period, 1, UINT32_MAX));
}

bool holds(const std::string &list, const std::string &name) {
    return ("," + list + ",").find("," + name + ",") != std::string::npos;
}

// The bounds of the groups that the process is in, of the second kind (which has no list of
// controllers) and of the first.
void heedgroups(const std::string &root, machinefacts &facts) {
    const std::string mount = root + "/sys/fs/cgroup";
    const std::string groups = contentsof(root + "/proc/self/cgroup");
    for (std::string_view rest = groups; !rest.empty();) {
        std::string_view line = cut(rest, '\n');
        cut(line, ':');
        const std::string kinds(cut(line, ':')), group(line);
        std::string own = mount; // directory, of the first kind
        own.append("/").append(kinds);
        if (kinds.empty())
            upwards(mount, group, [&](const std::string &at) {
                facts.cores = std::min(
                    facts.cores, coresof(boundof(at + "cpu.max"), boundof(at + "cpu.max", 1)));
                facts.memory = std::min(facts.memory, boundof(at + "memory.max"));
            });
        if (holds(kinds, "cpu"))
            upwards(own, group, [&](const std::string &at) {
                facts.cores = std::min(facts.cores, coresof(boundof(at + "cpu.cfs_quota_us"),
                                                            boundof(at + "cpu.cfs_period_us")));
            });
        if (holds(kinds, "memory"))
            upwards(own, group, [&](const std::string &at) {
                facts.memory = std::min(facts.memory, boundof(at + "memory.limit_in_bytes"));
            });
    }
}

unsigned allowedcores() {
#if defined(__linux__)
    cpu_set_t mine;
    if (sched_getaffinity(0, sizeof mine, &mine) == 0)
        return static_cast<unsigned>(std::max(CPU_COUNT(&mine), 1));
#endif
    return std::max(std::thread::hardware_concurrency(), 1u);
}

} // namespace

machinefacts inspectmachine(const std::string &root) {
    machinefacts facts;
    facts.cores = allowedcores();
    const long pages = sysconf(_SC_PHYS_PAGES), bytes = sysconf(_SC_PAGESIZE);
    if (pages > 0 && bytes > 0)
        facts.memory = static_cast<uint64_t>(pages) * static_cast<uint64_t>(bytes);
    struct rlimit limit;
    if (getrlimit(RLIMIT_AS, &limit) == 0 && limit.rlim_cur != RLIM_INFINITY)
        facts.addresses = limit.rlim_cur;
    heedgroups(root, facts);
    return facts;
}

#endif

} // namespace command
