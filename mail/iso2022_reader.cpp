// ISO-2022 reader: escape sequences, SO/SI and single shifts into characters.
#include "mail/iso2022_reader.h"

#include <cstring>

namespace {

constexpr uint8_t kEsc = 0x1B;
constexpr uint8_t kSO = 0x0E;
constexpr uint8_t kSI = 0x0F;

bool IsGraphic(uint8_t b) { return b >= 0x21 && b <= 0x7E; }

// The escape sequences (after ESC) that designate a set.
struct Designation {
    const char *tail;
    int slot;           // 0 to 3: G0 to G3
    MbSet set;
};

constexpr Designation kDesignations[] = {
    {"(B", 0, MbSet::Ascii},    {"(J", 0, MbSet::JisRoman}, {"(H", 0, MbSet::Ascii},
    {"(I", 0, MbSet::Kana},     {"$@", 0, MbSet::Jis0208},  {"$B", 0, MbSet::Jis0208},
    {"$A", 0, MbSet::Gb2312},   {"$(B", 0, MbSet::Jis0208}, {"$(D", 0, MbSet::Jis0212},
    {"$(C", 0, MbSet::Ksc5601}, {"$(O", 0, MbSet::Jis0208}, {"$(Q", 0, MbSet::Jis0208},
    {"$)A", 1, MbSet::Gb2312},  {"$)G", 1, MbSet::Cns1},    {"$)E", 1, MbSet::IsoIr165},
    {"$)C", 1, MbSet::Ksc5601}, {"$*H", 2, MbSet::Cns2},    {"$+I", 3, MbSet::Cns3},
    {"$+J", 3, MbSet::Cns4},    {"$+K", 3, MbSet::Cns5},    {"$+L", 3, MbSet::Cns6},
    {"$+M", 3, MbSet::Cns7},
};

} // namespace

bool Iso2022Reader::Escape()
{
    const size_t left = Left() - 1;
    const char *after = reinterpret_cast<const char *>(m_p + 1);
    if (left >= 2 && after[0] == '$' && after[1] == 'B') {   // the common one, first
        m_g0 = MbSet::Jis0208;
        m_p += 3;
        return true;
    }
    for (const Designation &d : kDesignations) {
        const size_t n = std::strlen(d.tail);
        if (left < n || std::memcmp(after, d.tail, n) != 0)
            continue;
        MbSet *slots[] = {&m_g0, &m_g1, &m_g2, &m_g3};
        *slots[d.slot] = d.set;
        m_p += 1 + n;
        return true;
    }
    if (left >= 1 && (after[0] == 'N' || after[0] == 'O')) {
        m_single = after[0] == 'N' ? 2 : 3;
        m_p += 2;
        return true;
    }
    // JIS X 0208-1990's announcer, ISO-2022-JP-2's 96-character sets: no
    // characters of ours follow from them.
    if (left >= 2 && ((after[0] == '&' && after[1] == '@') ||
                      (after[0] == '.' && (after[1] == 'A' || after[1] == 'F')))) {
        m_p += 3;
        return true;
    }
    return false;
}

bool Iso2022Reader::Other(MbChar &c)
{
    const uint8_t b = *m_p;
    if (b == kEsc) {
        if (Escape())
            return false;
        c = MbChar{MbSet::Ascii, b, 0};
        ++m_p;
        return true;
    }
    if (b == kSO || b == kSI) {
        m_shifted = b == kSO && m_g1 != MbSet::Ascii;
        ++m_p;
        return false;
    }
    if (b >= 0x80) {
        c = MbChar{MbSet::Raw, b, 0};
        ++m_p;
        return true;
    }
    if (m_single != 0) {
        const MbSet set = m_single == 2 ? m_g2 : m_g3;
        m_single = 0;
        if (IsDoubleByte(set) && IsGraphic(b)) {
            c = Pair(set);
            return true;
        }
    }
    const MbSet set = m_shifted ? m_g1 : m_g0;
    if (!IsGraphic(b) || set == MbSet::Ascii || set == MbSet::JisRoman) {
        c = MbChar{IsGraphic(b) ? set : MbSet::Ascii, b, 0};
        ++m_p;
        return true;
    }
    if (set == MbSet::Kana) {
        c = b <= 0x5F ? MbChar{MbSet::Kana, b, 0} : Replacement();
        ++m_p;
        return true;
    }
    c = Pair(set);
    return true;
}
