// One request to the file manager: built parameter by parameter, performed, its
// reply read.
//
//   fmgrcall call(ctx, file->fmtable);
//   call.number(fp_request, rq_close);
//   call.string(fp_handle, file->fmhandle, file->handlelen);
//   fmgrreply reply;
//   if (!call.ask(nullptr, &reply)) ...
//
// A step that fails makes all that follow do nothing and fail, so the parameters
// are added without looking.  The session has one message buffer: a call ends
// before the next begins.
#pragma once

#include "file/manager/fmgrapi.h"
#include "session/context.h"

namespace kvern {

struct fmgrreply {
    uint8_t status; // fmgrstatus
    uint32_t code;  // the manager's further code
};

// A parameter of a reply.  The value lies in the manager's memory, until the next
// request.  One of a single byte is there whatever length is told.
struct fmgrvalue {
    const uint8_t *bytes; // null: there are none, and length is 0
    uint32_t length;
    uint32_t number;
};

class fmgrcall {
  public:
    fmgrcall(const qha5ctx *ctx, const fmgrtable *table);

    void number(fmgrparm parm, uint32_t value);
    void string(fmgrparm parm, const void *bytes, uint32_t length);
    void flags(fmgrparm parm, const void *bytes, uint32_t length);

    // `data`: the record that is read or written, or null.
    [[nodiscard]] bool perform(void *data);
    // Performs the request and reads the status of its reply.
    [[nodiscard]] bool ask(void *data, fmgrreply *reply);
    // Another parameter of the reply.
    [[nodiscard]] bool scan(fmgrparm parm, fmgrvalue *out);

  private:
    void note(uint32_t result);

    const fmgrtable *table;
    uint8_t *message;
    bool sound = true;
};

} // namespace kvern
