// Files of a COBOL program, sorted by the engine through the file manager, and read
// and checked by the program, which lies in tests/cobol.
#include "manager/managedsession.h"

#include <cstdlib>
#include <gtest/gtest.h>

namespace kvern::test {

TEST(cobol, programs_read_what_the_engine_sorted) {
#ifndef KVERN_COBOL_LEDGER
    GTEST_SKIP() << "no COBOL compiler";
#else
    const tempfolder folder;
    const std::string ledger = "cd '" + folder.path() + "' && " + KVERN_COBOL_LEDGER;
    ASSERT_EQ(std::system(ledger.c_str()), 0);
    const KVRNKEYE amount = {4, 5, KVRN_PACKED, KVRN_ASCENDING, 0, 0, nullptr};
    const KVRNKEYE zoned = {9, 5, KVRN_ZONED, KVRN_DESCENDING, 0, 0, nullptr};
    struct {
        std::string name;
        uint8_t kind, form;
        uint32_t reclen;
        KVRNKEYE key;
    } const cases[] = {
        {"variable", KVRN_FILE_MANAGER, KVRN_VARIABLE, 60, amount},
        {"relative", KVRN_FILE_RELATIVE, KVRN_FIXED, 20, zoned},
    };
    for (const auto &c : cases) {
        managedsession s(KVRN_SORT, c.form, c.reclen);
        KVRNKEY keys = {1, {c.key}};
        s.prim.cdmode = KVRN_CD_ZONE7; // how the programs sign zoned numbers
        s.input(folder.file(c.name), c.kind);
        s.output(folder.file("sorted"), c.kind);
        EXPECT_EQ(s.open(&keys), 0) << c.name << ": detail " << s.sess.detail;
        EXPECT_EQ(s.close(), 0);
        std::filesystem::rename(folder.file("sorted"), folder.file(c.name));
    }
    EXPECT_EQ(std::system(ledger.c_str()), 0);
#endif
}

} // namespace kvern::test
