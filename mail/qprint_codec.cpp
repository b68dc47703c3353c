// Quoted-Printable (RFC 2045) decoding and encoding over one buffer.
//
// Decoding removes the blanks that stand before a line break (a mail relay may
// have added them), drops soft breaks and fails on an escape that is not two
// hexadecimal digits. Encoding keeps CR LF pairs as line ends and writes
// lines of at most 75 characters, each broken one ending in "=".
#include "mail/transfer_codecs.h"

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>

namespace {

int HexValue(uint8_t c)
{
    if (c >= '0' && c <= '9')
        return c - '0';
    if (c >= 'A' && c <= 'F')
        return c - 'A' + 10;
    if (c >= 'a' && c <= 'f')
        return c - 'a' + 10;
    return -1;
}

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

// Decodes p (NUL-terminated) into out, which has room for as many bytes as
// p has; the decoded length, or -1 for a bad escape.
long DecodeText(const uint8_t *p, char *out)
{
    char *o = out;
    char *kept = out;   // blanks before this point stay: escaped, or before a soft break
    for (;;) {
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
                const int hi = HexValue(p[1]);
                const int lo = hi < 0 ? -1 : HexValue(p[2]);
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

} // namespace

char *from_qprint(char *src, int len, int *outLen)
{
    if (outLen)
        *outLen = 0;
    if (!src || len < 0)
        return nullptr;
    src[len] = '\0';
    char *out = static_cast<char *>(std::malloc(static_cast<size_t>(len) + 1));
    if (!out)
        return nullptr;
    const long n = DecodeText(reinterpret_cast<const uint8_t *>(src), out);
    if (n < 0) {
        std::free(out);
        return nullptr;
    }
    out[n] = '\0';
    if (outLen)
        *outLen = static_cast<int>(n);
    return out;
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
