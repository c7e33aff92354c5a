#include "file/manager/fmgrcall.h"

namespace kvern {

fmgrcall::fmgrcall(const qha5ctx *ctx, const fmgrtable *functions)
    : table(functions), message(ctx->fmgrmsg) {
    platform::clearerror();
    (void)table->InitReqMsgBuild(message, fmgrmsglength);
}

// Only the low byte of such a result counts: the library sets no other.
void fmgrcall::note(uint32_t result) {
    sound = static_cast<uint8_t>(result) != 0;
}

void fmgrcall::number(fmgrparm parm, uint32_t value) {
    if (sound)
        note(table->BldNumParm(parm, value));
}

void fmgrcall::string(fmgrparm parm, const void *bytes, uint32_t length) {
    if (sound)
        note(table->BldStrParm(parm, length, bytes));
}

void fmgrcall::flags(fmgrparm parm, const void *bytes, uint32_t length) {
    if (sound)
        note(table->BldFlagParm(parm, length, bytes));
}

bool fmgrcall::perform(void *data) {
    if (sound)
        sound = table->FileManager(table->session, data, message, fmgrmsglength, 0) == 0;
    return sound;
}

bool fmgrcall::ask(void *data, fmgrreply *reply) {
    if (!perform(data))
        return false;
    note(table->InitMsgScan(message, scanreply, fmgrmsglength));
    fmgrvalue value;
    if (!scan(fp_status, &value) || value.bytes == nullptr)
        return false;
    *reply = {value.bytes[0], value.number};
    return true;
}

bool fmgrcall::scan(fmgrparm parm, fmgrvalue *out) {
    if (!sound)
        return false;
    const void *bytes = nullptr;
    *out = {};
    note(table->ScanParmType(parm, &out->length, &bytes, &out->number));
    out->bytes = static_cast<const uint8_t *>(bytes);
    if (bytes == nullptr)
        out->length = 0;
    return sound;
}

} // namespace kvern
