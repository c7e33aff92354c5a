// Sessions and what they have open.  A session value or a handle is a number that is
// looked up, never an address, so one that is stale or made up finds nothing.
#pragma once

#include "cobolfile.h"

#include <map>
#include <memory>
#include <mutex>

namespace fmgr {

struct openfile {
    organisation kind;
    std::unique_ptr<reader> in; // one of the two
    std::unique_ptr<writer> out;
    bool ended = false;  // a read has met the end
    bool broken = false; // a write was refused: the file is never put in its place
};

struct session {
    std::mutex busy;
    std::map<uint64_t, openfile> files;
    bool failed = false; // no output is put in its place any more
};

using sessionvalue = uintptr_t;

// 0: none can be made.
sessionvalue beginsession();
std::shared_ptr<session> findsession(sessionvalue value);
// Its outputs are given up when they are closed.  False: there is no such session.
bool failsession(sessionvalue value);
// What it has open for output is given up.  False: there is no such session.
bool endsession(sessionvalue value);

// A handle that no file of the process has had.
uint64_t newhandle();

} // namespace fmgr
