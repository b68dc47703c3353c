// Conversions between ISO-2022-JP and the two 8-bit Japanese codes, Shift_JIS
// and EUC-JP, by JIS X 0208 code arithmetic (JIS X 0201 katakana and, for
// EUC-JP, JIS X 0212 included).
//
// toJIS reads the 8-bit code: a byte sequence that is no character of it
// becomes "?". fromJIS / fromJISEx, and fromISO2022 for the Chinese forms as
// well, read ISO-2022 with Iso2022Reader (which knows both families) and
// write Shift_JIS or EUC through LegacyWriter.
#include <string>

#include "mail/byte_loop_reference.h"
#include "mail/c_buffer.h"
#include "mail/charset.h"
#include "mail/code_arith.h"
#include "mail/iso2022_reader.h"
#include "mail/iso2022_writer.h"
#include "mail/legacy_writer.h"

namespace {

// Shift_JIS text into the writer.
void ReadSjis(const uint8_t *p, const uint8_t *end, Iso2022Writer &w)
{
    while (p < end) {
        const uint8_t b = *p;
        if (b < 0x80) {
            w.Put(MbChar{MbSet::Ascii, b, 0});
            ++p;
        } else if (b >= 0xA1 && b <= 0xDF) {
            w.Put(MbChar{MbSet::Kana, static_cast<uint8_t>(b & 0x7F), 0});
            ++p;
        } else if (IsSjisLead(b) && p + 1 < end && IsSjisTrail(p[1])) {
            uint8_t j1 = 0;
            uint8_t j2 = 0;
            w.Put(SjisToJis(b, p[1], j1, j2) ? MbChar{MbSet::Jis0208, j1, j2} : Replacement());
            p += 2;
        } else {
            w.Put(Replacement());
            ++p;
        }
    }
}

// EUC-JP text into the writer.
void ReadEucJp(const uint8_t *p, const uint8_t *end, Iso2022Writer &w)
{
    while (p < end) {
        const uint8_t b = *p;
        if (b < 0x80) {
            w.Put(MbChar{MbSet::Ascii, b, 0});
            ++p;
        } else if (IsEucByte(b) && p + 1 < end && IsEucByte(p[1])) {
            w.Put(MbChar{MbSet::Jis0208, static_cast<uint8_t>(b & 0x7F),
                         static_cast<uint8_t>(p[1] & 0x7F)});
            p += 2;
        } else if (b == 0x8E && p + 1 < end && p[1] >= 0xA1 && p[1] <= 0xDF) {
            w.Put(MbChar{MbSet::Kana, static_cast<uint8_t>(p[1] & 0x7F), 0});
            p += 2;
        } else if (b == 0x8F && end - p >= 3 && IsEucByte(p[1]) && IsEucByte(p[2])) {
            w.Put(MbChar{MbSet::Jis0212, static_cast<uint8_t>(p[1] & 0x7F),
                         static_cast<uint8_t>(p[2] & 0x7F)});
            p += 3;
        } else {
            w.Put(Replacement());
            ++p;
        }
    }
}

} // namespace

char *toJIS(const char *text, int from)
{
    if (!text)
        return nullptr;
    if (from != CHARSET_SJIS && from != CHARSET_EUC)
        return MallocCopy(text);
    const size_t n = std::strlen(text);
    const auto *p = reinterpret_cast<const uint8_t *>(text);
    std::string out;
    out.reserve(n + n / 2 + 8);
    Iso2022Writer w(Iso2022Writer::Japanese, out);
    if (from == CHARSET_SJIS)
        ReadSjis(p, p + n, w);
    else
        ReadEucJp(p, p + n, w);
    w.Finish();
    return MallocCopy(out);
}

namespace {

// ISO-2022 text into code `to` (2 or 3; others are copied). With `runs`,
// runs of ASCII and of JIS X 0208 go in bulk and the rest character by
// character; without, every character goes alone (the reference form).
char *FromJis(const char *text, int to, int widenKana, bool runs)
{
    if (!text)
        return nullptr;
    if (to != CHARSET_SJIS && to != CHARSET_EUC)
        return MallocCopy(text);
    const size_t n = std::strlen(text);
    std::string out;
    out.reserve(n);
    LegacyWriter w(to, _language, widenKana != 0, out);
    Iso2022Reader reader(text, n);
    MbChar c;
    const bool jis0208Runs = runs && w.TakesJis0208Runs();
    for (;;) {
        const uint8_t *run = nullptr;
        if (size_t length = runs ? reader.AsciiRun(run) : 0)
            w.PutAsciiRun(run, length);
        if (size_t length = jis0208Runs ? reader.Jis0208Run(run) : 0) {
            w.PutJis0208Run(run, length);
            continue;
        }
        if (!reader.Next(c))
            break;
        w.Put(c);
    }
    w.Finish();
    return MallocCopy(out);
}

} // namespace

char *fromJISEx(const char *text, int to, int widenKana)
{
    return FromJis(text, to, widenKana, true);
}

char *fromJISExByCharacter(const char *text, int to, int widenKana)
{
    return FromJis(text, to, widenKana, false);
}

char *fromJIS(const char *text, int to)
{
    return fromJISEx(text, to, 0);
}

char *fromISO2022(const char *text, int to)
{
    return fromJISEx(text, to, 0);
}
