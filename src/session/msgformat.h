// The formatter of messages.  It knows %s, %d and %u, and looks at the tag of an
// argument before it shows one: an argument that is absent or of the other kind
// shows as nothing (%s) or 0 (%d, %u), since some reports leave the arguments of an
// earlier one in place.
#pragma once

#include "session/session_fields.h"

namespace kvern {

template <class sink>
void putdecimal(sink &out, uint32_t value, bool is_signed) {
    char digits[10];
    uint32_t count = 0;
    const bool negative = is_signed && value > INT32_MAX;
    if (negative)
        value = 0 - value;
    do
        digits[count++] = static_cast<char>('0' + value % 10);
    while (value /= 10);
    if (negative)
        out.put('-');
    while (count)
        out.put(digits[--count]);
}

// Gives the text to out.put(char), byte by byte.
template <class sink>
void formatmessage(sink &out, const char *format, const msgarg *args, uint32_t count) {
    const msgarg none = {};
    for (uint32_t index = 0; *format; ++format) {
        if (*format != '%') {
            out.put(*format);
            continue;
        }
        const msgarg &arg = index < count ? args[index] : none;
        ++index;
        ++format;
        if (*format == 's') {
            const bool given = arg.kind == msgarg::text && arg.string;
            for (const char *text = given ? arg.string : ""; *text; ++text)
                out.put(*text);
        } else {
            putdecimal(out, arg.kind == msgarg::number ? arg.value : 0, *format == 'd');
        }
    }
}

} // namespace kvern
