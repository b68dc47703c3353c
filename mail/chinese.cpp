// Chinese text into ISO-2022-CN (RFC 1922): toCNforPRC for the simplified
// characters of GB 2312, toCNforTWN for the traditional ones of CNS 11643.
//
// GB 2312 and CNS 11643 bytes come from EUC-CN and EUC-TW by arithmetic (the
// high bit cleared); GBK and Big5 characters, which need tables, go through
// iconv into EUC-TW first. See mail/charset.h for the choices.
#include <cstring>
#include <string>

#include "mail/c_buffer.h"
#include "mail/charset.h"
#include "mail/code_arith.h"
#include "mail/iconv_tables.h"
#include "mail/iso2022_writer.h"

namespace {

MbChar Pair7(MbSet set, uint8_t b1, uint8_t b2)
{
    return MbChar{set, static_cast<uint8_t>(b1 & 0x7F), static_cast<uint8_t>(b2 & 0x7F)};
}

// Length of the EUC-TW character at p (2 or 4), 0 when there is none.
size_t EucTwLength(const uint8_t *p, const uint8_t *end)
{
    if (IsEucByte(p[0]) && end - p >= 2 && IsEucByte(p[1]))
        return 2;
    if (p[0] == 0x8E && end - p >= 4 && p[1] >= 0xA1 && p[1] <= 0xA7 && IsEucByte(p[2]) &&
        IsEucByte(p[3]))
        return 4;
    return 0;
}

MbChar EucTwChar(const uint8_t *p, size_t length)
{
    if (length == 2)
        return Pair7(MbSet::Cns1, p[0], p[1]);
    return Pair7(CnsSet(p[1] - 0xA0), p[2], p[3]);
}

bool IsEucTwText(const uint8_t *p, const uint8_t *end)
{
    while (p < end) {
        if (*p < 0x80) {
            ++p;
            continue;
        }
        const size_t n = EucTwLength(p, end);
        if (n == 0)
            return false;
        p += n;
    }
    return true;
}

// One GBK or Big5 character (two bytes) as a CNS 11643 character of a plane
// up to maxPlane, through iconv; "?" when there is none.
MbChar TableChar(IconvTables &tables, const char *code, const uint8_t *p, int maxPlane)
{
    std::string euc;
    if (!tables.Convert(code, "EUC-TW", reinterpret_cast<const char *>(p), 2, euc))
        return Replacement();
    const auto *e = reinterpret_cast<const uint8_t *>(euc.data());
    const size_t n = EucTwLength(e, e + euc.size());
    if (n == 0 || n != euc.size())
        return Replacement();
    const MbChar c = EucTwChar(e, n);
    return CnsPlane(c.set) <= maxPlane ? c : Replacement();
}

bool IsDoubleByteLead(uint8_t b) { return b >= 0x81 && b <= 0xFE; }
bool IsDoubleByteTrail(uint8_t b) { return b >= 0x40 && b <= 0xFE && b != 0x7F; }

char *Finish(Iso2022Writer &w, const std::string &out)
{
    w.Finish();
    return MallocCopy(out);
}

} // namespace

char *toCNforPRC(const char *text)
{
    if (!text)
        return nullptr;
    const auto *p = reinterpret_cast<const uint8_t *>(text);
    const uint8_t *end = p + std::strlen(text);
    std::string out;
    Iso2022Writer w(Iso2022Writer::Chinese, out);
    IconvTables tables;
    while (p < end) {
        if (*p < 0x80) {
            w.Put(MbChar{MbSet::Ascii, *p++, 0});
        } else if (IsEucByte(p[0]) && end - p >= 2 && IsEucByte(p[1])) {
            w.Put(Pair7(MbSet::Gb2312, p[0], p[1]));
            p += 2;
        } else if (IsDoubleByteLead(p[0]) && end - p >= 2 && IsDoubleByteTrail(p[1])) {
            w.Put(TableChar(tables, "GBK", p, 2));   // ISO-2022-CN holds planes 1, 2
            p += 2;
        } else {
            w.Put(Replacement());
            ++p;
        }
    }
    return Finish(w, out);
}

char *toCNforTWN(const char *text)
{
    if (!text)
        return nullptr;
    const auto *p = reinterpret_cast<const uint8_t *>(text);
    const uint8_t *end = p + std::strlen(text);
    const bool eucTw = IsEucTwText(p, end);
    std::string out;
    Iso2022Writer w(Iso2022Writer::Chinese, out);
    IconvTables tables;
    while (p < end) {
        if (*p < 0x80) {
            w.Put(MbChar{MbSet::Ascii, *p++, 0});
        } else if (eucTw) {
            const size_t n = EucTwLength(p, end);
            w.Put(EucTwChar(p, n));
            p += n;
        } else if (IsDoubleByteLead(p[0]) && end - p >= 2 && IsDoubleByteTrail(p[1])) {
            w.Put(TableChar(tables, "BIG5", p, 7));
            p += 2;
        } else {
            w.Put(Replacement());
            ++p;
        }
    }
    return Finish(w, out);
}
