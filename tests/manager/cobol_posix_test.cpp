// Files of a COBOL program, sorted by the engine through the file manager, and read
// and checked by a second COBOL program.  tests/cobol holds the two.
#include "session/handmade.h"
#include "support/tempfolder.h"

#include <cstdlib>
#include <gtest/gtest.h>

namespace kvern::test {

namespace {

int run(const tempfolder &folder, const char *program) {
    const std::string command = "cd '" + folder.path() + "' && " + program;
    return std::system(command.c_str());
}

} // namespace

TEST(cobol, programs_read_what_the_engine_sorted) {
#ifndef KVERN_COBOL_WRITER
    GTEST_SKIP() << "no COBOL compiler";
#else
    const tempfolder folder;
    ASSERT_EQ(run(folder, KVERN_COBOL_WRITER), 0);
    ASSERT_EQ(setenv("KVERN_PRODUCT_DIRECTORY", KVERN_BINARY_DIR, 1), 0);
    const KVRNKEYE amount = {4, 5, KVRN_PACKED, KVRN_ASCENDING, 0, 0, nullptr};
    const KVRNKEYE zoned = {9, 5, KVRN_ZONED, KVRN_ASCENDING, 0, 0, nullptr};
    struct {
        const char *in, *out;
        uint8_t kind, form;
        uint32_t reclen;
        KVRNKEYE key;
    } const cases[] = {
        {"fixed.in", "fixed.out", KVRN_FILE_MANAGER, KVRN_FIXED, 20, amount},
        {"variable.in", "variable.out", KVRN_FILE_MANAGER, KVRN_VARIABLE, 60, amount},
        {"relative.in", "relative.out", KVRN_FILE_RELATIVE, KVRN_FIXED, 20, zoned},
    };
    for (const auto &c : cases) {
        const std::string in = folder.file(c.in), out = folder.file(c.out);
        handmade s;
        KVRNFTYP kinds = {1, {c.kind}};
        KVRNKEY keys = {1, {c.key}};
        s.prim.recform = c.form;
        s.prim.reclen = c.reclen;
        s.prim.cdmode = KVRN_CD_ZONE7; // how the programs sign zoned numbers
        s.infile(in);
        s.outfile(out);
        s.files.intypes = &kinds;
        s.files.outtype = c.kind;
        EXPECT_EQ(kvrnopen(s.version, &s.link, &s.prim, &s.sess, &keys, &s.files, nullptr), 0)
            << c.in << ": detail " << s.sess.detail;
        EXPECT_EQ(s.close(), 0);
    }
    unsetenv("KVERN_PRODUCT_DIRECTORY");
    EXPECT_EQ(run(folder, KVERN_COBOL_CHECKER), 0);
#endif
}

} // namespace kvern::test
