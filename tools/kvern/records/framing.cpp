#include "kvern/records/framing.h"

namespace command {

namespace {

constexpr framing kinds[] = {
    {"rdw", 4, 2, true, true, false},    {"bdw", 4, 2, true, true, true},
    {"be16z", 4, 2, true, false, false}, {"be32", 4, 4, true, false, false},
    {"le32", 4, 4, false, false, false}, {"be16", 2, 2, true, false, false},
};

} // namespace

std::string_view endbytes(lineend end) {
    constexpr std::string_view bytes[] = {"\n", "\r", "\r\n"};
    return bytes[static_cast<size_t>(end)];
}

const framing *findframing(const std::string &name) {
    for (const framing &one : kinds)
        if (name == one.name || (name == plainrdw && one.name == std::string_view("rdw")))
            return &one;
    return nullptr;
}

bool readprefix(const framing &kind, const char *bytes, uint32_t &length) {
    length = 0;
    for (uint32_t i = 0; i < kind.prefix; ++i) {
        const uint32_t byte = static_cast<uint8_t>(bytes[i]);
        if (i < kind.lengthbytes)
            length = kind.bigendian ? length << 8 | byte : length | byte << 8 * i;
        else if (byte != 0)
            return false;
    }
    if (!kind.inclusive)
        return true;
    if (length < kind.prefix)
        return false;
    length -= kind.prefix;
    return true;
}

void addprefix(const framing &kind, uint32_t length, std::string &out) {
    const uint32_t value = kind.inclusive ? length + kind.prefix : length;
    for (uint32_t i = 0; i < kind.prefix; ++i) {
        const uint32_t place = kind.bigendian ? kind.lengthbytes - 1u - i : i;
        out += static_cast<char>(i < kind.lengthbytes ? value >> 8 * place & 0xFF : 0);
    }
}

} // namespace command
