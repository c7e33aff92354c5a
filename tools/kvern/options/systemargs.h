// The words of the command line in the characters that file calls take, and the files
// that a pattern among them stands for.
#pragma once

#include <string>
#include <vector>

namespace command {

// Where the system keeps the words in wider characters, they are taken from there; throws
// where one cannot be said in the narrow ones.
class systemwords {
  public:
    systemwords(int argc, const char *const *argv);
    int count() const { return static_cast<int>(pointers.size()); }
    const char *const *words() const { return pointers.data(); }

  private:
    std::vector<std::string> texts;
    std::vector<const char *> pointers;
};

// Where the shell leaves that to the programs: each word with * or ? in its last part gives
// way to the files of such names, in their order, or stays where there are none.
void expandpatterns(std::vector<std::string> &paths);

} // namespace command
