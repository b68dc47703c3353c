// One character of multi-byte mail text, named by its coded character set
// and its 7-bit code bytes: the common ground of all readers (ISO-2022,
// Shift_JIS, EUC) and writers of the character-set conversions.
//
//   MbChar c{MbSet::Jis0208, 0x24, 0x22};   // HIRAGANA LETTER A
//
// Single-byte sets use b1 only: Ascii (also the controls and the "?" that
// stands for a character that could not be read), JisRoman, Kana (0x21 to
// 0x5F) and Raw (an 8-bit byte that belongs to no set and passes through).
#pragma once

#include <cstdint>

enum class MbSet : uint8_t {
    Ascii,
    JisRoman,       // JIS X 0201 Roman (ESC "(J"), read as ASCII
    Kana,           // JIS X 0201 katakana (half-width)
    Raw,            // an 8-bit byte outside every set
    Jis0208,
    Jis0212,
    Gb2312,
    IsoIr165,       // GB 2312 extended; GB 2312 where both have the cell
    Ksc5601,
    Cns1, Cns2, Cns3, Cns4, Cns5, Cns6, Cns7,   // CNS 11643 planes 1 to 7
};

struct MbChar {
    MbSet set;
    uint8_t b1;
    uint8_t b2;
};

inline bool IsDoubleByte(MbSet set) { return set >= MbSet::Jis0208; }
inline bool IsCnsPlane(MbSet set) { return set >= MbSet::Cns1; }
inline int CnsPlane(MbSet set) { return static_cast<int>(set) - static_cast<int>(MbSet::Cns1) + 1; }
inline MbSet CnsSet(int plane)
{
    return static_cast<MbSet>(static_cast<int>(MbSet::Cns1) + plane - 1);
}
inline bool IsJapaneseSet(MbSet set)
{
    return set == MbSet::JisRoman || set == MbSet::Kana || set == MbSet::Jis0208 ||
           set == MbSet::Jis0212;
}
inline bool IsChineseSet(MbSet set)
{
    return set == MbSet::Gb2312 || set == MbSet::IsoIr165 || IsCnsPlane(set);
}
inline MbChar Replacement() { return MbChar{MbSet::Ascii, '?', 0}; }
