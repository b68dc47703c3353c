// Writes characters as ISO-2022-JP or ISO-2022-CN(-EXT) text, designating and
// shifting only when the set changes.
//
//   std::string out;
//   Iso2022Writer w(Iso2022Writer::Japanese, out);
//   w.Put(c) ...;
//   w.Finish();          // back to ASCII
//
// Japanese: ESC "(B" ASCII, ESC "(J" JIS X 0201 Roman, ESC "(I" katakana,
// ESC "$B" JIS X 0208, ESC "$(D" JIS X 0212. Chinese (RFC 1922): GB 2312,
// ISO-IR-165 and CNS 11643 plane 1 into G1 (ESC "$)A", "$)E", "$)G") with
// SO/SI, plane 2 into G2 (ESC "$*H") with ESC "N" before each character,
// planes 3 to 7 into G3 (ESC "$+I".."$+M") with ESC "O". A control character
// (CR and LF included) is written in ASCII; after a line end the Chinese
// designations are written again. A character the family has no set for is
// written as "?"; a Raw byte as it is.
#pragma once

#include <string>

#include "mail/mb_char.h"

class Iso2022Writer {
public:
    enum Family { Japanese, Chinese };

    Iso2022Writer(Family family, std::string &out) : m_family(family), m_out(&out) {}

    void Put(const MbChar &c)
    {
        // The common cases inline: more of the set already invoked.
        if (c.set == m_g0 && !m_shifted && (c.set == MbSet::Jis0208 || c.set == MbSet::Ascii)) {
            if (c.set == MbSet::Ascii) {
                *m_out += static_cast<char>(c.b1);
                if (m_family == Japanese || (c.b1 != '\r' && c.b1 != '\n'))
                    return;
                m_g1 = m_g2 = m_g3 = MbSet::Ascii;   // a new line designates again
                return;
            }
            const char pair[2] = {static_cast<char>(c.b1), static_cast<char>(c.b2)};
            m_out->append(pair, 2);
            m_nonAscii = true;
            return;
        }
        PutOther(c);
    }
    // Returns to ASCII (ESC "(B" or SI) if needed.
    void Finish();
    // Whether anything but ASCII was written since the start.
    bool WroteNonAscii() const { return m_nonAscii; }
    // Whether the writer stands in ASCII with nothing to close.
    bool InAscii() const { return m_g0 == MbSet::Ascii && !m_shifted; }
    // Writes to another buffer from now on (state kept).
    void Retarget(std::string &out) { m_out = &out; }

private:
    void PutOther(const MbChar &c);
    void PutJapanese(const MbChar &c);
    void PutChinese(const MbChar &c);
    void PutAsciiByte(uint8_t b);
    void Pair(const MbChar &c);

    Family m_family;
    std::string *m_out;
    MbSet m_g0 = MbSet::Ascii;
    MbSet m_g1 = MbSet::Ascii;      // Ascii: nothing designated yet
    MbSet m_g2 = MbSet::Ascii;
    MbSet m_g3 = MbSet::Ascii;
    bool m_shifted = false;
    bool m_nonAscii = false;
};
