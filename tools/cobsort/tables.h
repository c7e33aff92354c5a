// SORT of a table: all records lie in the program's memory, one behind the other.
#pragma once

#include "cobsort/runtime.h"

namespace cobsort {

// As the run-time's routines of these names, which keep what they know in one place too.
void tableinit(size_t keys, const unsigned char *collating);
void tablekey(cob_field *field, int flag, unsigned offset);
void tablesort(cob_field *table, int count);

} // namespace cobsort
