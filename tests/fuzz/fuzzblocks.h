// The caller's blocks of one fuzzed session.  Each lies in memory of exactly the
// size that it claims to have, so that the address sanitizer sees a read past its
// end; what the engine has no business with holds rubbish, pointers too.  A count
// beyond every storage is the one claim that is not kept: it has to be refused
// before an entry is read.
#pragma once

#include "fuzz/bytesource.h"
#include "kvern.h"

#include <vector>

namespace kvern::test {

// Pieces of memory of exact size that live as long as this.
class exactmemory {
  public:
    exactmemory() = default;
    ~exactmemory();
    exactmemory(const exactmemory &) = delete;
    exactmemory &operator=(const exactmemory &) = delete;

    [[nodiscard]] void *take(size_t bytes, uint8_t fill = 0xA5);
    [[nodiscard]] const char *text(const char *from, size_t length);

  private:
    std::vector<void *> pieces;
};

struct fuzzblocks {
    uint32_t version = 0;
    KVRNLINK link = {};
    KVRNPRIM *prim = nullptr;
    KVRNSESS *sess = nullptr;
    KVRNKEY *keys = nullptr;
    KVRNFILE *files = nullptr;
    KVRNOPT *opts = nullptr;

    uint32_t inputs = 0; // input files named, each one of inputnames
    [[nodiscard]] bool text() const;
    [[nodiscard]] unsigned level() const;
    [[nodiscard]] const char *delimiter() const;
};
inline constexpr const char *inputnames[] = {"da/in0", "db/in1", "dc/in2"};

[[nodiscard]] fuzzblocks makeblocks(bytesource &from, exactmemory &memory);

} // namespace kvern::test
