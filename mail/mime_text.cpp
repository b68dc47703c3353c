// Writing the searchable text of the MIME walk.
#include "mail/mime_text.h"

#include <cstdlib>
#include <cstring>
#include <memory>
#include <vector>

#include "mail/charset.h"
#include "mail/transfer_codecs.h"

namespace {

using CText = std::unique_ptr<char, decltype(&std::free)>;

CText Own(char *text)
{
    return CText(text, &std::free);
}

constexpr unsigned char kEsc = 0x1B;
constexpr unsigned char kShiftOut = 0x0E;
constexpr unsigned char kShiftIn = 0x0F;

bool IsEucLead(unsigned char c)
{
    return c >= 0xA1 && c <= 0xFE;
}

bool IsSjisLead(unsigned char c)
{
    return (c >= 0x81 && c <= 0x9F) || (c >= 0xE0 && c <= 0xFC);
}

// Length of the multi-byte character starting with c in `code`.
size_t CharLength(int code, unsigned char c)
{
    if (c < 0x80)
        return 1;
    if (code == CHARSET_SJIS)
        return IsSjisLead(c) ? 2 : 1;
    if (c == 0x8E)
        return 2;
    if (c == 0x8F)
        return 3;
    return IsEucLead(c) ? 2 : 1;
}

// Bytes at the end of an EUC or Shift_JIS text that start a character the
// text cuts short.
size_t IncompleteTail(const std::string &text, int code)
{
    size_t i = 0;
    size_t last = 0;
    while (i < text.size()) {
        last = i;
        i += CharLength(code, static_cast<unsigned char>(text[i]));
    }
    return i > text.size() ? text.size() - last : 0;
}

// Length of the escape sequence at text[i] (ESC included), or 0 when the
// text ends inside it; -1 when it is not one the scanner knows.
long EscapeLength(const std::string &text, size_t i)
{
    static const char *const kKnown[] = {"(B", "(J", "(I", "$@", "$B", "$A", "$(D", "$)A",
                                         "$)G", "$)E", "$*H", "$+I", "$+J", "$+K", "$+L",
                                         "$+M", "N", "O"};
    std::string rest = text.substr(i + 1, 3);
    for (const char *known : kKnown) {
        size_t n = std::strlen(known);
        if (rest.compare(0, n, known) == 0)
            return long(n + 1);
        if (rest.size() < n && std::string(known).compare(0, rest.size(), rest) == 0)
            return 0;
    }
    return -1;
}

// The ISO-2022 state at the end of a text: the escapes to put before the
// next piece, and how many trailing bytes belong to an unfinished escape or
// double-byte character.
struct Iso2022Tail {
    std::string shift;
    size_t incomplete = 0;
};

Iso2022Tail ScanIso2022(const std::string &text)
{
    // Designations in force; each line starts afresh (ISO-2022 text is back
    // in ASCII at every line end and designates again on the next line).
    std::string g0;   // JP designation in force ("" is ASCII)
    std::string g1;   // CN designation for SO
    std::string g2;   // CN designations for the single shifts
    std::string g3;
    bool shifted = false;
    size_t runStart = 0;   // first byte of the current double-byte run
    Iso2022Tail tail;
    for (size_t i = 0; i < text.size(); ++i) {
        unsigned char c = static_cast<unsigned char>(text[i]);
        if (c == kEsc) {
            long n = EscapeLength(text, i);
            if (n == 0) {
                tail.incomplete = text.size() - i;
                break;
            }
            if (n < 0)
                continue;
            std::string escape = text.substr(i, size_t(n));
            char kind = escape[1];
            if (kind == '(')
                g0 = escape[2] == 'I' ? escape : "";
            else if (kind == '$' && (escape[2] == '@' || escape[2] == 'B' || escape[2] == 'A' ||
                                     escape[2] == '('))
                g0 = escape;
            else if (kind == '$' && escape[2] == ')')
                g1 = escape;
            else if (kind == '$' && escape[2] == '*')
                g2 = escape;
            else if (kind == '$')
                g3 = escape;
            i += size_t(n) - 1;
            runStart = i + 1;
        } else if (c == kShiftOut || c == kShiftIn) {
            shifted = c == kShiftOut;
            runStart = i + 1;
        } else if (c == '\n') {
            g0.clear();
            g1.clear();
            g2.clear();
            g3.clear();
            shifted = false;
            runStart = i + 1;
        } else if (c == '\r') {
            runStart = i + 1;
        }
    }
    bool doubleByte = shifted || (!g0.empty() && g0[1] == '$');
    if (tail.incomplete == 0 && doubleByte && (text.size() - runStart) % 2 == 1)
        tail.incomplete = 1;
    tail.shift = g0 + g1 + g2 + g3 + (shifted ? std::string(1, char(kShiftOut)) : "");
    return tail;
}

// Bytes at the end of a text that start an escape sequence it cuts short
// (ESC, ESC "$", ESC "$(" ...), whatever the text's code.
size_t EscapeTail(const std::string &text)
{
    size_t esc = text.rfind(char(kEsc));
    if (esc == std::string::npos || text.size() - esc > 3)
        return 0;
    return EscapeLength(text, esc) == 0 ? text.size() - esc : 0;
}

// Bytes after the last place in an 8-bit text where a cut splits no
// character in either Japanese 8-bit code: after an ASCII byte that cannot
// be a Shift_JIS trail byte (below 0x40, or with no 8-bit byte before it).
// A detector that saw only a few 8-bit bytes is often wrong about them, so
// the cut does not rely on it when such a place lies among the last
// kWeakTail bytes; otherwise the text is cut by the code detected, or by
// whichever code leaves more over.
size_t EightBitTail(const std::string &text, int code)
{
    constexpr size_t kWeakTail = 32;
    size_t stop = text.size() > kWeakTail ? text.size() - kWeakTail - 1 : 0;
    for (size_t i = text.size(); i-- > stop;) {
        unsigned char c = static_cast<unsigned char>(text[i]);
        if (c >= 0x80 || c == kEsc)
            continue;
        if (c < 0x40 || i == 0 || static_cast<unsigned char>(text[i - 1]) < 0x80)
            return text.size() - i - 1;
    }
    if (code == CHARSET_EUC || code == CHARSET_SJIS)
        return IncompleteTail(text, code);
    size_t euc = IncompleteTail(text, CHARSET_EUC);
    size_t sjis = IncompleteTail(text, CHARSET_SJIS);
    return euc > sjis ? euc : sjis;
}

// Splits a long unfinished line: keeps back for the next line what may
// belong to a character or escape sequence that the next bytes finish,
// with the ISO-2022 shift state in force before it. Returns the code of
// the text that stays.
int KeepBack(std::string &text, DecodeCarry &carry)
{
    int code = AutoDetect(text.c_str());
    std::string shift;
    size_t incomplete = 0;
    if (code == CHARSET_JIS || code == CHARSET_ISO2022CN || code == CHARSET_ISO2022CNEXT) {
        Iso2022Tail tail = ScanIso2022(text);
        incomplete = tail.incomplete;
        shift = tail.shift;
    } else {
        incomplete = EscapeTail(text);
        if (incomplete == 0)
            incomplete = EightBitTail(text, code);
    }
    carry.held = shift + text.substr(text.size() - incomplete);
    text.resize(text.size() - incomplete);
    return incomplete == 0 || !shift.empty() ? code : AutoDetect(text.c_str());
}

// The text converted to code 3 by what the detector found.
std::string ConvertToEuc(const std::string &text, int code)
{
    CText converted = Own(nullptr);
    if (code == CHARSET_JIS || code == CHARSET_ISO2022CN || code == CHARSET_ISO2022CNEXT) {
        converted = Own(fromISO2022(text.c_str(), CHARSET_EUC));
    } else if (code == CHARSET_SJIS) {
        CText jis = Own(toJIS(text.c_str(), CHARSET_SJIS));
        if (jis)
            converted = Own(fromJIS(jis.get(), CHARSET_EUC));
    }
    return converted ? std::string(converted.get()) : text;
}

// The transfer decoding of one line; false on failure.
bool TransferDecode(const char *line, int encoding, std::string &out)
{
    int length = static_cast<int>(std::strlen(line));
    int decodedLength = 0;
    CText decoded = Own(nullptr);
    if (encoding == 2) {
        std::vector<char> copy(line, line + length + 1);   // the decoder writes a NUL at [length]
        decoded = Own(from_qprint(copy.data(), length, &decodedLength));
    } else if (encoding == 4) {
        decoded = Own(from_base64(line, length, &decodedLength));
    } else {
        out.assign(line, size_t(length));
        return true;
    }
    if (!decoded)
        return false;
    // Text ends at a NUL byte, as everywhere in the walk.
    out.assign(decoded.get(), strnlen(decoded.get(), size_t(decodedLength)));
    return true;
}

} // namespace

