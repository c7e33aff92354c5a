// The engine's detail codes in the command's words.
#pragma once

#include "kvern/system/failure.h"

namespace command {

// Which side of the session a detail speaks of, as far as the code tells.
enum class side : uint8_t { none, input, output };

struct explanation {
    std::string what;
    std::string advice;
    ending code;
    uint32_t message; // number in the engine's catalogue, 0: none or unknown
    side where;
};

// The code of the system behind it, 0 for none, decides where temporary files failed.
explanation explain(uint32_t detail, uint64_t syscode = 0);

} // namespace command
