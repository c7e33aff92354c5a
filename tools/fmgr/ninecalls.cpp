#include "ninecalls.h"

#include "byteorder.h"
#include "request.h"

#include <algorithm>

namespace {

constexpr uint32_t scanreply = 2; // what InitMsgScan is told

struct place {
    void *buffer;
    uint32_t length;
};

// One of the two is set at a time.
thread_local place building, scanning;

// No exception leaves the library.
template <class F, class T>
T guarded(F call, T otherwise) {
    try {
        return call();
    } catch (...) {
        return otherwise;
    }
}

uint32_t addbytes(uint32_t number, uint32_t length, const void *bytes) {
    const auto *from = static_cast<const uint8_t *>(bytes);
    const auto numeric =
        from != nullptr ? static_cast<uint32_t>(fmgr::littleendian(from, std::min(length, 4U))) : 0;
    return fmgr::addparameter(fmgr::messagekind::request, building.buffer, building.length, number,
                              numeric, length, bytes)
               ? 1
               : 0;
}

} // namespace

uintptr_t FMGR_CALL InitFileManager(void) {
    return guarded([] { return fmgr::beginsession(); }, fmgr::sessionvalue{0});
}

uint32_t FMGR_CALL InitReqMsgBuild(void *buffer, uint32_t length) {
    scanning = {};
    building = {};
    if (!fmgr::beginmessage(fmgr::messagekind::request, buffer, length))
        return 0;
    building = {buffer, length};
    return 1;
}

uint32_t FMGR_CALL BldNumParm(uint32_t number, uint32_t value) {
    uint8_t bytes[4];
    fmgr::putlittle(bytes, sizeof bytes, value);
    return addbytes(number, sizeof bytes, bytes);
}

uint32_t FMGR_CALL BldStrParm(uint32_t number, uint32_t length, const void *bytes) {
    return addbytes(number, length, bytes);
}

uint32_t FMGR_CALL BldFlagParm(uint32_t number, uint32_t length, const void *bytes) {
    return addbytes(number, length, bytes);
}

uint32_t FMGR_CALL FileManager(uintptr_t session, void *data, void *buffer, uint32_t length,
                               uint32_t zero) {
    building = {};
    if (zero != 0)
        return 1;
    return guarded([=] { return fmgr::perform(session, data, buffer, length); }, false) ? 0 : 1;
}

uint32_t FMGR_CALL InitMsgScan(void *buffer, uint32_t two, uint32_t length) {
    building = {};
    scanning = {};
    if (two != scanreply || !fmgr::message(fmgr::messagekind::reply, buffer, length).valid())
        return 0;
    scanning = {buffer, length};
    return 1;
}

uint32_t FMGR_CALL ScanParmType(uint32_t number, uint32_t *length, const void **value,
                                uint32_t *numeric) {
    const fmgr::message reply(fmgr::messagekind::reply, scanning.buffer, scanning.length);
    const auto found = reply.find(number);
    if (!found)
        return 0;
    if (length != nullptr)
        *length = found->length;
    if (value != nullptr)
        *value = found->bytes;
    if (numeric != nullptr)
        *numeric = found->number;
    return 1;
}

uint32_t FMGR_CALL TermFileManager(uintptr_t session) {
    return guarded([=] { return fmgr::endsession(session); }, false) ? 0 : 1;
}

uint32_t FMGR_CALL FailFileManager(uintptr_t session) {
    return guarded([=] { return fmgr::failsession(session); }, false) ? 0 : 1;
}
