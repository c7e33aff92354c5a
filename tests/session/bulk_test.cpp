// Accounts by the hundred thousand, file to file, checked by decoding what
// comes out.
#include "support/accounts.h"
#include "support/sessionrunner.h"

#include <functional>
#include <gtest/gtest.h>

namespace kvern::test {

namespace {

using order = std::function<int(const account &, const account &)>; // above 0: wrong way round

int compare(int64_t a, int64_t b) {
    return a < b ? -1 : a > b ? 1 : 0;
}

// Branch ascending, day descending, balance descending.
int bybranch(const account &a, const account &b) {
    const int branch = compare(a.branch, b.branch), day = compare(b.opened, a.opened);
    return branch != 0 ? branch : day != 0 ? day : compare(b.balance, a.balance);
}

// Name by ASCII codes though the data is EBCDIC, limit ascending, number by
// input order.
int byname(const account &a, const account &b) {
    const int name = a.name.compare(b.name), limit = compare(a.limit, b.limit);
    return name != 0 ? name : limit != 0 ? limit : compare(a.number, b.number);
}

// Balance as a number, descending; equal ones by name.
int bybalance(const account &a, const account &b) {
    const int balance = compare(b.balance, a.balance);
    return balance != 0 ? balance : a.name.compare(b.name);
}

struct bulkcase {
    const char *name;
    sessionspec spec;
    order inorder;
};

std::vector<bulkcase> cases() {
    sessionspec fixed;
    fixed.cdmode = KVRN_CD_EBCDIC;
    fixed.reclen = accountlength;
    fixed.memsize = KVRN_MEM_MAX;
    fixed.input = fixed.output = exchange::plainfile;
    fixed.keys = {{58, 4, KVRN_UBEBIN},
                  {50, 8, KVRN_CHAR, KVRN_DESCENDING},
                  {42, 8, KVRN_PACKED, KVRN_DESCENDING}};
    sessionspec names = fixed;
    names.keys = {{0, 24, KVRN_CHAR}, {32, 10, KVRN_ZONED}};
    names.keeporder = true;
    sessionspec lines = fixed;
    lines.form = 'r';
    lines.cdmode = 0;
    lines.fieldmode = KVRN_FIELDS;
    lines.linedlmt = KVRN_DLMT_LF;
    lines.separator = ";";
    lines.reclen = accountlinelength;
    lines.output = exchange::descriptorfile;
    lines.keys = {{2, 15, KVRN_CHAR, KVRN_DESCENDING, KVRN_TXT_NUMERIC}, {1, 24, KVRN_CHAR}};
    return {{"by branch", fixed, bybranch},
            {"by name", names, byname},
            {"lines by balance", lines, bybalance}};
}

void sortaccounts(const bulkcase &c, uint32_t count) {
    const bool text = c.spec.form == 'r';
    sessionspec spec = c.spec;
    checksum made, came;
    accountgenerator accounts(count);
    spec.inputs.resize(2);
    for (uint32_t i = 0; i < count; ++i) {
        std::string record;
        (text ? appendline : appendrecord)(accounts.next(), &record);
        made.add(record);
        spec.inputs[i * 3ULL / count == 0 ? 0 : 1].push_back(std::move(record));
    }
    tempfolder folder;
    const runresult got = run(spec, folder);
    ASSERT_EQ(got.failed, "") << c.name;
    account last;
    for (const bytes &record : got.records) {
        came.add(record);
        account a = text ? readline(record) : readrecord(record);
        if (came.records > 1)
            ASSERT_LE(c.inorder(last, a), 0) << c.name << ", record " << came.records;
        last = std::move(a);
    }
    EXPECT_EQ(made, came) << c.name;
}

} // namespace

TEST(bulk, accounts_read_back_as_written) {
    accountgenerator accounts(1);
    for (int i = 0; i < 1000; ++i) {
        const account a = accounts.next();
        std::string record, line;
        appendrecord(a, &record);
        appendline(a, &line);
        ASSERT_EQ(record.size(), accountlength);
        ASSERT_LT(line.size(), accountlinelength);
        ASSERT_EQ(readrecord(record), a);
        account b = a;
        b.branch = 0; // lines do not tell it
        ASSERT_EQ(readline(line), b);
    }
}

TEST(bulk, in_core) {
    for (const bulkcase &c : cases())
        sortaccounts(c, c.spec.form == 'r' ? 25000 : 40000);
}

TEST(bulk, hundreds_of_thousands) {
    for (const bulkcase &c : cases())
        sortaccounts(c, 200000);
}

} // namespace kvern::test
