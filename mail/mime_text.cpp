// Writing the searchable text of the MIME walk.
#include "mail/mime_text.h"

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <memory>

#include "mail/byte_words.h"
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

// True when no converter changes the text: no ESC, SO, SI and no byte of
// 0x80 and above. Detection then finds code 0 (or 6, which converts
// nothing in a body either), and TakeOffCRLF joins no line. Eight bytes at
// a time the test is wider, any byte from SO (0x0E) to ESC (0x1B): a text
// with one of the others takes the long way, which gives the same bytes.
bool IsPlain(const char *text, size_t n)
{
    size_t i = 0;
    for (; i + 8 <= n; i += 8) {
        const uint64_t word = LoadWord(text + i);
        if (HasHighByte(word) || HasByteIn(word, kShiftOut, kEsc))
            return false;
    }
    for (; i < n; ++i) {
        unsigned char c = static_cast<unsigned char>(text[i]);
        if (c >= 0x80 || (c >= kShiftOut && c <= kEsc))
            return false;
    }
    return true;
}

// The text converted to code 3 by what the detector found; null when the
// conversion leaves it as it is (codes 0, 3 and 6) or fails.
CText Converted(const char *text, int code)
{
    if (code == CHARSET_JIS || code == CHARSET_ISO2022CN || code == CHARSET_ISO2022CNEXT)
        return Own(fromISO2022(text, CHARSET_EUC));
    if (code != CHARSET_SJIS)
        return Own(nullptr);
    CText jis = Own(toJIS(text, CHARSET_SJIS));
    return Own(jis ? fromJIS(jis.get(), CHARSET_EUC) : nullptr);
}

std::string ConvertToEuc(const std::string &text, int code)
{
    CText converted = Converted(text.c_str(), code);
    return converted ? std::string(converted.get()) : text;
}

// Writes converted text after TakeOffCRLF, which works in place.
bool WriteTakenOff(char *bytes, int length, MEMBUF *buf, FILE *file)
{
    TakeOffCRLF(bytes, &length);
    return WriteToTempFile(bytes, length, buf, file);
}

// Converts text to code 3 and writes it; text that the conversion leaves as
// it is changes in place.
bool ConvertAndWrite(std::string &text, int code, MEMBUF *buf, FILE *file)
{
    if (CText converted = Converted(text.c_str(), code))
        return WriteTakenOff(converted.get(), int(std::strlen(converted.get())), buf, file);
    return WriteTakenOff(&text[0], int(text.size()), buf, file);
}

// The transfer decoding of one line (bytes, n: in owner for base64, in
// carry.scratch for quoted-printable); false on failure. Lines that are not
// encoded stand as they are.
bool TransferDecode(const char *line, int encoding, DecodeCarry &carry, CText &owner,
                    const char *&bytes, size_t &n)
{
    int length = static_cast<int>(std::strlen(line));
    int decodedLength = 0;
    if (encoding == 2) {
        carry.scratch.assign(line, size_t(length) + 1);   // the decoder writes a NUL at [length]
        decodedLength = qprint_decode_in_place(&carry.scratch[0], length);
        if (decodedLength < 0)
            return false;
        bytes = carry.scratch.data();
        n = strnlen(bytes, size_t(decodedLength));
        return true;
    }
    if (encoding == 4) {
        owner = Own(from_base64(line, length, &decodedLength));
    } else {
        bytes = line;
        n = size_t(length);
        return true;
    }
    if (!owner)
        return false;
    // Text ends at a NUL byte, as everywhere in the walk.
    bytes = owner.get();
    n = strnlen(owner.get(), size_t(decodedLength));
    return true;
}

const char *LastLineEnd(const char *bytes, size_t n)
{
    return static_cast<const char *>(memrchr(bytes, '\n', n));
}

// Adds decoded bytes to the text held and writes the text lines they
// complete (or, past DECODE_HOLD_LIMIT without a line break, the whole
// characters of the long line). `terminated`: bytes[n] is a NUL.
bool AddDecoded(const char *bytes, size_t n, bool terminated, MEMBUF *buf, FILE *file,
                DecodeCarry &carry)
{
    const bool plain = !carry.reference && carry.heldPlain && IsPlain(bytes, n);
    const char *lineEnd = LastLineEnd(bytes, n);
    if (plain && lineEnd && carry.held.empty()) {   // the common line: as it stands
        carry.held.assign(lineEnd + 1, size_t(bytes + n - lineEnd - 1));
        return WriteToTempFile(bytes, int(lineEnd + 1 - bytes), buf, file);
    }
    int code = -1;
    const bool wholeLine = lineEnd && size_t(lineEnd - bytes) + 1 == n;
    if (!plain && terminated && wholeLine && carry.held.empty()) {
        // A whole line alone: detected and converted where it stands.
        code = AutoDetect(bytes);
        if (CText converted = Converted(bytes, code)) {
            carry.heldPlain = true;
            return WriteTakenOff(converted.get(), int(std::strlen(converted.get())), buf, file);
        }
    }
    std::string &text = carry.complete;
    text.swap(carry.held);
    if (lineEnd) {
        text.append(bytes, size_t(lineEnd + 1 - bytes));
        carry.held.assign(lineEnd + 1, size_t(bytes + n - lineEnd - 1));
        if (plain)
            code = CHARSET_PLAIN;
        else if (code < 0)
            code = AutoDetect(text.c_str());
    } else {
        text.append(bytes, n);
        carry.held.clear();
        if (text.size() < DECODE_HOLD_LIMIT) {
            text.swap(carry.held);
            carry.heldPlain = plain;
            return true;
        }
        code = plain ? CHARSET_PLAIN : KeepBack(text, carry);
    }
    carry.heldPlain = plain || IsPlain(carry.held.data(), carry.held.size());
    bool written = ConvertAndWrite(text, code, buf, file);
    text.clear();
    return written;
}

} // namespace

