#include "kvern/records/keptstream.h"

#include <algorithm>
#include <cstring>

namespace command {

void keptstream::append(const char *data, size_t length) {
    while (length != 0 && held < room) {
        const size_t behind = held % piecebytes;
        if (behind == 0)
            pieces.push_back(std::make_unique_for_overwrite<char[]>(piecebytes));
        const size_t count = std::min({length, room - held, piecebytes - behind});
        std::memcpy(pieces.back().get() + behind, data, count);
        held += count;
        data += count;
        length -= count;
    }
    if (length == 0)
        return;
    if (!file)
        file.emplace(dirs);
    file->append(data, length);
    spilled += length;
}

size_t keptstream::readat(uint64_t place, void *to, size_t count) const {
    if (place >= held)
        return file ? file->readat(place - held, to, count) : 0;
    const auto at = static_cast<size_t>(place);
    const size_t behind = at % piecebytes;
    count = std::min({count, held - at, piecebytes - behind});
    std::memcpy(to, pieces[at / piecebytes].get() + behind, count);
    return count;
}

} // namespace command
