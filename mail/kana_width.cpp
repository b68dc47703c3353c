// The width table of JIS X 0201 katakana and the voiced-mark composition.
#include "mail/kana_width.h"

namespace {

// JIS X 0208 code of each JIS X 0201 katakana 0x21..0x5F.
constexpr uint16_t kWide[63] = {
    0x2123, 0x2156, 0x2157, 0x2122, 0x2126, 0x2572, 0x2521, 0x2523,   // 0x21 .
    0x2525, 0x2527, 0x2529, 0x2563, 0x2565, 0x2567, 0x2543, 0x213C,   // 0x29
    0x2522, 0x2524, 0x2526, 0x2528, 0x252A, 0x252B, 0x252D, 0x252F,   // 0x31 A
    0x2531, 0x2533, 0x2535, 0x2537, 0x2539, 0x253B, 0x253D, 0x253F,   // 0x39
    0x2541, 0x2544, 0x2546, 0x2548, 0x254A, 0x254B, 0x254C, 0x254D,   // 0x41
    0x254E, 0x254F, 0x2552, 0x2555, 0x2558, 0x255B, 0x255E, 0x255F,   // 0x49
    0x2560, 0x2561, 0x2562, 0x2564, 0x2566, 0x2568, 0x2569, 0x256A,   // 0x51
    0x256B, 0x256C, 0x256D, 0x256F, 0x2573, 0x212B, 0x212C,           // 0x59
};

constexpr uint8_t kVoiced = 0x5E;
constexpr uint8_t kSemiVoiced = 0x5F;

} // namespace

MbChar WidenKana(uint8_t kana)
{
    if (kana < 0x21 || kana > 0x5F)
        return Replacement();
    const uint16_t code = kWide[kana - 0x21];
    return MbChar{MbSet::Jis0208, static_cast<uint8_t>(code >> 8), static_cast<uint8_t>(code)};
}

bool JoinVoicedMark(MbChar &letter, uint8_t mark)
{
    if (letter.set != MbSet::Jis0208 || letter.b1 != 0x25)
        return false;
    const uint8_t cell = letter.b2;
    if (mark == kVoiced) {
        if (cell == 0x26) {                                   // U -> VU
            letter.b2 = 0x74;
            return true;
        }
        const bool ka_to_to = cell >= 0x2B && cell <= 0x48 && cell != 0x43 &&
                              (cell <= 0x42 ? (cell - 0x2B) % 2 == 0 : (cell - 0x44) % 2 == 0);
        const bool ha_row = cell >= 0x4F && cell <= 0x5B && (cell - 0x4F) % 3 == 0;
        if (ka_to_to || ha_row) {
            letter.b2 = static_cast<uint8_t>(cell + 1);
            return true;
        }
        return false;
    }
    if (mark == kSemiVoiced && cell >= 0x4F && cell <= 0x5B && (cell - 0x4F) % 3 == 0) {
        letter.b2 = static_cast<uint8_t>(cell + 2);
        return true;
    }
    return false;
}
