// Fields of a text line by their number.
//
// The line's end is found first, in one search up to the block's limit; every
// search for a field stays in front of it.  So neither a separator that begins
// with the delimiter's first byte nor a lead byte right before the delimiter can
// lead into the next line.
//
//   "  a b\r\n" by white space   row 0: offset 0, length 3   row 1: offset 4, length 1
//   "a,,b\n"    by ","           row 0: 0, 1   row 1: 2, 0   row 2: 3, 1
#include "key/text/textfields.h"

#include "platform/platform.h"
#include "sort/record/rawrecord.h"

#include <cstring>

namespace kvern {
namespace {

const uint8_t *findbyte(const uint8_t *from, const uint8_t *end, uint8_t byte) {
    return static_cast<const uint8_t *>(memchr(from, byte, static_cast<size_t>(end - from)));
}

// A text of `length` bytes in [from, end), or null.
const uint8_t *findtext(const uint8_t *from, const uint8_t *end, const uint8_t *text,
                        uint32_t length) {
    if (length == 0)
        return from; // an empty separator stands everywhere: every field is empty
    if (end - from < static_cast<ptrdiff_t>(length))
        return nullptr;
    const uint8_t *const last = end - (length - 1); // behind the last place it fits
    for (; from < last; from++) {
        from = findbyte(from, last, *text);
        if (from == nullptr || memcmp(from, text, length) == 0)
            return from;
    }
    return nullptr;
}

uint32_t distance(const uint8_t *from, const uint8_t *to) {
    return static_cast<uint32_t>(to - from);
}

// ---- separators -----------------------------------------------------------
// A finder gives the next place in [from, end) where a separator stands, or
// null, and the bytes to step over there.

bool iswhite(uint8_t byte) {
    return byte == ' ' || byte == '\t';
}

// White space in front of a field belongs to it.
struct whitespace {
    explicit whitespace(const qha5ctx *) {}
    static constexpr uint32_t width() { return 1; }
    const uint8_t *next(const uint8_t *from, const uint8_t *end) const {
        while (from < end && iswhite(*from))
            from++;
        while (from < end && !iswhite(*from))
            from++;
        return from < end ? from : nullptr;
    }
};

struct separator {
    const uint8_t *text;
    uint32_t length;

    explicit separator(const qha5ctx *ctx) : text(ctx->sepstr), length(ctx->seplen) {}
    uint32_t width() const { return length; }
    const uint8_t *next(const uint8_t *from, const uint8_t *end) const {
        return findtext(from, end, text, length);
    }
};

// Characters of two bytes are stepped over whole.  A separator of one byte never
// begins with a lead byte; a longer one may be a double-byte character.
struct dbcsseparator : separator {
    using separator::separator;

    bool stands(const uint8_t *at, const uint8_t *end) const {
        return end - at >= static_cast<ptrdiff_t>(length) && memcmp(at, text, length) == 0;
    }
    const uint8_t *next(const uint8_t *from, const uint8_t *end) const {
        while (from < end) {
            const bool lead = platform::leadbyte(*from);
            if ((!lead || length > 1) && stands(from, end))
                return from;
            from += lead && end - from > 1 ? 2 : 1;
        }
        return nullptr;
    }
};

// ---- rows -----------------------------------------------------------------

void setrow(fieldrow &row, const uint8_t *line, const uint8_t *start, uint32_t length) {
    row = {distance(line, start), length};
}
void setrow(fieldaddr &row, const uint8_t *, const uint8_t *start, uint32_t length) {
    row.start = start; // the user's word stays
    row.length = length;
}

// Rows 0 to maxfield; false when the line has fewer fields.
template <typename Finder, typename Row>
bool locate(const Finder &finder, const uint8_t *line, const uint8_t *end, Row *table,
            uint32_t maxfield) {
    const uint8_t *start = line;
    for (uint32_t i = 0;; i++) {
        const uint8_t *stop = finder.next(start, end);
        setrow(table[i], line, start, distance(start, stop != nullptr ? stop : end));
        if (stop == nullptr || i == maxfield)
            return i == maxfield;
        start = stop + finder.width();
    }
}

// Only an empty separator stands at the end of a line as well, and in a line in a
// block the delimiter comes before it: an empty line is one field there.
template <typename Finder>
int32_t scanline(const qha5ctx *ctx, const uint8_t *line, fieldrow *table, uint32_t maxfield) {
    const int32_t length = linelength(ctx, line, ctx->scanlimit);
    if (length < 0)
        return -1;
    if (length == 0) {
        table[0] = {0, 0};
        if (maxfield != 0)
            return -1;
    } else if (!locate(Finder(ctx), line, line + length, table, maxfield)) {
        return -1;
    }
    return length + static_cast<int32_t>(ctx->linedlmtlen);
}

template <typename Finder>
int32_t scantext(const qha5ctx *ctx, const uint8_t *line, fieldaddr *table, uint32_t maxfield,
                 uint32_t length) {
    return locate(Finder(ctx), line, line + length, table, maxfield) ? 0 : -1;
}

template <typename Finder>
void scanby(qha5ctx *ctx) {
    ctx->fieldscan = scanline<Finder>;
    ctx->fieldscanlen = scantext<Finder>;
}

// A byte that may be the second one of a double-byte character, or a half-width
// kana of one byte.
bool ambiguous(uint8_t byte) {
    return (byte >= 64 && byte <= 126) || (byte >= 161 && byte <= 223);
}

} // namespace

void wirescanners(qha5ctx *ctx) {
    constexpr uint8_t awareness = 3;
    if (!ctx->sepgiven)
        scanby<whitespace>(ctx);
    else if (ctx->dbcs == awareness && ambiguous(*ctx->sepstr))
        scanby<dbcsseparator>(ctx);
    else
        scanby<separator>(ctx);
}

} // namespace kvern