void WriteToTempFile(const char *data, int n, MEMBUF *buf, FILE *file)
{
    if (n <= 0)
        return;
    if (!buf || !buf->m_bInMemory) {
        if (file)
            std::fwrite(data, 1, size_t(n), file);
        return;
    }
    if (buf->m_nLength + n <= MEMBUF_MAX_TEXT) {
        std::memcpy(buf->m_szData + buf->m_nLength, data, size_t(n));
        buf->m_nLength += n;
        return;
    }
    if (!file)
        return;
    std::fwrite(buf->m_szData, 1, size_t(buf->m_nLength), file);
    std::fwrite(data, 1, size_t(n), file);
    buf->m_bInMemory = 0;
}

void InsertHeaderToTempFile(const char *line, MEMBUF *buf, FILE *file)
{
    RFC1342_DECODED decoded;
    if (rfc1342_decode(line, &decoded, CHARSET_EUC) == 0 && decoded.m_pszText) {
        WriteToTempFile(decoded.m_pszText, int(std::strlen(decoded.m_pszText)), buf, file);
        std::free(decoded.m_pszText);
        return;
    }
    WriteToTempFile(line, int(std::strlen(line)), buf, file);
}

bool DecodeStr(const char *line, int encoding, DecodeCarry &carry, std::string &out)
{
    std::string decoded;
    if (!TransferDecode(line, encoding, decoded))
        return false;
    out.clear();
    size_t lineEnd = decoded.rfind('\n');
    std::string text;
    if (lineEnd != std::string::npos) {
        size_t complete = carry.held.size() + lineEnd + 1;
        carry.held += decoded;
        text = carry.held.substr(0, complete);
        carry.held.erase(0, complete);
    } else {
        carry.held += decoded;
        if (carry.held.size() < DECODE_HOLD_LIMIT)
            return true;
        text.swap(carry.held);
        out = ConvertToEuc(text, KeepBack(text, carry));
        return true;
    }
    out = ConvertToEuc(text, AutoDetect(text.c_str()));
    return true;
}

