// Times whole processes in turn and prints one line a pair.  Runs take turns, so that
// a drift of the machine's speed meets both; the ratio is taken pair by pair and its
// median printed.
#pragma once

#include <filesystem>
#include <functional>
#include <string>
#include <vector>

namespace bench {

using command = std::vector<std::string>;

struct setting {
    std::string kvern; // the command
    std::filesystem::path folder;
    int runs;
};

struct measure {
    double seconds = 0;
    long peak_kb = 0;
};

// Runs the command with LC_ALL=C; ends the program where it fails.
measure run(const command &words);

[[noreturn]] void give_up(const std::string &why);

class table {
  public:
    explicit table(const setting &use);

    // One line: ours and a peer in turn.  `check` looks at our output, off the clock;
    // with `bytes` the rate of ours is told too.
    void compare(const std::string &name, const command &ours, const command &peer,
                 const std::function<void()> &check, uint64_t bytes = 0);

  private:
    const setting &what;
};

} // namespace bench
