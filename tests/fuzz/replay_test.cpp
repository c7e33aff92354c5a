// The corpus of a fuzz target as an ordinary test, for compilers without it.
// The program ends at a finding; the last name printed is the file that has it.
#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <iterator>
#include <string>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size);

TEST(fuzz, corpus_has_no_finding) {
    std::vector<std::filesystem::path> files;
    for (const auto &entry :
         std::filesystem::directory_iterator(KVERN_SOURCE_DIR "/tests/fuzz/" KVERN_CORPUS))
        files.push_back(entry.path());
    std::sort(files.begin(), files.end());
    EXPECT_GE(files.size(), 20U);
    for (const auto &file : files) {
        std::ifstream in(file, std::ios::binary);
        const std::string bytes{std::istreambuf_iterator<char>(in), {}};
        std::printf("%s\n", file.filename().string().c_str());
        std::fflush(stdout);
        EXPECT_EQ(
            LLVMFuzzerTestOneInput(reinterpret_cast<const uint8_t *>(bytes.data()), bytes.size()),
            0);
    }
}
