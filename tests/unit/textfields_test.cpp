#include "key/textfields.h"

#include "unit/enginecontext.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>

namespace kvern {
namespace {

using namespace std::string_literals;

constexpr uint32_t guard = 0xDEADBEEF;

struct scancase {
    const char *what;
    std::string line;      // with what follows it in the block
    const char *separator; // null: white space
    uint32_t maxfield;
    std::string rows; // "offset+length ..." of the rows 0 to maxfield
    int32_t result;   // bytes of the line with its delimiter
    const char *delimiter = "\n";
    uint8_t dbcs = 0;
};

void prepare(enginecontext &ctx, const scancase &c) {
    ctx.maketext(KVRN_FIELDS, c.delimiter);
    ctx.sepgiven = c.separator != nullptr;
    const char *separator = c.separator != nullptr ? c.separator : " ";
    ctx.sepstr = reinterpret_cast<const uint8_t *>(separator);
    ctx.seplen = static_cast<uint32_t>(strlen(separator));
    ctx.dbcs = c.dbcs;
    wirescanners(&ctx);
}

void addrow(std::string &text, ptrdiff_t offset, uint32_t length) {
    text += (text.empty() ? "" : " ") + std::to_string(offset) + "+" + std::to_string(length);
}

// The line is scanned as the last of its block, with bait behind the limit that a
// scanner which goes past it would take; then once more taken off its block.
void checkscan(const scancase &c) {
    SCOPED_TRACE(c.what);
    enginecontext ctx;
    prepare(ctx, c);
    const std::string separator = c.separator != nullptr ? c.separator : " ";
    const std::string delimiter = c.delimiter;
    for (const std::string &bait : {""s, separator, delimiter, "x" + delimiter}) {
        const std::string block = c.line + bait;
        const std::vector<uint8_t> bytes(block.begin(), block.end());
        ctx.scanlimit = bytes.data() + c.line.size();
        std::vector<fieldrow> rows(c.maxfield + 2, fieldrow{guard, guard});
        EXPECT_EQ(ctx.fieldscan(&ctx, bytes.data(), rows.data(), c.maxfield), c.result);
        EXPECT_EQ(rows.back().offset, guard);
        std::string found;
        for (uint32_t i = 0; c.result >= 0 && i <= c.maxfield; i++)
            addrow(found, static_cast<ptrdiff_t>(rows[i].offset), rows[i].length);
        EXPECT_EQ(found, c.rows);
    }
    const std::vector<uint8_t> whole(c.line.begin(), c.line.end());
    const int32_t length = textlength(&ctx, whole.data(), whole.data() + whole.size());
    if (length <= 0)
        return;
    const std::vector<uint8_t> text(whole.begin(), whole.begin() + length);
    std::vector<fieldaddr> rows(c.maxfield + 2, fieldaddr{nullptr, guard, guard});
    EXPECT_EQ(
        ctx.fieldscanlen(&ctx, text.data(), rows.data(), c.maxfield, static_cast<uint32_t>(length)),
        c.result < 0 ? -1 : 0);
    EXPECT_EQ(rows.back().length, guard);
    std::string found;
    for (uint32_t i = 0; c.result >= 0 && i <= c.maxfield; i++) {
        addrow(found, rows[i].start - text.data(), rows[i].length);
        EXPECT_EQ(rows[i].userword, guard); // its user's, not the scanner's
    }
    EXPECT_EQ(found, c.rows);
}

TEST(TextFields, Lines) {
    const scancase cases[] = {
        {"blanks in front belong to the field", "  a\tb\r\n", nullptr, 1, "0+3 4+1", 7, "\r\n"},
        {"blanks at the end leave an empty field", "a \r\n", nullptr, 1, "0+1 2+0", 4, "\r\n"},
        {"a field too few", "a b\n", nullptr, 2, "", -1},
        {"an empty line has one field", "\n", nullptr, 0, "0+0", 1},
        {"separators do not merge", "a,,\n", ",", 2, "0+1 2+0 3+0", 4},
        {"half a separator at the end", "a::b:\n", "::", 1, "0+1 3+2", 6},
        {"line shorter than the separator", ":\n", "::", 0, "0+1", 2},
        {"separator ends in the delimiter's first byte", "a;\r\nb;\rc\r\n", ";\r", 0, "0+2", 4,
         "\r\n"},
        {"the same takes no field from the next line", "a;\r\nb;\rc\r\n", ";\r", 1, "", -1, "\r\n"},
        {"an empty separator makes empty fields", "ab\n", "", 2, "0+0 0+0 0+0", 3},
        {"zero byte inside a line", "a\0,b\nc\n"s, ",", 1, "0+2 3+1", 5},
        {"zero byte ends a line without delimiter", "a,b\0c"s, ",", 1, "0+1 2+1", 4},
        {"no end at all", "a,b", ",", 0, "", -1},
        {"half a delimiter", "a,b\r", ",", 0, "", -1, "\r\n"},
    };
    for (const scancase &c : cases)
        checkscan(c);
}

// By ']' (0x5D), which may be a second byte.
TEST(TextFields, DoubleByteText) {
    const scancase cases[] = {
        {"second byte like the separator", "\x81]a]b\n", "]", 1, "0+3 4+1", 6, "\n", 3},
        {"plain bytes where nothing is aware", "\x81]a]b\n", "]", 1, "0+1 2+1", 6, "\n", 0},
        {"lead byte at the end takes no field", "\x81\n]b\n", "]", 1, "", -1, "\n", 3},
        {"separator of two bytes in a character", "\x81]-a]-b\n", "]-", 1, "0+4 6+1", 8, "\n", 3},
    };
    if (!platform::leadbyte(0x81))
        GTEST_SKIP() << "the system's code page has no double-byte characters";
    for (const scancase &c : cases)
        checkscan(c);
}

// Only a separator that may be a second byte is searched by characters.
TEST(TextFields, ScannersOfASession) {
    const struct {
        const char *separator;
        uint8_t dbcs;
        decltype(qha5ctx::fieldscan) expected;
    } cases[] = {{nullptr, 3, fields_ws},  {"@", 0, fields_sep},     {"?", 3, fields_sep},
                 {"@", 3, fields_dbcs},    {"~", 3, fields_dbcs},    {"\x7F", 3, fields_sep},
                 {"\xA1", 3, fields_dbcs}, {"\xDF", 3, fields_dbcs}, {"\xA0", 3, fields_sep},
                 {"\xE0", 3, fields_sep},  {",@", 3, fields_sep}};
    for (const auto &c : cases) {
        enginecontext ctx;
        prepare(ctx, {"", "", c.separator, 0, "", 0, "\n", c.dbcs});
        EXPECT_EQ(ctx.fieldscan, c.expected) << (c.separator ? c.separator : "white space");
    }
}

} // namespace
} // namespace kvern
