// A fresh folder for one test, removed with all that is in it at the end.
#pragma once

#include <cstdint>
#include <filesystem>
#include <string>

namespace kvern::test {

class tempfolder {
  public:
    tempfolder();
    ~tempfolder();
    tempfolder(const tempfolder &) = delete;
    tempfolder &operator=(const tempfolder &) = delete;

    [[nodiscard]] std::string path() const { return root.string(); }
    // The name of a file in the folder; the file need not be there.
    [[nodiscard]] std::string file(const std::string &name) const { return (root / name).string(); }
    // Files and folders in it.
    [[nodiscard]] size_t entries() const;

  private:
    std::filesystem::path root;
};

void writefile(const std::string &path, const std::string &bytes);
[[nodiscard]] std::string readfile(const std::string &path);

} // namespace kvern::test
