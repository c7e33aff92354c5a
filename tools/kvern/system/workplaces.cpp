#include "kvern/system/workplaces.h"

#include "kvern/system/streams.h"

#include <algorithm>
#include <cstdlib>
#include <filesystem>

namespace command {

namespace {

constexpr size_t mostfiles = 16;      // the engine has room for some more records of them
constexpr uint32_t storageshare = 64; // of the working storage that the list may take
constexpr const char *variables[] = {"KVERN_TMPDIR", "TEMP", "TMP"};

// As the engine finds it.  What it would read otherwise, or not at all, is left to it.
std::vector<std::string> defaultplace() {
    for (const char *name : variables)
        if (const char *value = std::getenv(name); value != nullptr && *value) {
            const std::string place = value;
            const bool one =
                place.find_first_of(";\n") == std::string::npos && place.find_first_of(" \t") != 0;
            if (one && inspect(place).sort == filesort::directory)
                return {place};
            return {};
        }
    return {};
}

// In the engine's list no entry but the first may begin with these.
bool joinable(const std::string &place) {
    return place.find_first_of("\\: \t") != 0;
}

} // namespace

std::vector<std::string> workplaces(const std::vector<std::string> &given, uint32_t memory,
                                    bool narrow) {
    if (!narrow)
        return given;
    std::vector<std::string> once = given.empty() ? defaultplace() : given, all;
    for (std::string &place : once)
        if (!joinable(place) && place.rfind("\\\\", 0) != 0) // names of a network stay
            place = std::filesystem::absolute(place).string();
    size_t bytes = 0;
    for (const std::string &place : once)
        bytes += place.size() + 1;
    if (once.empty() || !std::all_of(once.begin(), once.end(), joinable))
        return given;
    do // in turn, so that a full one is asked again after the others
        all.insert(all.end(), once.begin(), once.end());
    while (all.size() + once.size() <= mostfiles &&
           bytes * (all.size() / once.size() + 1) <= memory / storageshare);
    return all;
}

} // namespace command
