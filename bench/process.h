// Runs commands and times them whole.
#pragma once

#include <string>

namespace bench {

struct measure {
    bool done = false; // exit code 0
    double seconds = 0;
    long peak_kb = 0; // of the largest process
};

// Runs the line as a shell would; one without pipes and redirections runs without a
// shell, whose start would weigh in what takes a millisecond.
measure run(const std::string &line);

} // namespace bench
