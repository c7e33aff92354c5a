#include "cobsort/rows.h"

#include <cerrno>
#include <cstring>
#include <unistd.h>

namespace cobsort {

bool convert(const keyplan &order, const shape &form, const unsigned char *records, size_t count,
             uint64_t sequence, std::vector<unsigned char> &out) {
    const size_t ahead = order.ahead(), whole = ahead + form.length;
    size_t at = out.size();
    out.resize(at + count * whole);
    for (size_t i = 0; i < count; ++i, at += whole, records += form.step) {
        unsigned char *record = out.data() + at + ahead;
        std::memcpy(record, records, form.taken);
        std::memset(record + form.taken, ' ', form.blanks);
        const size_t made = form.taken + form.blanks;
        std::memcpy(record + made, form.area + made, form.length - made);
        if (!order.encode(record, sequence + i, out.data() + at))
            return false;
    }
    return true;
}

bool readrows(const filerows &rows, uint64_t skipped, size_t count,
              std::vector<unsigned char> &out) {
    out.resize(count * rows.form.step);
    uint64_t place = rows.from + skipped * rows.form.step;
    for (size_t done = 0; done < out.size();) {
        const ssize_t got =
            pread(rows.descriptor, out.data() + done, out.size() - done, static_cast<off_t>(place));
        if (got < 0 && errno == EINTR)
            continue;
        if (got <= 0)
            return false;
        done += static_cast<size_t>(got);
        place += static_cast<uint64_t>(got);
    }
    return true;
}

} // namespace cobsort
