// Records with keys of every kind that a plan takes: as coded they order as the run-time
// itself orders their fields, clean values are taken and stay as they are, and what the plan
// calls unclean is the run-time's.
#include "cobsort/keys.h"

#include <algorithm>
#include <cstring>
#include <gtest/gtest.h>
#include <random>

namespace {

constexpr unsigned issigned = COB_FLAG_HAVE_SIGN;
constexpr unsigned separate = issigned | COB_FLAG_SIGN_SEPARATE;
constexpr unsigned leading = issigned | COB_FLAG_SIGN_LEADING;

struct kind {
    cob_field_attr attr;
    size_t size;
};

kind made(unsigned type, unsigned digits, int scale, unsigned flags, unsigned size) {
    return {{static_cast<unsigned short>(type), static_cast<unsigned short>(digits),
             static_cast<short>(scale), static_cast<unsigned short>(flags), nullptr},
            size};
}

// A packed scale of -1 leaves digits that the run-time does not look at: these may be unclean.
std::vector<kind> allkinds() {
    std::vector<kind> all;
    for (unsigned digits = 1; digits <= 38; digits += digits < 20 ? 1 : 6)
        for (const int scale : {0, 2, 40, -2, -1}) {
            const unsigned told = scale < 0 ? digits - static_cast<unsigned>(scale) : digits;
            if (told > 38)
                continue;
            for (const unsigned flags : {0U, issigned, separate, leading, separate | leading})
                all.push_back(made(COB_TYPE_NUMERIC_DISPLAY, told, scale, flags,
                                   digits + (flags & COB_FLAG_SIGN_SEPARATE ? 1 : 0)));
            for (const unsigned flags : {0U, issigned, COB_FLAG_NO_SIGN_NIBBLE}) {
                if (digits == 1 && scale == -1 && flags != COB_FLAG_NO_SIGN_NIBBLE)
                    continue; // the run-time reads beyond the field
                all.push_back(made(COB_TYPE_NUMERIC_PACKED, told, scale, flags,
                                   (digits + (flags & COB_FLAG_NO_SIGN_NIBBLE ? 1 : 2)) / 2));
            }
        }
    for (unsigned size = 1; size <= 8; ++size)
        for (const unsigned flags :
             {0U, issigned, COB_FLAG_BINARY_SWAP, COB_FLAG_BINARY_SWAP | issigned})
            for (const unsigned type : {COB_TYPE_NUMERIC_BINARY, COB_TYPE_NUMERIC_COMP5})
                for (const unsigned digits : {18U, 20U})
                    all.push_back(made(type, digits, digits == 20 ? 2 : 0, flags, size));
    for (const unsigned type : {COB_TYPE_GROUP, COB_TYPE_ALPHANUMERIC, COB_TYPE_NUMERIC_EDITED,
                                COB_TYPE_ALPHANUMERIC_EDITED, COB_TYPE_NATIONAL})
        all.push_back(made(type, 0, 0, 0, 5));
    return all;
}

class keys : public testing::TestWithParam<bool> { // the module's signs: EBCDIC
  protected:
    void SetUp() override {
        cob_init(0, nullptr);
        cob_module_enter(&module, &global, 0);
        module->ebcdic_sign = GetParam();
        for (unsigned i = 0; i < 256; ++i)
            weights[i] = static_cast<unsigned char>(255 - i / 2);
    }
    void TearDown() override { cob_module_leave(module); }

    unsigned below(size_t limit) { return static_cast<unsigned>(random() % limit); }

    void putzoned(const kind &one, const std::string &digits, bool negative,
                  unsigned char *at) const {
        const unsigned flags = one.attr.flags;
        const bool isleading = flags & COB_FLAG_SIGN_LEADING;
        std::string text = digits;
        char &last = isleading ? text.front() : text.back();
        if (flags & COB_FLAG_SIGN_SEPARATE)
            text.insert(isleading ? 0 : text.size(), 1, negative ? '-' : '+');
        else if (flags & issigned)
            last = GetParam() ? (negative ? "}JKLMNOPQR" : "{ABCDEFGHI")[last - '0']
                              : static_cast<char>(last + (negative ? 0x40 : 0));
        std::memcpy(at, text.data(), text.size());
    }

