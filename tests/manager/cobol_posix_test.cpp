// Files of a COBOL program, sorted by the engine through the file manager, and read
// and checked by a second COBOL program.  tests/cobol holds the two.
#include "manager/managedsession.h"

#include <cstdlib>
#include <gtest/gtest.h>

namespace kvern::test {

TEST(cobol, programs_read_what_the_engine_sorted) {
#ifndef KVERN_COBOL_WRITER
    GTEST_SKIP() << "no COBOL compiler";
#else
    const tempfolder folder;
    const std::string inside = "cd '" + folder.path() + "' && ";
    ASSERT_EQ(std::system((inside + KVERN_COBOL_WRITER).c_str()), 0);
    const KVRNKEYE amount = {4, 5, KVRN_PACKED, KVRN_ASCENDING, 0, 0, nullptr};
    const KVRNKEYE zoned = {9, 5, KVRN_ZONED, KVRN_ASCENDING, 0, 0, nullptr};
    struct {
        std::string name;
        uint8_t kind, form;
        uint32_t reclen;
        KVRNKEYE key;
    } const cases[] = {
        {"fixed", KVRN_FILE_MANAGER, KVRN_FIXED, 20, amount},
        {"variable", KVRN_FILE_MANAGER, KVRN_VARIABLE, 60, amount},
        {"relative", KVRN_FILE_RELATIVE, KVRN_FIXED, 20, zoned},
    };
    for (const auto &c : cases) {
        managedsession s(KVRN_SORT, c.form, c.reclen);
        KVRNKEY keys = {1, {c.key}};
        s.prim.cdmode = KVRN_CD_ZONE7; // how the programs sign zoned numbers
        s.input(folder.file(c.name + ".in"), c.kind);
        s.output(folder.file(c.name + ".out"), c.kind);
        EXPECT_EQ(s.open(&keys), 0) << c.name << ": detail " << s.sess.detail;
        EXPECT_EQ(s.close(), 0);
    }
    EXPECT_EQ(std::system((inside + KVERN_COBOL_CHECKER).c_str()), 0);
#endif
}

} // namespace kvern::test
