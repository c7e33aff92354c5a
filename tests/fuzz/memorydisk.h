// The platform layer in memory as the place of a session's files.
#pragma once

#include "fuzz/memory_platform.h"
#include "support/sessionrunner.h"

namespace kvern::test {

class memorydisk : public sessiondisk {
  public:
    memorydisk(const memoryplan &plan, std::vector<std::string> workfolders)
        : places(std::move(workfolders)) {
        startplatform(plan);
    }
    std::string file(const std::string &name) const override { return "dc/" + name; }
    std::vector<std::string> workplaces() const override { return places; }
    void write(const std::string &path, const bytes &data) const override {
        makefile(path.c_str()).assign(data.begin(), data.end());
    }
    bytes read(const std::string &path) const override {
        const std::vector<uint8_t> *data = filenamed(path.c_str());
        return data == nullptr ? bytes() : bytes(data->begin(), data->end());
    }
    bool sound() const override { return !held().lostblock; }

  private:
    std::vector<std::string> places;
};

} // namespace kvern::test
