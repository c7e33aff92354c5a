// The filter language of --where and --where-file, compiled to the engine's table of conditions:
//
//   expr   = term { "or" term }           term = factor { "and" factor }
//   factor = "not" factor | "(" expr ")" | test
//   test   = field op value | field ["not"] "in" "(" literal {"," literal} ")"
//          | field "between" literal "and" literal
//   field  = NAME | "[" POS "," LEN ["," TYPE] "]" | POS "," LEN ["," TYPE] | "$" F [":" WIDTH]
//   op     = "==" "=" "!=" "<>" "<" "<=" ">" ">="     value = field | literal
//   literal = "text" | 'text' | x"C1C2" | number
#pragma once

#include "kvern/syntax/fieldtypes.h"
#include "kvern/syntax/layout.h"

#include <deque>
#include <string>
#include <vector>

namespace command {

struct conditiontable {
    std::vector<KVRNSELE> entries;    // point into the literals
    std::deque<std::string> literals; // whose places stay
    uint64_t reach = 0;               // last byte that a condition looks at, from 1
    uint32_t lastfield = 0;           // by field: the highest number, from 0
};

struct conditiontext {
    std::string text;
    std::string source; // the option, or the file
};
// The text of a file, in which lines that begin with # are comments.
conditiontext readcondition(const std::string &path);

// Throws the failure of an expression that is none.
conditiontable parsecondition(const conditiontext &what, const recordview &view,
                              const layout &names);

} // namespace command
