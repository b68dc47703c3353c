// Quoted-Printable (RFC 2045) decoding and encoding over one buffer.
//
// Decoding removes the blanks that stand before a line break (a mail relay may
// have added them), drops soft breaks and fails on an escape that is not two
// hexadecimal digits. Encoding keeps CR LF pairs as line ends and writes
// lines of at most 75 characters, each broken one ending in "=".
#include "mail/transfer_codecs.h"

#include "mail/byte_loop_reference.h"
#include "mail/byte_words.h"

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>

namespace {

// The value of each hexadecimal digit, -1 for the other bytes.
struct HexTable {
    int8_t value[256];
    constexpr HexTable() : value()
    {
        for (int i = 0; i < 256; ++i)
            value[i] = -1;
        for (int i = 0; i < 10; ++i)
            value['0' + i] = static_cast<int8_t>(i);
        for (int i = 0; i < 6; ++i)
            value['A' + i] = value['a' + i] = static_cast<int8_t>(10 + i);
    }
};
constexpr HexTable kHexValue;

// Characters copied as they are, with nothing to look after (blanks
// included: they are looked at when a line break comes).
struct OrdinaryTable {
    bool ordinary[256];
    constexpr OrdinaryTable() : ordinary()
    {
        for (int i = 0; i < 256; ++i)
            ordinary[i] = true;
        for (char c : {'\0', '=', '\r', '\n'})
            ordinary[static_cast<uint8_t>(c)] = false;
    }
};
constexpr OrdinaryTable kOrdinary;

bool IsBlank(char c) { return c == ' ' || c == '\t'; }

// Whether the eight bytes at p are all ordinary.
bool AllOrdinary(const uint8_t *p)
{
    const uint64_t w = LoadWord(p);
    return !HasByte(w, 0) && !HasByte(w, '=') && !HasByte(w, '\r') && !HasByte(w, '\n');
}

// Decodes p (NUL-terminated at end) into out, which has room for as many
// bytes as p has; the decoded length, or -1 for a bad escape. With `words`,
// ordinary bytes are copied eight at a time (the output never runs ahead
// of the input, so a word written stays within out, and out may be the
// input itself).
long DecodeText(const uint8_t *p, const uint8_t *end, char *out, bool words)
{
    char *o = out;
    char *kept = out;   // blanks before this point stay: escaped, or before a soft break
    for (;;) {
        if (words)
            for (; end - p >= 8 && AllOrdinary(p); p += 8, o += 8)
                std::memmove(o, p, 8);
        while (kOrdinary.ordinary[*p])
            *o++ = static_cast<char>(*p++);
        const uint8_t c = *p;
        if (c == '\0')
            return o - out;
        if (c == '=') {
            if (p[1] == '\n') {
                p += 2;
            } else if (p[1] == '\r') {
                p += p[2] == '\n' ? 3 : 2;
            } else if (p[1] == '\0') {
                ++p;
            } else {
                const int hi = kHexValue.value[p[1]];
                const int lo = hi < 0 ? -1 : kHexValue.value[p[2]];
                if (lo < 0)
                    return -1;
                *o++ = static_cast<char>(hi << 4 | lo);
                p += 3;
            }
            kept = o;
            continue;
        }
        // CR or LF: the blanks copied just before it go.
        while (o > kept && IsBlank(o[-1]))
            --o;
        *o++ = static_cast<char>(c);
        ++p;
    }
}

char *DecodeQprint(char *src, int len, int *outLen, bool words)
{
    if (outLen)
        *outLen = 0;
    if (!src || len < 0)
        return nullptr;
    src[len] = '\0';
    char *out = static_cast<char *>(std::malloc(static_cast<size_t>(len) + 1));
    if (!out)
        return nullptr;
    const long n = DecodeText(reinterpret_cast<const uint8_t *>(src),
                                reinterpret_cast<const uint8_t *>(src) + len, out, words);
    if (n < 0) {
        std::free(out);
        return nullptr;
    }
    out[n] = '\0';
    if (outLen)
        *outLen = static_cast<int>(n);
    return out;
}

} // namespace

char *from_qprint(char *src, int len, int *outLen) { return DecodeQprint(src, len, outLen, true); }

int qprint_decode_in_place(char *text, int len)
{
    if (!text || len < 0)
        return -1;
    text[len] = '\0';
    auto *bytes = reinterpret_cast<const uint8_t *>(text);
    const long n = DecodeText(bytes, bytes + len, text, true);
    if (n >= 0)
        text[n] = '\0';
    return static_cast<int>(n);
}

char *from_qprint_by_byte(char *src, int len, int *outLen)
{
    return DecodeQprint(src, len, outLen, false);
}

char *to_qprint(const char *src, int len, int *outLen)
{
    static const char kHex[] = "0123456789ABCDEF";
    if (outLen)
        *outLen = 0;
    if (!src || len < 0)
        return nullptr;
    const auto *in = reinterpret_cast<const uint8_t *>(src);
    const size_t n = static_cast<size_t>(len);
    std::string out;
    out.reserve(n * 3 + n / 75 + 2);
    size_t lineLength = 0;
    for (size_t i = 0; i < n; ++i) {
        const uint8_t c = in[i];
        if (c == '\r' && i + 1 < n && in[i + 1] == '\n') {
            out += "\r\n";
            lineLength = 0;
            ++i;
            continue;
        }
        const bool blankBeforeCR = c == ' ' && i + 1 < n && in[i + 1] == '\r';
        const bool escape = c < 32 || c >= 127 || c == '=' || blankBeforeCR;
        const size_t width = escape ? 3 : 1;
        if (lineLength + width > 75) {
            out += "=\r\n";
            lineLength = 0;
        }
        if (escape) {
            out += '=';
            out += kHex[c >> 4];
            out += kHex[c & 15];
        } else {
            out += static_cast<char>(c);
        }
        lineLength += width;
    }
    char *result = static_cast<char *>(std::malloc(out.size() + 1));
    if (!result)
        return nullptr;
    std::memcpy(result, out.c_str(), out.size() + 1);
    if (outLen)
        *outLen = static_cast<int>(out.size());
    return result;
}
