// Code arithmetic between the 7-bit form of a character (MbChar) and its
// Shift_JIS and EUC forms.
//
// Shift_JIS folds two JIS X 0208 rows into one lead byte (0x81-0x9F,
// 0xE0-0xEF); the trail byte says which row and cell (0x40-0x7E, 0x80-0xFC).
// EUC sets the high bit of both bytes; EUC-JP writes JIS X 0201 katakana
// after 0x8E and JIS X 0212 after 0x8F, EUC-TW writes CNS 11643 plane 2 to 7
// after 0x8E 0xA2..0xA7.
#pragma once

#include <cstdint>
#include <string>

#include "mail/mb_char.h"

inline void JisToSjis(uint8_t j1, uint8_t j2, uint8_t &s1, uint8_t &s2)
{
    s1 = static_cast<uint8_t>(((j1 + 1) >> 1) + (j1 <= 0x5E ? 0x70 : 0xB0));
    if (j1 & 1)
        s2 = static_cast<uint8_t>(j2 + (j2 < 0x60 ? 0x1F : 0x20));
    else
        s2 = static_cast<uint8_t>(j2 + 0x7E);
}

inline bool IsSjisLead(uint8_t b) { return (b >= 0x81 && b <= 0x9F) || (b >= 0xE0 && b <= 0xFC); }
inline bool IsSjisTrail(uint8_t b) { return b >= 0x40 && b <= 0xFC && b != 0x7F; }

// A Shift_JIS pair (lead and trail valid) to JIS X 0208; false for the
// vendor and user-defined lead bytes 0xF0 to 0xFC, which JIS X 0208 lacks.
inline bool SjisToJis(uint8_t s1, uint8_t s2, uint8_t &j1, uint8_t &j2)
{
    if (s1 >= 0xF0)
        return false;
    const int row2 = (s1 < 0xA0 ? s1 - 0x70 : s1 - 0xB0) * 2;   // 2 x (pair of rows)
    if (s2 >= 0x9F) {
        j1 = static_cast<uint8_t>(row2);
        j2 = static_cast<uint8_t>(s2 - 0x7E);
    } else {
        j1 = static_cast<uint8_t>(row2 - 1);
        j2 = static_cast<uint8_t>(s2 - (s2 >= 0x80 ? 0x20 : 0x1F));
    }
    return true;
}

inline bool IsEucByte(uint8_t b) { return b >= 0xA1 && b <= 0xFE; }

// The character in the EUC code of its own family (EUC-JP, EUC-CN, EUC-TW,
// EUC-KR; ISO-IR-165 as GB 2312), appended to out; single-byte sets as their
// byte. Returns the iconv name of that code (null for single-byte sets).
inline const char *AppendEuc(const MbChar &c, std::string &out)
{
    const char hi1 = static_cast<char>(c.b1 | 0x80);
    const char hi2 = static_cast<char>(c.b2 | 0x80);
    switch (c.set) {
    case MbSet::Kana:
        out += '\x8E';
        out += hi1;
        return "EUC-JP";
    case MbSet::Jis0212:
        out += '\x8F';
        [[fallthrough]];
    case MbSet::Jis0208:
        out += hi1;
        out += hi2;
        return "EUC-JP";
    case MbSet::Gb2312:
    case MbSet::IsoIr165:
        out += hi1;
        out += hi2;
        return "EUC-CN";
    case MbSet::Ksc5601:
        out += hi1;
        out += hi2;
        return "EUC-KR";
    default:
        break;
    }
    if (IsCnsPlane(c.set)) {
        if (c.set != MbSet::Cns1) {
            out += '\x8E';
            out += static_cast<char>(0xA0 + CnsPlane(c.set));
        }
        out += hi1;
        out += hi2;
        return "EUC-TW";
    }
    out += static_cast<char>(c.b1);
    return nullptr;
}
