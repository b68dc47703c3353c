// ISO-2022 writer for the Japanese and the Chinese families.
#include "mail/iso2022_writer.h"

namespace {

constexpr char kEsc = '\x1B';

const char *JapaneseDesignation(MbSet set)
{
    switch (set) {
    case MbSet::JisRoman: return "\x1B(J";
    case MbSet::Kana: return "\x1B(I";
    case MbSet::Jis0208: return "\x1B$B";
    case MbSet::Jis0212: return "\x1B$(D";
    default: return "\x1B(B";
    }
}

// The final byte of the designation of a Chinese set.
char ChineseFinal(MbSet set)
{
    switch (set) {
    case MbSet::Gb2312: return 'A';
    case MbSet::IsoIr165: return 'E';
    case MbSet::Cns1: return 'G';
    case MbSet::Cns2: return 'H';
    default: return static_cast<char>('I' + CnsPlane(set) - 3);   // planes 3 to 7
    }
}

bool IsLineEnd(uint8_t b) { return b == '\r' || b == '\n'; }

} // namespace

void Iso2022Writer::PutOther(const MbChar &c)
{
    if (c.set == MbSet::Raw) {
        *m_out += static_cast<char>(c.b1);
        return;
    }
    if (m_family == Japanese)
        PutJapanese(c);
    else
        PutChinese(c);
}

void Iso2022Writer::Pair(const MbChar &c)
{
    *m_out += static_cast<char>(c.b1);
    *m_out += static_cast<char>(c.b2);
    m_nonAscii = true;
}

void Iso2022Writer::PutAsciiByte(uint8_t b)
{
    if (m_family == Japanese) {
        const bool control = b < 0x21 || b == 0x7F;
        if (m_g0 != MbSet::Ascii && !(control && m_g0 == MbSet::JisRoman)) {
            *m_out += JapaneseDesignation(MbSet::Ascii);
            m_g0 = MbSet::Ascii;
        }
        *m_out += static_cast<char>(b);
        return;
    }
    if (m_shifted) {
        *m_out += '\x0F';
        m_shifted = false;
    }
    *m_out += static_cast<char>(b);
    if (IsLineEnd(b))
        m_g1 = m_g2 = m_g3 = MbSet::Ascii;
}

void Iso2022Writer::PutJapanese(const MbChar &c)
{
    if (c.set == MbSet::Ascii || !IsJapaneseSet(c.set)) {
        PutAsciiByte(c.set == MbSet::Ascii ? c.b1 : '?');
        return;
    }
    if (m_g0 != c.set) {
        *m_out += JapaneseDesignation(c.set);
        m_g0 = c.set;
    }
    if (IsDoubleByte(c.set)) {
        Pair(c);
    } else {
        *m_out += static_cast<char>(c.b1);
        m_nonAscii = m_nonAscii || c.set == MbSet::Kana;
    }
}

void Iso2022Writer::PutChinese(const MbChar &c)
{
    if (c.set == MbSet::Ascii || c.set == MbSet::JisRoman || !IsChineseSet(c.set)) {
        PutAsciiByte(c.set == MbSet::Ascii || c.set == MbSet::JisRoman ? c.b1 : '?');
        return;
    }
    const int plane = IsCnsPlane(c.set) ? CnsPlane(c.set) : 1;
    if (plane >= 2) {
        MbSet &slot = plane == 2 ? m_g2 : m_g3;
        if (slot != c.set) {
            *m_out += plane == 2 ? "\x1B$*" : "\x1B$+";
            *m_out += ChineseFinal(c.set);
            slot = c.set;
        }
        *m_out += kEsc;
        *m_out += plane == 2 ? 'N' : 'O';
        Pair(c);
        return;
    }
    if (m_g1 != c.set) {
        *m_out += "\x1B$)";
        *m_out += ChineseFinal(c.set);
        m_g1 = c.set;
    }
    if (!m_shifted) {
        *m_out += '\x0E';
        m_shifted = true;
    }
    Pair(c);
}

void Iso2022Writer::Finish()
{
    if (m_family == Japanese && m_g0 != MbSet::Ascii) {
        *m_out += JapaneseDesignation(MbSet::Ascii);
        m_g0 = MbSet::Ascii;
    }
    if (m_family == Chinese && m_shifted) {
        *m_out += '\x0F';
        m_shifted = false;
    }
}
