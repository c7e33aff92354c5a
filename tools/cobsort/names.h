/* The calls that this library stands in for: names of the run-time behind `cob_`.  Behind
   `kvern_` they are ours alone (ahead.c). */
#pragma once

#define COBSORT_CALLS(each)                                                                        \
    each(open);                                                                                    \
    each(file_sort_init);                                                                          \
    each(file_sort_init_key);                                                                      \
    each(file_sort_using);                                                                         \
    each(file_sort_using_extfh);                                                                   \
    each(file_sort_giving);                                                                        \
    each(file_sort_giving_extfh);                                                                  \
    each(file_sort_close);                                                                         \
    each(file_release);                                                                            \
    each(file_return);                                                                             \
    each(table_sort_init);                                                                         \
    each(table_sort_init_key);                                                                     \
    each(table_sort)
