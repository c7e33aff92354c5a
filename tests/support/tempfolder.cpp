#include "support/tempfolder.h"

#include <fstream>
#include <iterator>
#include <random>
#include <stdexcept>

namespace kvern::test {

namespace fs = std::filesystem;

tempfolder::tempfolder() {
    std::random_device number;
    do {
        root = fs::temp_directory_path() / ("kvern-test-" + std::to_string(number()));
    } while (!fs::create_directory(root));
}

tempfolder::~tempfolder() {
    std::error_code ignored;
    fs::remove_all(root, ignored);
}

size_t tempfolder::entries() const {
    return static_cast<size_t>(
        std::distance(fs::recursive_directory_iterator(root), fs::recursive_directory_iterator()));
}

void writefile(const std::string &path, const std::string &bytes) {
    std::ofstream out(path, std::ios::binary);
    if (!out.write(bytes.data(), static_cast<std::streamsize>(bytes.size())).flush())
        throw std::runtime_error("cannot write " + path);
}

std::string readfile(const std::string &path) {
    std::ifstream in(path, std::ios::binary);
    if (!in)
        throw std::runtime_error("cannot read " + path);
    return {std::istreambuf_iterator<char>(in), {}};
}

} // namespace kvern::test
