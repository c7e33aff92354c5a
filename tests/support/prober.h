// A caller who probes records between the calls of a session, and the model's judgement of
// what he is told.
#pragma once

#include "model/model.h"
#include "support/randomness.h"
#include "support/sessionrunner.h"

namespace kvern::test {

class prober : public mischief {
  public:
    explicit prober(const sessionspec &of) : spec(of), r(of.records()) {}
    void bend(callerblocks &) override {}
    bool before(KVRNSESS &sess, const KVRNLINK &link) override;
    // What was wrong; empty: nothing.
    [[nodiscard]] std::string fault() const;

  private:
    struct probed {
        modelrecord record;
        bytes key;
    };
    const sessionspec &spec;
    randomness r;
    std::vector<probed> keys{};
    std::string wrong{};
    unsigned length = 0; // of every key
    uint32_t calls = 0;
    bool ended = false;

    void look(KVRNSESS &sess, bytes record);
};

} // namespace kvern::test
