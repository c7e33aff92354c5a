// The encoders and decoders of key fields (contract: coder in key_fields.h).
//
// The key area of an internal record compares as one unsigned little-endian
// integer, so the most significant byte of a field stands HIGHEST.  Descending
// order is the complement of ascending.  A sign sorts in a marker byte on top:
// 0xFF positive, 0x00 negative, complemented for descending.
#pragma once

#include "key/key_fields.h"

namespace kvern {

constexpr uint8_t order_descending = 32; // any other value is ascending

// Plain (enc_plain.cpp)
int32_t enc_copy(qha5ctx *, uint8_t *, const uint8_t *, uint32_t, uint8_t, const keyextra &);
int32_t enc_rev(qha5ctx *, uint8_t *, const uint8_t *, uint32_t, uint8_t, const keyextra &);
int32_t enc_same(qha5ctx *, uint8_t *, const uint8_t *, uint32_t, uint8_t, const keyextra &);
int32_t enc_mask(qha5ctx *, uint8_t *, const uint8_t *, uint32_t, uint8_t, const keyextra &);
int32_t enc_seq(qha5ctx *, uint8_t *, const uint8_t *, uint32_t, uint8_t, const keyextra &);
int32_t enc_table(qha5ctx *, uint8_t *, const uint8_t *, uint32_t, uint8_t, const keyextra &);
int32_t enc_e2a0(qha5ctx *, uint8_t *, const uint8_t *, uint32_t, uint8_t, const keyextra &);
int32_t enc_e2a1(qha5ctx *, uint8_t *, const uint8_t *, uint32_t, uint8_t, const keyextra &);
int32_t enc_e2a2(qha5ctx *, uint8_t *, const uint8_t *, uint32_t, uint8_t, const keyextra &);
int32_t enc_a2e0(qha5ctx *, uint8_t *, const uint8_t *, uint32_t, uint8_t, const keyextra &);
int32_t enc_a2e1(qha5ctx *, uint8_t *, const uint8_t *, uint32_t, uint8_t, const keyextra &);
int32_t enc_a2e2(qha5ctx *, uint8_t *, const uint8_t *, uint32_t, uint8_t, const keyextra &);
int32_t enc_none(qha5ctx *, uint8_t *, const uint8_t *, uint32_t, uint8_t, const keyextra &);
int32_t dec_none(qha5ctx *, uint8_t *, const uint8_t *, uint32_t, uint8_t, const keyextra &);
constexpr coder dec_rev = enc_rev;   // its own inverse
constexpr coder dec_same = enc_same; // likewise

// Binary and float (enc_binary.cpp)
int32_t enc_bebin(qha5ctx *, uint8_t *, const uint8_t *, uint32_t, uint8_t, const keyextra &);
int32_t enc_lebin(qha5ctx *, uint8_t *, const uint8_t *, uint32_t, uint8_t, const keyextra &);
int32_t enc_float(qha5ctx *, uint8_t *, const uint8_t *, uint32_t, uint8_t, const keyextra &);
int32_t dec_bebin(qha5ctx *, uint8_t *, const uint8_t *, uint32_t, uint8_t, const keyextra &);
int32_t dec_lebin(qha5ctx *, uint8_t *, const uint8_t *, uint32_t, uint8_t, const keyextra &);
int32_t dec_float(qha5ctx *, uint8_t *, const uint8_t *, uint32_t, uint8_t, const keyextra &);

// Packed (enc_packed.cpp)
int32_t enc_packed(qha5ctx *, uint8_t *, const uint8_t *, uint32_t, uint8_t, const keyextra &);
int32_t dec_packed(qha5ctx *, uint8_t *, const uint8_t *, uint32_t, uint8_t, const keyextra &);

// Separate sign (enc_sign.cpp)
int32_t enc_lead(qha5ctx *, uint8_t *, const uint8_t *, uint32_t, uint8_t, const keyextra &);
int32_t enc_lead_e(qha5ctx *, uint8_t *, const uint8_t *, uint32_t, uint8_t, const keyextra &);
int32_t enc_trail(qha5ctx *, uint8_t *, const uint8_t *, uint32_t, uint8_t, const keyextra &);
int32_t enc_trail_e(qha5ctx *, uint8_t *, const uint8_t *, uint32_t, uint8_t, const keyextra &);
int32_t dec_lead(qha5ctx *, uint8_t *, const uint8_t *, uint32_t, uint8_t, const keyextra &);
int32_t dec_trail(qha5ctx *, uint8_t *, const uint8_t *, uint32_t, uint8_t, const keyextra &);

// Zoned (enc_zoned.cpp): _e EBCDIC, _5 and _7 zone of a negative, _o overpunch
int32_t enc_ztrail_e(qha5ctx *, uint8_t *, const uint8_t *, uint32_t, uint8_t, const keyextra &);
int32_t enc_ztrail_5(qha5ctx *, uint8_t *, const uint8_t *, uint32_t, uint8_t, const keyextra &);
int32_t enc_ztrail_7(qha5ctx *, uint8_t *, const uint8_t *, uint32_t, uint8_t, const keyextra &);
int32_t enc_ztrail_o(qha5ctx *, uint8_t *, const uint8_t *, uint32_t, uint8_t, const keyextra &);
int32_t enc_zlead_e(qha5ctx *, uint8_t *, const uint8_t *, uint32_t, uint8_t, const keyextra &);
int32_t enc_zlead_5(qha5ctx *, uint8_t *, const uint8_t *, uint32_t, uint8_t, const keyextra &);
int32_t enc_zlead_7(qha5ctx *, uint8_t *, const uint8_t *, uint32_t, uint8_t, const keyextra &);
int32_t enc_zlead_o(qha5ctx *, uint8_t *, const uint8_t *, uint32_t, uint8_t, const keyextra &);
int32_t dec_ztrail(qha5ctx *, uint8_t *, const uint8_t *, uint32_t, uint8_t, const keyextra &);
int32_t dec_zlead(qha5ctx *, uint8_t *, const uint8_t *, uint32_t, uint8_t, const keyextra &);

// Text (enc_text.cpp, enc_kanji.cpp); length is the room, textlength the text
int32_t enc_text(qha5ctx *, uint8_t *, const uint8_t *, uint32_t, uint8_t, const keyextra &);
int32_t enc_textx(qha5ctx *, uint8_t *, const uint8_t *, uint32_t, uint8_t, const keyextra &);
int32_t enc_kanji(qha5ctx *, uint8_t *, const uint8_t *, uint32_t, uint8_t, const keyextra &);

} // namespace kvern
