// The session context: one flat record, the first argument of every engine
// routine.  Each room declares its own fields; this header only composes them.
// All-zero is the state of a new context.
//
// This folder is the ground that every room stands on: the arena and its division
// (arena, workspace), reports (qha9msg, qha9msgt), the counts of the balance (counts),
// the pump and the caller's hook (pump), the mark of a running call (busy).  It knows no
// room above it.  A field is written by the room that declares it and by no other.
#pragma once

#include "file/file_fields.h"
#include "key/key_fields.h"
#include "merge/merge_fields.h"
#include "param/param_fields.h"
#include "select/select_fields.h"
#include "session/session_fields.h"
#include "sort/sort_fields.h"

namespace kvern {

struct qha5ctx : session_fields,
                 param_fields,
                 key_fields,
                 sort_fields,
                 merge_fields,
                 select_fields,
                 file_fields {};

} // namespace kvern
