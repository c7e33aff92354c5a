// What a SORT orders by, as bytes.  A record of a session is
//
//   coded keys | sequence number, 8 bytes, highest first | the record as it came
//
// and its keys are pieces of it that compare as memcmp does, the sequence number the last of
// them.  Fields whose bytes order as the run-time orders them are pieces where they stand;
// all others are coded ahead, so that what is equal to the run-time has equal bytes.
//
// A plan is made when the run-time has gathered its keys, asked with stillfits() ahead of
// use, and then read only: encode() and compare() may run on several threads.
#pragma once

#include "cobsort/coder.h"

#include "cobsort/cobol.h"
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace cobsort {

struct piece {
    uint32_t position, length; // in a session's record
    bool descending;
};

class keyplan {
  public:
    // `collating`: 256 weights, or null; it must outlive the plan.  Empty: `whynot` says in a
    // few words which key is left to the run-time and why ("key 2 is COMP-1").
    static std::optional<keyplan> make(const cob_file_key *keys, size_t count,
                                       const unsigned char *collating, size_t recordbytes,
                                       std::string &whynot);

    size_t ahead() const { return aheadbytes; } // bytes ahead of the record
    // In order of weight, the sequence number last; neighbours of one direction are joined.
    const std::vector<piece> &pieces() const { return keypieces; }
    // Of the same session records, by their sequence numbers alone.
    keyplan byarrival() const;
    // Writes ahead() bytes to `room`.  False: a key holds what is no clean value of its type;
    // `room` is then undefined.
    bool encode(const unsigned char *record, uint64_t sequence, unsigned char *room) const;
    // The key fields have the sizes that they had; one whose table depends on a number changes.
    bool stillfits() const;
    // Two records of the session: below, at or above 0.
    int compare(const unsigned char *a, const unsigned char *b) const;

  private:
    struct seenfield {
        const cob_field *field;
        size_t size;
    };

    void placepieces(const std::vector<coder> &all, const cob_file_key *keys);
    void addpiece(const piece &next);

    std::vector<seenfield> fields;
    std::vector<coder> coders; // of the keys that are to be looked at
    std::vector<piece> keypieces;
    size_t aheadbytes = 0;
};

} // namespace cobsort
