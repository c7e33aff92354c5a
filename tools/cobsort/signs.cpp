#include "cobsort/signs.h"

#include "cobsort/cobol.h"

namespace cobsort {
namespace {

constexpr signtable separate() {
    signtable table{};
    table.of['+'] = {0, signkind::positive};
    table.of['-'] = {0, signkind::negative};
    return table;
}

// Whatever is not D the run-time takes for positive.  Without sign it looks at no code;
// but for scaled fields some versions do, so that D stays with the run-time.
constexpr signtable nibbles(signkind negative) {
    signtable table{};
    for (unsigned byte = 0; byte < 256; ++byte)
        table.of[byte] = {static_cast<uint8_t>(byte & 0x0F),
                          (byte & 0x0F) == 0x0D ? negative : signkind::positive};
    return table;
}

// `first` is the code of 0 and `others` that of 1, up to 9.
constexpr void adddigits(signtable &table, uint8_t first, uint8_t others, signkind kind) {
    table.of[first] = {static_cast<uint8_t>(first ^ '0'), kind};
    for (uint8_t i = 0; i < 9; ++i)
        table.of[others + i] = {static_cast<uint8_t>((others + i) ^ ('1' + i)), kind};
}

constexpr signtable ascii() {
    signtable table{};
    adddigits(table, '0', '1', signkind::positive);
    adddigits(table, 'p', 'q', signkind::negative);
    return table;
}

constexpr signtable ebcdic(bool digits) {
    signtable table{};
    adddigits(table, '{', 'A', signkind::positive);
    adddigits(table, '}', 'J', signkind::negative);
    if (digits)
        adddigits(table, '0', '1', signkind::positive);
    return table;
}

constexpr signtable asciisigns = ascii();
constexpr signtable ebcdicsigns = ebcdic(false);
constexpr signtable ebcdicordigits = ebcdic(true);

} // namespace

constexpr signtable separatesigns = separate();
constexpr signtable packedsigns = nibbles(signkind::negative);
constexpr signtable packedunsigned = nibbles(signkind::none);

int askedorder(const cob_field_attr &attr, size_t size, unsigned char *first,
               unsigned char *second) {
    cob_field left = {size, first, &attr};
    cob_field right = {size, second, &attr};
    return cob_numeric_cmp(&left, &right);
}

// J is -1 in EBCDIC and nothing less than 0 in ASCII.  A digit without code is rewritten by
// version 3.1 when it is compared, so that it is none of our values there.
const signtable &overpunchedsigns() {
    const cob_field_attr digit = {COB_TYPE_NUMERIC_DISPLAY, 1, 0, COB_FLAG_HAVE_SIGN, nullptr};
    unsigned char first = 'J', zero = '0';
    if (askedorder(digit, 1, &first, &zero) >= 0)
        return asciisigns;
    first = '5';
    askedorder(digit, 1, &first, &zero);
    return first == '5' ? ebcdicordigits : ebcdicsigns;
}

} // namespace cobsort
