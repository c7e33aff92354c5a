// The records of a described session: fields that suit its keys, sums, pieces
// and conditions most of the time.
#pragma once

#include "support/fieldvalues.h"

namespace kvern::test {

constexpr uint32_t nosource = 0xFFFFFFFF;

class recordmaker {
  public:
    explicit recordmaker(randomness &random) : r(random) {}
    void makerecords(uint32_t count);

  protected:
    randomness &r;
    sessionspec s{};
    bool faulty = false; // some records lack a field
    bool wild = false;   // sums overflow, or are of no numbers

    [[nodiscard]] bool text() const { return s.form == 'r'; }
    [[nodiscard]] bool bynumber() const { return s.bynumber(); }
    [[nodiscard]] uint32_t room() const {
        return s.reclen - static_cast<uint32_t>(s.delimiter().size());
    }
    // Highest field number (by number), or highest byte, that the rebuilding
    // asks of a record; nosource: it asks nothing.
    [[nodiscard]] uint32_t highest() const;
    // What may stand in an operand of selection: small numbers, short texts.
    bytes operand(uint8_t type, uint32_t length);

  private:
    std::vector<uint32_t> origin{}; // byte of the source for each byte of what is sorted

    void originbytes();
    void place(bytes &record, uint32_t position, const bytes &field) const;
    [[nodiscard]] uint32_t least() const;
    uint32_t lengthof(bool lacks, uint32_t longest);
    void placeoperands(bytes &record);
    bytes framed(int64_t rank, bool flat, bool lacks);
    bytes legal(bytes line);
    script scriptof(const keyspec &k, script otherwise);
    bytes columnline(int64_t rank, script rough, bool lacks);
    [[nodiscard]] uint32_t sourceof(uint32_t at) const;
    bytes amount(uint32_t width);
    bytes fieldline(int64_t rank, script rough, bool lacks);
};

} // namespace kvern::test
