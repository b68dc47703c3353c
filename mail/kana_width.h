// Half-width (JIS X 0201) katakana to their full-width JIS X 0208 forms.
//
//   MbChar ka = WidenKana(0x36);          // KATAKANA LETTER KA
//   JoinVoicedMark(ka, 0x5E);             // now GA
#pragma once

#include <cstdint>

#include "mail/mb_char.h"

// The JIS X 0208 character for a JIS X 0201 katakana byte (0x21 to 0x5F).
MbChar WidenKana(uint8_t kana);
// Joins a half-width voiced (0x5E) or semi-voiced (0x5F) mark to the widened
// letter; false when that letter takes no such mark.
bool JoinVoicedMark(MbChar &letter, uint8_t mark);