    void putpacked(const kind &one, std::string halves, bool negative, unsigned char *at) {
        if (!(one.attr.flags & COB_FLAG_NO_SIGN_NIBBLE))
            halves +=
                one.attr.flags & issigned ? (negative ? 'D' : "CFA"[below(3)]) : "FC"[below(2)];
        halves.insert(0, halves.size() % 2, '0');
        for (size_t i = 0; i < one.size; ++i)
            at[i] = static_cast<unsigned char>(std::stoi(halves.substr(2 * i, 2), nullptr, 16));
    }

    // A value that its type can hold; every other one a border.
    void putvalue(const kind &one, unsigned char *at) {
        const unsigned type = one.attr.type;
        const bool iszoned = type == COB_TYPE_NUMERIC_DISPLAY,
                   ispacked = type == COB_TYPE_NUMERIC_PACKED;
        const unsigned border = below(6);
        if (!iszoned && !ispacked) {
            std::generate_n(at, one.size, [&] { return below(256); });
            if (border < 3)
                std::memset(at + below(2), border == 2 ? 0xFF : 0, one.size - 1);
            return;
        }
        const size_t places = iszoned ? one.size - (one.attr.flags & COB_FLAG_SIGN_SEPARATE ? 1 : 0)
                                      : one.attr.digits + std::min<int>(one.attr.scale, 0);
        std::string digits(places, border == 0 ? '9' : '0');
        if (border > 2)
            std::generate_n(digits.begin(), places, [&] { return "0123456789"[below(10)]; });
        if (border == 2)
            digits[below(places)] = '1';
        if (iszoned)
            putzoned(one, digits, below(2) == 0, at);
        else
            putpacked(one, digits, below(2) == 0, at);
    }

    int textorder(const unsigned char *a, const unsigned char *b, size_t size,
                  const unsigned char *table) {
        for (size_t i = 0; i < size; ++i)
            if (const int order = table == nullptr ? a[i] - b[i] : table[a[i]] - table[b[i]])
                return order;
        return 0;
    }

    void check(const kind &first);

