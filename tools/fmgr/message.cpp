#include "message.h"

#include "byteorder.h"

#include <cstring>

namespace fmgr {

namespace {

constexpr uint32_t marklength = 4;
constexpr uint32_t messagehead = 8;
constexpr uint32_t parameterhead = 8;
constexpr uint32_t largestnumber = 0xFFFF; // of parameters, and their length

const char *markof(messagekind kind) {
    return kind == messagekind::request ? "KFMQ" : "KFMR";
}

uint32_t number32(const uint8_t *from) {
    return static_cast<uint32_t>(littleendian(from, 4));
}

} // namespace

message::message(messagekind kind, const void *buffer, uint32_t length)
    : at(static_cast<const uint8_t *>(buffer)) {
    if (at == nullptr || length < messagehead || std::memcmp(at, markof(kind), marklength) != 0)
        return;
    const uint32_t told = number32(at + marklength);
    if (told >= messagehead && told <= length)
        used = told;
}

std::optional<parameter> message::find(uint32_t number) const {
    for (uint32_t place = messagehead; place < used && used - place >= parameterhead;) {
        const uint8_t *head = at + place;
        place += parameterhead;
        const auto length = static_cast<uint32_t>(littleendian(head + 2, 2));
        if (length > used - place)
            break;
        if (littleendian(head, 2) == number)
            return parameter{head + parameterhead, length, number32(head + 4)};
        place += length;
    }
    return std::nullopt;
}

bool beginmessage(messagekind kind, void *buffer, uint32_t length) {
    if (buffer == nullptr || length < messagehead)
        return false;
    auto *at = static_cast<uint8_t *>(buffer);
    std::memcpy(at, markof(kind), marklength);
    putlittle(at + marklength, 4, messagehead);
    return true;
}

bool addparameter(messagekind kind, void *buffer, uint32_t length, uint32_t number,
                  uint32_t numeric, uint32_t bytecount, const void *bytes) {
    const message sofar(kind, buffer, length);
    if (!sofar.valid() || number > largestnumber || bytecount > largestnumber ||
        (bytes == nullptr && bytecount != 0) || sofar.find(number))
        return false;
    auto *at = static_cast<uint8_t *>(buffer);
    const uint32_t used = number32(at + marklength);
    if (length - used < parameterhead || length - used - parameterhead < bytecount)
        return false;
    uint8_t *head = at + used;
    putlittle(head, 2, number);
    putlittle(head + 2, 2, bytecount);
    putlittle(head + 4, 4, numeric);
    if (bytecount != 0)
        std::memcpy(head + parameterhead, bytes, bytecount);
    putlittle(at + marklength, 4, used + parameterhead + bytecount);
    return true;
}

} // namespace fmgr
