#include "session/qha9msgt.h"

namespace kvern {

namespace {

#define KVERN_MESSAGE_PLACE(number, name, text) number,
constexpr uint32_t places[] = {KVERN_MESSAGES(KVERN_MESSAGE_PLACE)};
#undef KVERN_MESSAGE_PLACE

constexpr bool isinorder() {
    for (uint32_t i = 0; i < msgrows; ++i)
        if (places[i] != i)
            return false;
    return true;
}
static_assert(sizeof places / sizeof *places == msgrows && isinorder());

} // namespace

#define KVERN_MESSAGE_TEXT(number, name, text) text,
const char *const qha9msgt[msgrows] = {KVERN_MESSAGES(KVERN_MESSAGE_TEXT)};
#undef KVERN_MESSAGE_TEXT

} // namespace kvern
