// How the command ends: a failure is thrown as one value by whoever finds it, and told
// once, in main.
#pragma once

#include <cstdint>
#include <string>

namespace command {

enum class ending : int {
    done = 0,
    notinorder = 1,
    usage = 2,      // wrong command line or description
    data = 3,       // the data do not fit the description
    sumstopped = 4, // finished, but summing stopped
    file = 5,       // a file cannot be opened, read or written
    room = 6,       // temporary space, output device or memory
    internal = 70,
    interrupted = 130,
};

struct failure {
    ending code;
    std::string what;     // with the argument that the user typed
    std::string advice;   // may be empty
    uint32_t message = 0; // the engine's numbers, 0: none
    uint32_t detail = 0;
};

// The session was asked to stop; nothing more is to be said than that.
struct stopped {};

[[noreturn]] inline void refuse(const std::string &what, const std::string &advice) {
    throw failure{ending::usage, what, advice};
}

} // namespace command
