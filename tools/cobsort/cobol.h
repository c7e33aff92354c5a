// The run-time's own header, which counts on its includer for what it uses.
#pragma once

#include <cstddef>

#include <libcob.h>

// There where a program has the run-time: this library is loaded into others too.
#pragma weak cob_close
#pragma weak cob_read_next
#pragma weak cob_write
#pragma weak cob_get_global_ptr
#pragma weak cob_runtime_error
#pragma weak cob_stop_run
#pragma weak cob_temp_name
#pragma weak cob_numeric_cmp
