// Records by the hundred thousand, file to file, against the model: the sizes at
// which strings, index blocks and spills come in numbers.
#include "support/fieldvalues.h"
#include "support/modelcheck.h"

#include <gtest/gtest.h>

namespace kvern::test {
namespace {

// Fields of few and of many values in front, bytes behind them.
bytes recordof(const sessionspec &spec, randomness &r) {
    if (spec.form == 'r')
        return std::to_string(r.below(1000000) - 500000.0) + ";" +
               textof(script::words, 20, r.below(5000), r) + ";" + std::to_string(r.bits());
    bytes record = fieldof(KVRN_UBEBIN, 4, spec.cdmode, r.below(40), r) +
                   fieldof(KVRN_PACKED, 8, spec.cdmode, r.below(2000) - 1000LL, r) +
                   fieldof(KVRN_ZONED, 10, spec.cdmode, r.below(1000000) - 500000LL, r) +
                   textof(script::words, 20, r.below(5000), r);
    record.resize(spec.reclen, 'x');
    return record;
}

TEST(bulk, hundreds_of_thousands) {
    sessionspec fixed;
    fixed.cdmode = KVRN_CD_EBCDIC;
    fixed.memsize = KVRN_MEM_MAX;
    fixed.input = fixed.output = exchange::plainfile;
    fixed.reclen = 100;
    fixed.keys = {{0, 4, KVRN_UBEBIN}, {4, 8, KVRN_PACKED, KVRN_DESCENDING}, {22, 20, KVRN_CHARX}};
    sessionspec ordered = fixed;
    ordered.keys = {{22, 20, KVRN_CHAR}, {12, 10, KVRN_ZONED}};
    ordered.keeporder = true;
    sessionspec lines = fixed;
    lines.cdmode = 0;
    lines.form = 'r';
    lines.fieldmode = KVRN_FIELDS;
    lines.linedlmt = KVRN_DLMT_LF;
    lines.separator = ";";
    lines.keys = {{0, 15, KVRN_CHAR, KVRN_DESCENDING, KVRN_TXT_NUMERIC}, {1, 24, KVRN_CHAR}};
    constexpr uint32_t count = 120000;
    randomness r(count);
    for (sessionspec *spec : {&fixed, &ordered, &lines}) {
        spec->inputs.resize(2);
        for (uint32_t i = 0; i < count; ++i)
            spec->inputs[i < count / 3 ? 0 : 1].push_back(recordof(*spec, r));
        EXPECT_EQ(faultof(*spec), "") << spec->form << spec->keeporder;
    }
}

} // namespace
} // namespace kvern::test
