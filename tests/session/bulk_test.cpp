// Records by the hundred thousand, file to file, against the model: the sizes at
// which strings, index blocks and spills come in numbers.
#include "model/model.h"
#include "support/fieldvalues.h"
#include "support/sessionrunner.h"

#include <gtest/gtest.h>

namespace kvern::test {

namespace {

// Fields of few and of many values in front, bytes behind them.
bytes recordof(const sessionspec &spec, randomness &r) {
    if (spec.form == 'r')
        return std::to_string(r.below(1000000) - 500000.0) + ";" +
               textof(script::words, 20, r.below(5000), r) + ";" + std::to_string(r.bits());
    return fieldof(KVRN_UBEBIN, 4, spec.cdmode, r.below(40), r) +
           fieldof(KVRN_PACKED, 8, spec.cdmode, r.below(2000) - 1000LL, r) +
           fieldof(KVRN_ZONED, 10, spec.cdmode, r.below(1000000) - 500000LL, r) +
           textof(script::words, 20, r.below(5000), r) + bytes(58, 'x');
}

void sortmany(const char *name, sessionspec spec, uint32_t count) {
    randomness r(count);
    spec.memsize = KVRN_MEM_MAX;
    spec.input = spec.output = exchange::plainfile;
    spec.inputs.resize(2);
    for (uint32_t i = 0; i < count; ++i) {
        bytes record = recordof(spec, r);
        record.resize(spec.form == 'r' ? record.size() : spec.reclen);
        spec.inputs[i * 3ULL / count == 0 ? 0 : 1].push_back(record);
    }
    const tempfolder folder;
    const runresult got = run(spec, folder);
    ASSERT_EQ(got.failed, "") << name;
    EXPECT_EQ(difference(spec, outcomeof(spec), got.records), "") << name;
}

} // namespace

TEST(bulk, hundreds_of_thousands) {
    sessionspec fixed;
    fixed.cdmode = KVRN_CD_EBCDIC;
    fixed.reclen = 100;
    fixed.keys = {{0, 4, KVRN_UBEBIN}, {4, 8, KVRN_PACKED, KVRN_DESCENDING}, {22, 20, KVRN_CHARX}};
    sortmany("fixed", fixed, 120000);
    fixed.keys = {{22, 20, KVRN_CHAR}, {12, 10, KVRN_ZONED}};
    fixed.keeporder = true;
    sortmany("input order kept", fixed, 120000);

    sessionspec lines;
    lines.form = 'r';
    lines.fieldmode = KVRN_FIELDS;
    lines.linedlmt = KVRN_DLMT_LF;
    lines.separator = ";";
    lines.reclen = 100;
    lines.keys = {{0, 15, KVRN_CHAR, KVRN_DESCENDING, KVRN_TXT_NUMERIC}, {1, 24, KVRN_CHAR}};
    sortmany("lines", lines, 120000);
}

} // namespace kvern::test