    cob_module *module = nullptr;
    cob_global *global = nullptr;
    const std::vector<kind> kinds = allkinds();
    unsigned char weights[256];
    std::mt19937 random{17};
};

// A key of the kind and behind it one of any, in records full of other bytes.
void keys::check(const kind &first) {
    const kind &second = kinds[below(kinds.size())];
    const unsigned place = below(4), gap = below(2);
    cob_field fields[] = {{first.size, nullptr, &first.attr}, {second.size, nullptr, &second.attr}};
    cob_file_key table[2] = {};
    table[0].field = &fields[0], table[0].offset = place;
    table[1].field = &fields[1], table[1].offset = place + static_cast<unsigned>(first.size) + gap;
    for (cob_file_key &key : table)
        key.flag = below(2) ? COB_ASCENDING : COB_DESCENDING;
    const size_t bytes = table[1].offset + second.size;
    const unsigned char *collating = below(2) ? weights : nullptr;
    std::string whynot;
    const auto plan = cobsort::keyplan::make(table, 2, collating, bytes, whynot);
    ASSERT_TRUE(plan) << whynot;

    using record = std::vector<unsigned char>;
    const auto coded = [&](const record &bare, uint64_t sequence, record &room) {
        room.assign(plan->ahead(), 0);
        const bool clean = plan->encode(bare.data(), sequence, room.data());
        room.insert(room.end(), bare.begin(), bare.end());
        return clean;
    };
    for (unsigned round = 0; round < 40; ++round) {
        record a(bytes), b, codeda, codedb;
        std::generate(a.begin(), a.end(), [&] { return below(256); });
        for (size_t i = 0; i < 2; ++i)
            putvalue(i ? second : first, &a[table[i].offset]);
        b = a;
        for (size_t i = 0; i < 2; ++i)
            if (below(3) != 0)
                putvalue(i ? second : first, &b[table[i].offset]);
        const bool garbage = round % 4 == 0;
        if (garbage)
            b[below(bytes)] =
                static_cast<unsigned char>(below(3) ? below(256) : " 05Aq\xFF"[below(6)]);
        const bool clean = coded(a, round, codeda) && coded(b, round, codedb);
        const bool oddscale = first.attr.scale == -1 || second.attr.scale == -1;
        ASSERT_TRUE(clean || garbage || oddscale);
        if (!clean)
            continue;
        record seena = a, seenb = b;
        int expected = 0;
        for (size_t i = 0; i < 2 && expected == 0; ++i) {
            cob_field left = fields[i], right = fields[i];
            left.data = &seena[table[i].offset], right.data = &seenb[table[i].offset];
            expected = left.attr->type & COB_TYPE_NUMERIC
                           ? cob_numeric_cmp(&left, &right)
                           : textorder(left.data, right.data, left.size, collating);
            expected = table[i].flag == COB_ASCENDING ? expected : -expected;
        }
        const int order = plan->compare(codeda.data(), codedb.data());
        ASSERT_EQ((order > 0) - (order < 0), (expected > 0) - (expected < 0));
        ASSERT_TRUE(seena == a && seenb == b) << "the run-time rewrote what is called clean";
        if (expected == 0) { // the sequence number speaks
            coded(b, round + 1, codedb);
            ASSERT_LT(plan->compare(codeda.data(), codedb.data()), 0);
        }
    }
}

TEST_P(keys, order_as_the_runtime_does) {
    for (const kind &one : kinds) {
        check(one);
        if (HasFatalFailure())
            FAIL() << "type " << one.attr.type << " digits " << one.attr.digits << " scale "
                   << one.attr.scale << " flags " << one.attr.flags << " size " << one.size;
    }
}

INSTANTIATE_TEST_SUITE_P(signs, keys, testing::Bool());

// Neighbours become one piece; what the plan does not take it names.
TEST(keyplan, pieces_and_refusals) {
    kind text = made(COB_TYPE_ALPHANUMERIC, 0, 0, 0, 4);
    const kind number = made(COB_TYPE_NUMERIC_PACKED, 5, 0, issigned, 3);
    const struct {
        kind third;
        unsigned offset;
        size_t recordbytes;
        const char *whynot;
    } cases[] = {
        {number, 8, 20, ""},
        {made(COB_TYPE_NUMERIC_FLOAT, 7, 0, issigned, 4), 8, 20, "key 3 is COMP-1"},
        {made(COB_TYPE_NUMERIC_BINARY, 38, 0, issigned, 16), 0, 20,
         "key 3 is a number of type 17, 38 digits in 16 bytes"},
        {number, 18, 20, "key 3 is not within the record"},
        {number, 8, 32684, ""}, // 12 bytes ahead and 20 of keys
        {number, 8, 32685, "keys and record are too long"},
    };
    for (const auto &one : cases) {
        cob_field fields[] = {{text.size, nullptr, &text.attr},
                              {one.third.size, nullptr, &one.third.attr}};
        cob_file_key table[3] = {};
        for (unsigned i = 0; i < 3; ++i) {
            table[i].field = &fields[i / 2];
            table[i].offset = i < 2 ? 4 * i : one.offset;
            table[i].flag = i < 2 ? COB_ASCENDING : COB_DESCENDING;
        }
        std::string whynot;
        const auto plan = cobsort::keyplan::make(table, 3, nullptr, one.recordbytes, whynot);
        EXPECT_EQ(whynot, one.whynot);
        ASSERT_EQ(plan.has_value(), whynot.empty());
        if (!plan)
            continue;
        const cobsort::piece expected[] = {{12, 8, false}, {0, 4, true}, {4, 8, false}};
        ASSERT_EQ(plan->pieces().size(), 3U);
        for (size_t i = 0; i < 3; ++i) {
            const cobsort::piece &part = plan->pieces()[i];
            EXPECT_TRUE(part.position == expected[i].position &&
                        part.length == expected[i].length &&
                        part.descending == expected[i].descending)
                << i;
        }
        EXPECT_TRUE(plan->ahead() == 12 && plan->stillfits());
        fields[0].size = 5;
        EXPECT_FALSE(plan->stillfits());
    }
}

} // namespace
