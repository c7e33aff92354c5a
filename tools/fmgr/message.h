// Requests and replies as they lie in the caller's message buffer, and the builder and
// scanner that each thread has one of.
//
//   0  "KFMQ" request, "KFMR" reply
//   4  u32 bytes in use, these 8 among them
//   8  parameters: u16 number, u16 length, u32 numeric value, then the bytes
//
// Numbers are lowest byte first.  A numeric parameter's bytes are its value.  Nothing
// in a buffer is believed: lengths are tested against the buffer's before use.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>

namespace fmgr {

struct parameter {
    const uint8_t *bytes;
    uint32_t length, number;
};

enum class messagekind : uint8_t { request, reply };

// A view of a whole message.
class message {
  public:
    // What the buffer holds; with no parameter at all if it is no such message.
    message(messagekind kind, const void *buffer, uint32_t length);
    bool valid() const { return used != 0; }
    std::optional<parameter> find(uint32_t number) const;

  private:
    const uint8_t *at;
    uint32_t used = 0;
};

// Makes an empty message.  False: the buffer is too short for any.
bool beginmessage(messagekind kind, void *buffer, uint32_t length);
// False: no message, no room, or the parameter is there already.
bool addparameter(messagekind kind, void *buffer, uint32_t length, uint32_t number,
                  uint32_t numeric, uint32_t bytecount, const void *bytes);

// Room that the longest reply takes.
constexpr uint32_t replyroom = 64;

} // namespace fmgr
