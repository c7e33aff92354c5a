#pragma once

#include <stddef.h>

#ifdef __cplusplus
extern "C" {
#endif
/* Sorts the records in descending order in place; 0, or 1 + detail. */
int sort_in_c(char *records, unsigned length, unsigned count);
/* How many of eight control calls refuse a block without a session. */
size_t control_calls_without_session(void);
#ifdef __cplusplus
}
#endif
