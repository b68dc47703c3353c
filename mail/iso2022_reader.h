// Reads ISO-2022 text (ISO-2022-JP with its -1/-2 designations, ISO-2022-CN
// and ISO-2022-CN-EXT) into characters.
//
//   Iso2022Reader reader(text, length);
//   MbChar c;
//   while (reader.Next(c)) ...
//
// Escape sequences and shifts produce no characters. The reader is lenient:
// designations and the shift state carry over line ends, an unknown escape
// passes its ESC on as a control character, an 8-bit byte comes out as Raw,
// and a byte that cannot complete a double-byte character comes out as "?".
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>

#include "mail/byte_words.h"
#include "mail/mb_char.h"

class Iso2022Reader {
public:
    Iso2022Reader(const char *text, size_t length)
        : m_p(reinterpret_cast<const uint8_t *>(text)),
          m_end(reinterpret_cast<const uint8_t *>(text) + length) {}

    // The next character; false at the end of the text. Inline, as it runs
    // once per character of every converted text.
    bool Next(MbChar &c)
    {
        while (m_p < m_end) {
            const uint8_t b = *m_p;
            if (b >= 0x21 && b <= 0x7E && m_single == 0) {
                const MbSet set = m_shifted ? m_g1 : m_g0;
                if (set == MbSet::Ascii || set == MbSet::JisRoman) {
                    c = MbChar{set, b, 0};
                    ++m_p;
                    return true;
                }
                if (IsDoubleByte(set)) {
                    c = Pair(set);
                    return true;
                }
            }
            if (Other(c))
                return true;
        }
        return false;
    }

    // With JIS X 0208 invoked and no single shift pending: the run of whole
    // characters here (pairs of bytes 0x21 to 0x7E), which the reader steps
    // over; Next would give them one by one. 0 when there is none.
    size_t Jis0208Run(const uint8_t *&start)
    {
        if (m_single != 0 || (m_shifted ? m_g1 : m_g0) != MbSet::Jis0208)
            return 0;
        const uint8_t *p = m_p;
        while (m_end - p >= 8 && AllGraphic(p))
            p += 8;
        while (m_end - p >= 2 && p[0] >= 0x21 && p[0] <= 0x7E && p[1] >= 0x21 && p[1] <= 0x7E)
            p += 2;
        start = m_p;
        const size_t n = static_cast<size_t>(p - m_p);
        m_p = p;
        return n;
    }

    // With ASCII invoked and no single shift pending: the run of bytes here
    // that Next would give one by one as ASCII characters (below 0x80, not
    // ESC, SO or SI), which the reader steps over. 0 when there is none.
    size_t AsciiRun(const uint8_t *&start)
    {
        if (m_single != 0 || (m_shifted ? m_g1 : m_g0) != MbSet::Ascii)
            return 0;
        const uint8_t *p = m_p;
        while (m_end - p >= 8) {   // the word test is wider (0x0E to 0x1B): exact below
            const uint64_t w = LoadWord(p);
            if (const uint64_t mask = HighByteMask(w) | ByteInMask(w, 0x0E, 0x1B)) {
                p += FirstFlagged(mask);
                break;
            }
            p += 8;
        }
        while (p < m_end && *p < 0x80 && *p != 0x1B && *p != 0x0E && *p != 0x0F)
            ++p;
        start = m_p;
        const size_t n = static_cast<size_t>(p - m_p);
        m_p = p;
        return n;
    }

private:
    // Whether the eight bytes at p are all from 0x21 to 0x7E.
    static bool AllGraphic(const uint8_t *p)
    {
        constexpr uint64_t kOnes = 0x0101010101010101ULL;
        constexpr uint64_t kHigh = kOnes * 0x80;
        uint64_t w;
        std::memcpy(&w, p, 8);
        return (w & kHigh) == 0 && ((w + kOnes * (0x80 - 0x21)) & kHigh) == kHigh &&
               ((w + kOnes) & kHigh) == 0;
    }
    // Everything but graphic characters of the invoked set: escapes, shifts,
    // controls, 8-bit bytes, katakana, single shifts. True when it gave c.
    bool Other(MbChar &c);
    // Handles the escape sequence at m_p; false when it is not one we know.
    bool Escape();
    // A double-byte character of set from m_p, or "?" for a bad pair.
    MbChar Pair(MbSet set)
    {
        if (Left() >= 2 && m_p[1] >= 0x21 && m_p[1] <= 0x7E) {
            const MbChar c{set, m_p[0], m_p[1]};
            m_p += 2;
            return c;
        }
        ++m_p;
        return Replacement();
    }
    size_t Left() const { return static_cast<size_t>(m_end - m_p); }

    const uint8_t *m_p;
    const uint8_t *m_end;
    MbSet m_g0 = MbSet::Ascii;
    MbSet m_g1 = MbSet::Ascii;      // Ascii: nothing designated
    MbSet m_g2 = MbSet::Ascii;
    MbSet m_g3 = MbSet::Ascii;
    bool m_shifted = false;
    int m_single = 0;               // 2 or 3 after ESC "N" / ESC "O"
};
