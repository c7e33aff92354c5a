// Bytes that are read into: to clear them first would touch pages that a short input leaves
// alone.
#pragma once

#include <memory>
#include <vector>

namespace command {

struct unclearing : std::allocator<char> {
    template <typename>
    struct rebind {
        using other = unclearing;
    };
    void construct(char *) {}
};
using rawbytes = std::vector<char, unclearing>;

} // namespace command
