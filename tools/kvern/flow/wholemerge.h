// A merge of all inputs in one session.
#pragma once

#include "kvern/flow/flowjob.h"

namespace command {

void mergewhole(const flowjob &job);
// The same without an output, of placed inputs: throws what is wrong with them, the fault
// that is earliest; returns where nothing is.
void findfault(const flowjob &job);

} // namespace command
