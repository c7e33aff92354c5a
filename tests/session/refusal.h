// What kvrnopen refuses, as rows: a change to a sound session, and the message with the
// detail and its argument.  Of two faults the one that is told.
#pragma once

#include "handmade.h"

#include <functional>

namespace kvern::test {

constexpr uint32_t toomany = 0xFFFFFFFF, L0 = KVRN_VERSION_L0, L2 = KVRN_VERSION_L2,
                   L2old = KVRN_VERSION_L2_OLDDLMT, L3 = KVRN_VERSION_L3, L4 = KVRN_VERSION_L4;

// "message:detail argument", the argument being what stands in brackets.
inline const std::string accepted = "accepted", silent = "0:0 ", badprim = "14:56 ",
                         badkey = "7:59 ", badsum = "8:60 ", badrcn = "9:64 ", badsel = "10:63 ",
                         noroom = "23:50 ", nosetup = "23:240 ", overlap = "16:61 ",
                         badfiles = "15:55 ", exclusive = "14:57 ", nolength = "31:222 ",
                         unsupported = "17:62 ", badformat = "29:204 ", samefile = "28:205 ";

// A sort of fixed records of 100 bytes through the record calls, to be changed.
struct session : handmade {
    session() { prim.reclen = 100; }

    void text(uint8_t mode, uint8_t delimiter = KVRN_DLMT_LF) { astext(delimiter, mode); }
    void form(uint32_t length, uint32_t memsize) {
        prim.reclen = length;
        prim.memsize = memsize;
    }
    void output(const char *name, uint8_t code = 0) {
        outfile(file(name));
        files.outtype = code;
    }
    void twofiles(uint8_t function, const char *out = "out") {
        prim.function = function;
        prim.mergecnt = 2;
        fromfiles({"", ""}); // in0 and in1
        output(out);
    }

    std::string opened() {
        const int result = open();
        EXPECT_EQ(sess.detail == 0, result == 0 || message().empty());
        if (result == 0)
            return accepted;
        const std::string line = message();
        unsigned number = 0;
        (void)sscanf(line.c_str(), "KVERN:%u:", &number);
        const size_t from = line.find('(') + 1; // a path is told by its last name
        const std::string argument = from == 0 ? "" : line.substr(from, line.find(')') - from);
        return std::to_string(number) + ":" + std::to_string(sess.detail) + " " +
               std::filesystem::path(argument).filename().string();
    }
};

// One row of a table, named by its own change.
struct change {
    const char *name;
    std::string expected;
    std::function<void(session &)> make;
};
#define ROW(expected, ...)                                                                         \
    {                                                                                              \
#__VA_ARGS__, expected, [=]([[maybe_unused]] session & r) { __VA_ARGS__; }                 \
    }
inline void run(const std::vector<change> &cases) {
    for (const change &c : cases) {
        session r;
        c.make(r);
        EXPECT_EQ(r.opened(), c.expected) << c.name;
    }
}

} // namespace kvern::test
