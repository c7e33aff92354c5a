// Keys of records at places of an input: of one thread, for looks here and there.
#pragma once

#include "kvern/engine/session.h"
#include "kvern/plan/jobplan.h"
#include "kvern/records/inputs.h"
#include "kvern/records/textscan.h"

#include <string>
#include <string_view>
#include <vector>

namespace command {

class keyfinder {
  public:
    explicit keyfinder(const jobplan &planned);

    // The first record that begins there or behind it; the end of the input: none does.
    uint64_t recordat(inputsource &source, uint64_t place);
    // The first record that is kept and begins from `from`, where one begins, up to `to`.
    // It lies up to `next`, and its key is key().
    bool findkept(inputsource &source, uint64_t from, uint64_t to);
    uint64_t place() const { return found; }
    uint64_t next() const { return behind; }
    std::string_view key() const { return probe.lastkey(); }
    // The bytes between are wanted several times.
    void hold(inputsource &source, uint64_t from, uint64_t to);

  private:
    const jobplan &plan;
    session probe;

    textscanner tests;
    const inputsource *held = nullptr;
    uint64_t base = 0;
    std::vector<char> room;
    size_t filled = 0;
    std::string lastline;
    uint64_t found = 0, behind = 0;

    std::string_view look(inputsource &source, uint64_t from, size_t least);
    std::string_view record(inputsource &source, uint64_t at);
    std::string_view line(inputsource &source, uint64_t at);
};

} // namespace command
