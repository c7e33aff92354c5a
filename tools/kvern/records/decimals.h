// Numbers in lines of text.  The engine right-aligns them and compares byte by byte, so
// two numbers compare rightly only where what stands among their digits, a decimal point
// or the like, stands as far from the end in both:
//
//     999.50          999.50          12:05
//    1000.00  right     1000  wrong    9:40  right
//
// Here each value that a key, a sum or a condition takes as a number is held against
// the first one of its field, and what would compare wrong ends the command.
#pragma once

#include "kvern/syntax/condition.h"
#include "kvern/syntax/keysyntax.h"
#include "kvern/syntax/recordsyntax.h"

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace command {

// Where a value stands; line 0: elsewhere than in an input.
struct lineplace {
    const std::string &source;
    uint64_t line;
};

// Who takes what as a number: a field, columns of the line, or all of it.
struct numberuse {
    enum kindof : uint8_t { field, columns, line } kind;
    std::string name;
    uint32_t position = 0;
    uint32_t length = 0;       // cut to this, 0: not
    bool rebuilt = false;      // of the rebuilt line
    bool digitsonly = false;   // a sum, whose numbers are whole
    bool unpunctuated = false; // all but letters, digits and blanks was left out (-d)
};

// Of a condition on text: a field is compared with a number.
bool takesnumber(const KVRNSELE &test);

class numbercheck {
  public:
    // Keys and sums look at rebuilt lines, or at those that come in.
    numbercheck(const recordview &view, bool keysrebuilt)
        : usual(view.byfield ? numberuse::field : numberuse::columns), rebuilt(keysrebuilt) {}

    // Nobody takes a number: there is nothing to look at.
    bool idle() const { return shapes.empty(); }

    void addkey(const keyspec &key);
    void addsum(const sumspec &sum);
    void addline(uint8_t textoption);
    void addconditions(const conditiontable &conditions);
    // Of lines that are rebuilt, as pieces joined by this.
    void rebuild(const std::vector<rebuildpiece> &pieces, const std::string &separator);

    // Throws the failure of a value that would compare wrong.  The fields are those of
    // the line, as far as anybody names them.
    void look(std::string_view text, const std::vector<std::string_view> &fields,
              const lineplace &place);

    // What another one saw of the same fields, elsewhere, is seen by this one as well;
    // false: some of it would compare wrong.
    bool join(const numbercheck &other);

    // Brings the numbers of the conditions to the decimals of their fields, as known by
    // now; values to come have to go with them.  Throws where a number has more.
    void settle(conditiontable &conditions);

  private:
    // What is no digit between the digits of a number, or a point right ahead of them.
    struct mark {
        size_t distance; // from the last digit
        char byte;
        bool operator==(const mark &) const = default;
    };
    struct example {
        std::string text, place; // no place: none was seen
        bool seen() const { return !place.empty(); }
    };
    // Where numbers have a mark, zeros that the engine fills in ahead of it do not go
    // with a zero that stands there: .50, and an empty field, do not with 0.75.
    struct shape {
        numberuse use;
        std::vector<mark> marks; // of all values
        example first, filled, zero;
    };

    numberuse::kindof usual; // of all but whole lines
    bool rebuilt;
    std::vector<shape> shapes;
    std::vector<size_t> tests; // of each condition its shape; `notest`: it takes no number
    std::vector<rebuildpiece> parts;
    std::string joint, joined;
    std::vector<std::string_view> joinedfields;
    std::vector<mark> marks; // of the value at hand

    static constexpr size_t notest = SIZE_MAX;

    void join(std::string_view text, const std::vector<std::string_view> &fields);
    static std::string_view valueof(const numberuse &use, std::string_view text,
                                    const std::vector<std::string_view> &fields);
    void lookat(shape &field, std::string_view text, const lineplace &place);
    static bool goeswith(const shape &field, std::string_view text, size_t first);
    void readmarks(const shape &field, std::string_view text, size_t first, size_t last,
                   const lineplace &place);
    static bool zerosdiffer(const shape &field);
    static void checkzeros(shape &field, std::string_view text, bool filled, bool zero,
                           const lineplace &place);
    size_t shapeof(const numberuse &use);
    static std::string bring(shape &field, std::string_view number);

    [[noreturn]] static void fail(const shape &field, std::string_view text, const lineplace &place,
                                  const std::string &why, const std::string &advice);
    [[noreturn]] void failmarks(const shape &field, std::string_view text,
                                const lineplace &place) const;
};

} // namespace command
