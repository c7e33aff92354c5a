// The words and fields of a condition, read from its text.
#pragma once

#include "kvern/syntax/fieldtypes.h"
#include "kvern/syntax/layout.h"

#include <algorithm>

namespace command {

// Types that compare with each other.
enum class kinship : uint8_t { none, text, decimal, separate, unsignedbinary, signedbinary, mask };
kinship kinof(uint8_t type);

struct conditionfield {
    uint32_t position = 0, length = 0;
    uint8_t type = KVRN_CHAR;
    uint32_t mask = 0;
    size_t at = 0; // in the expression
};

constexpr uint32_t widestoperand = 256; // bytes that the engine compares

class fieldreader {
  public:
    fieldreader(const std::string &expression, const std::string &from, const recordview &records,
                const layout &named)
        : text(expression), view(records), names(named), source(from) {}

    // All of the text, which is one field.
    conditionfield whole();

  protected:
    const std::string &text;
    const recordview &view;
    const layout &names;
    std::string source; // what the user gave the text with
    size_t at = 0;

    [[noreturn]] void fail(const std::string &why) const { failat(at, why); }
    [[noreturn]] void failat(size_t place, const std::string &why) const;

    void skipblanks();
    bool atend();
    bool take(char c);
    void need(char c);
    bool takeword(const std::string &word);
    std::string takerun(int (*belongs)(int)); // of characters
    uint32_t takenumber(const char *what);

    conditionfield needfield();
    bool takefield(conditionfield &out);

  private:
    bool takename(conditionfield &out);
    void takenumbered(conditionfield &out);
    void takeplaced(conditionfield &out, bool bracket);
    void settype(conditionfield &out, const std::string &name);
};

} // namespace command
