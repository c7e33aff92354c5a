// A layout file gives names to fields, a line each:
//
//   # customers
//   region = 1,2
//   amount = 21,6,pd
//   city   = $3:20           (text by fields)
//
// A name stands wherever its field could: in conditions, keys, sums and pieces.
#pragma once

#include <map>
#include <string>

namespace command {

constexpr bool isnamestart(char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || c == '_';
}
constexpr bool isnamechar(char c) {
    return isnamestart(c) || (c >= '0' && c <= '9') || c == '-' || c == '.';
}
// The name that begins at a place; empty: none does.
std::string nameat(const std::string &text, size_t at);

class layout {
  public:
    layout() = default;
    explicit layout(const std::string &path);

    bool empty() const { return fields.empty(); }
    // The field as it would be typed, or null.
    const std::string *find(const std::string &name) const;
    // A key or sum, with its name replaced where it begins with one.
    std::string expand(const std::string &what, const std::string &text) const;
    // Throws what there is to say of a name that no field has.
    [[noreturn]] void failname(const std::string &what, const std::string &name) const;

  private:
    std::string file;
    std::map<std::string, std::string> fields;
};

// The whole of a small text file; throws its failure.
std::string readtext(const std::string &path);

} // namespace command