bool WriteToTempFile(const char *data, int n, MEMBUF *buf, FILE *file)
{
    if (n <= 0)
        return true;
    if (!buf || !buf->m_bInMemory)
        return !file || std::fwrite(data, 1, size_t(n), file) == size_t(n);
    if (buf->m_nLength + n <= MEMBUF_MAX_TEXT) {
        std::memcpy(buf->m_szData + buf->m_nLength, data, size_t(n));
        buf->m_nLength += n;
        return true;
    }
    if (!file)
        return true;
    buf->m_bInMemory = 0;
    size_t held = size_t(buf->m_nLength);
    return std::fwrite(buf->m_szData, 1, held, file) == held &&
           std::fwrite(data, 1, size_t(n), file) == size_t(n);
}

bool InsertHeaderToTempFile(const char *line, MEMBUF *buf, FILE *file, bool reference)
{
    const size_t length = std::strlen(line);
    if (!reference && IsPlain(line, length) && !std::strstr(line, "=?"))
        return WriteToTempFile(line, int(length), buf, file);
    RFC1342_DECODED decoded;
    if (rfc1342_decode(line, &decoded, CHARSET_EUC) == 0 && decoded.m_pszText) {
        CText text = Own(decoded.m_pszText);
        return WriteToTempFile(text.get(), int(std::strlen(text.get())), buf, file);
    }
    return WriteToTempFile(line, int(length), buf, file);
}

bool DecodeStr(const char *line, int encoding, DecodeCarry &carry, std::string &out)
{
    CText owner = Own(nullptr);
    const char *bytes = nullptr;
    size_t n = 0;
    if (!TransferDecode(line, encoding, carry, owner, bytes, n))
        return false;
    out.clear();
    const char *lineEnd = LastLineEnd(bytes, n);
    std::string text;
    if (lineEnd) {
        text.swap(carry.held);
        text.append(bytes, size_t(lineEnd + 1 - bytes));
        carry.held.assign(lineEnd + 1, size_t(bytes + n - lineEnd - 1));
        out = ConvertToEuc(text, AutoDetect(text.c_str()));
    } else {
        carry.held.append(bytes, n);
        if (carry.held.size() < DECODE_HOLD_LIMIT)
            return true;
        text.swap(carry.held);
        out = ConvertToEuc(text, KeepBack(text, carry));
    }
    carry.heldPlain = IsPlain(carry.held.data(), carry.held.size());
    return true;
}

bool FlushDataToTempFile(MEMBUF *buf, FILE *file, DecodeCarry &carry)
{
    std::string &text = carry.complete;
    text.swap(carry.held);
    carry.Clear();
    if (text.empty())
        return true;
    int code = carry.reference || !IsPlain(text.data(), text.size()) ? AutoDetect(text.c_str())
                                                                       : CHARSET_PLAIN;
    bool written = ConvertAndWrite(text, code, buf, file);
    text.clear();
    return written;
}

bool InsertDataToTempFile(const char *line, int encoding, int /*charset*/, MEMBUF *buf, FILE *file,
                          DecodeCarry &carry)
{
    CText owner = Own(nullptr);
    const char *bytes = nullptr;
    size_t n = 0;
    if (!TransferDecode(line, encoding, carry, owner, bytes, n)) {
        bool flushed = FlushDataToTempFile(buf, file, carry);
        return WriteToTempFile(line, int(std::strlen(line)), buf, file) && flushed;
    }
    return AddDecoded(bytes, n, bytes == line, buf, file, carry);
}

// In place: the bytes kept move down over the breaks taken off, so the two
// bytes before each place are remembered from the text as it was.
void TakeOffCRLF(char *text, int *len)
{
    int length = *len;
    if (!text || length < 4 || length > 8198)
        return;
    auto isLead = [](unsigned char c) { return (c > 160 && c < 255) || c == 142; };
    unsigned char before2 = 0;   // the bytes at i - 2 and i - 1 as they were (0 before the text)
    unsigned char before1 = 0;
    int out = 0;
    int i = 0;
    while (i < length) {
        const char *lf = static_cast<const char *>(std::memchr(text + i, '\n', size_t(length - i)));
        int stop = lf ? int(lf - text) : length;
        const char *cr = static_cast<const char *>(std::memchr(text + i, '\r', size_t(stop - i)));
        if (cr)
            stop = int(cr - text);
        if (stop - i >= 2) {
            before2 = static_cast<unsigned char>(text[stop - 2]);
            before1 = static_cast<unsigned char>(text[stop - 1]);
        } else if (stop - i == 1) {
            before2 = before1;
            before1 = static_cast<unsigned char>(text[i]);
        }
        if (out != i)
            std::memmove(text + out, text + i, size_t(stop - i));
        out += stop - i;
        i = stop;
        if (i >= length)
            break;
        const char first = text[i];
        const bool pair = first == '\r' && i + 1 < length && text[i + 1] == '\n';
        if (!isLead(before2)) {
            text[out++] = first;
            if (pair)
                text[out++] = '\n';
        }
        before2 = pair ? static_cast<unsigned char>('\r') : before1;
        before1 = pair ? static_cast<unsigned char>('\n') : static_cast<unsigned char>(first);
        i += pair ? 2 : 1;
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
