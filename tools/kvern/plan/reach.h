// How far into a record its fields reach, and whether that is within it.
#pragma once

#include "kvern/plan/jobplan.h"

#include <string>

namespace command {

// The greatest end of a piece of the record that comes in, from 1.
uint64_t piecereach(const jobplan &plan);
// Of all pieces; by field there is more between them.
uint32_t rebuiltlength(const jobplan &plan);

// Throws when a field ends behind its record: of conditions and pieces the one that comes
// in, which has `length` bytes, of keys and sums the one that goes out.  `word` is what
// such a record is called, `raise` the advice.
void checkreaches(const jobplan &plan, uint64_t length, const std::string &word,
                  const std::string &raise);

// Bytes that conditions and pieces need of each record that comes in.
void needleast(jobplan &plan);

} // namespace command