namespace {

void WriteDecoded(std::string &text, MEMBUF *buf, FILE *file)
{
    int length = int(text.size());
    TakeOffCRLF(&text[0], &length);
    WriteToTempFile(text.data(), length, buf, file);
}

} // namespace

void FlushDataToTempFile(MEMBUF *buf, FILE *file, DecodeCarry &carry)
{
    std::string text;
    text.swap(carry.held);
    if (text.empty())
        return;
    std::string converted = ConvertToEuc(text, AutoDetect(text.c_str()));
    WriteDecoded(converted, buf, file);
}

void InsertDataToTempFile(const char *line, int encoding, int /*charset*/, MEMBUF *buf, FILE *file,
                          DecodeCarry &carry)
{
    std::string text;
    if (!DecodeStr(line, encoding, carry, text)) {
        FlushDataToTempFile(buf, file, carry);
        WriteToTempFile(line, int(std::strlen(line)), buf, file);
        return;
    }
    WriteDecoded(text, buf, file);
}

void TakeOffCRLF(char *text, int *len)
{
    int length = *len;
    if (!text || length < 4 || length > 8198)
        return;
    auto isLead = [](unsigned char c) { return (c > 160 && c < 255) || c == 142; };
    const std::string original(text, size_t(length));
    int out = 0;
    for (int i = 0; i < length; ++i) {
        char c = original[size_t(i)];
        if (c != '\r' && c != '\n') {
            text[out++] = c;
            continue;
        }
        int breakLength = (c == '\r' && i + 1 < length && original[size_t(i) + 1] == '\n') ? 2 : 1;
        bool join = i >= 2 && isLead(static_cast<unsigned char>(original[size_t(i) - 2]));
        for (int k = 0; k < breakLength && !join; ++k)
            text[out++] = original[size_t(i + k)];
        i += breakLength - 1;
    }
    if (out < length)
        text[out] = '\0';
    *len = out;
}

void TakeOffLineEndCRLF(char *line)
{
    if (line)
        line[std::strcspn(line, "\r\n")] = '\0';
}
