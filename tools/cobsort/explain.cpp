#include "cobsort/explain.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace cobsort {

bool explained() {
    const char *text = std::getenv("KVERN_SORT_EXPLAIN");
    return text != nullptr && std::strcmp(text, "1") == 0;
}

void tellsort(const char *what, const char *who, const std::string &whynot, uint64_t in,
              uint64_t out, std::chrono::steady_clock::time_point begun) {
    const std::chrono::duration<double> took = std::chrono::steady_clock::now() - begun;
    std::fprintf(stderr, "kvern: %s: sorted by %s%s%s; %llu records in, %llu out, %.3f s\n", what,
                 whynot.empty() ? "Kvern" : who, whynot.empty() ? "" : ", since ", whynot.c_str(),
                 static_cast<unsigned long long>(in), static_cast<unsigned long long>(out),
                 took.count());
}

} // namespace cobsort
