// How many lines a block of text holds: each delimiter is one.
#pragma once

#include <cstdint>

namespace kvern {

// Places in [at, end) where the byte stands.
uint32_t countbyte(const uint8_t *at, const uint8_t *end, uint8_t byte);

// Places in [at, end) where the text of one or two different bytes stands whole.
uint32_t counttext(const uint8_t *at, const uint8_t *end, const uint8_t *text, uint32_t length);

} // namespace kvern
