// Base64 (RFC 2045) decoding and encoding over one buffer.
//
// The decoder walks groups of four alphabet characters; whole groups that
// stand together (the usual case: a body line of 76 characters) are decoded
// 32 characters at a time by the vector decoder or four at a time, anything
// else (line breaks, padding, stray characters) takes the careful path one
// character at a time.
#include "mail/transfer_codecs.h"

#include "mail/base64_simd.h"

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>

namespace {

constexpr char kAlphabet[] =
    "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
constexpr uint8_t kNotInAlphabet = 0xFF;
constexpr size_t kOvershoot = 8;   // see Base64DecodeBlocks

struct DecodeTable {
    uint8_t value[256];
    constexpr DecodeTable() : value()
    {
        for (int i = 0; i < 256; ++i)
            value[i] = kNotInAlphabet;
        for (int i = 0; i < 64; ++i)
            value[static_cast<uint8_t>(kAlphabet[i])] = static_cast<uint8_t>(i);
    }
};
constexpr DecodeTable kDecode;

// One group of four places; bytes are written as soon as they are complete.
class GroupDecoder {
public:
    GroupDecoder(const uint8_t *src, size_t len, uint8_t *out, bool strict)
        : m_src(src), m_len(len), m_out(out), m_strict(strict) {}

    // False when the padding is malformed.
    bool Run()
    {
        size_t i = 0;
        while (i < m_len) {
            if (m_place == 0)
                i = FastGroups(i);
            if (i >= m_len)
                break;
            const uint8_t c = m_src[i];
            if (c == '=') {
                if (!Padding(i))
                    return false;
            } else if (kDecode.value[c] != kNotInAlphabet) {
                Put(kDecode.value[c]);
            }
            ++i;
        }
        return true;
    }

    size_t Length() const { return m_written; }

private:
    // Whole groups of four alphabet characters from i on, the line breaks
    // between them skipped; returns where the careful path must go on.
    size_t FastGroups(size_t i)
    {
        for (;;) {
            size_t used = 0;
            m_written += Base64DecodeBlocks(m_src + i, m_len - i, m_out + m_written, &used);
            i = ScalarGroups(i + used);
            // Line breaks and other skipped characters between whole groups.
            size_t next = i;
            while (next < m_len && m_src[next] != '=' && kDecode.value[m_src[next]] == kNotInAlphabet)
                ++next;
            if (next == i)
                return i;
            i = next;
        }
    }

    // Groups of four alphabet characters from i on, four at a time.
    size_t ScalarGroups(size_t i)
    {
        uint8_t *out = m_out + m_written;
        while (i + 4 <= m_len) {
            const uint32_t a = kDecode.value[m_src[i]];
            const uint32_t b = kDecode.value[m_src[i + 1]];
            const uint32_t c = kDecode.value[m_src[i + 2]];
            const uint32_t d = kDecode.value[m_src[i + 3]];
            if ((a | b | c | d) & 0x80)
                break;
            const uint32_t v = a << 18 | b << 12 | c << 6 | d;
            out[0] = static_cast<uint8_t>(v >> 16);
            out[1] = static_cast<uint8_t>(v >> 8);
            out[2] = static_cast<uint8_t>(v);
            out += 3;
            i += 4;
        }
        m_written = static_cast<size_t>(out - m_out);
        return i;
    }

    void Put(uint32_t sextet)
    {
        switch (m_place) {
        case 0: m_bits = sextet; break;
        case 1: m_out[m_written++] = static_cast<uint8_t>(m_bits << 2 | sextet >> 4);
                m_bits = sextet; break;
        case 2: m_out[m_written++] = static_cast<uint8_t>(m_bits << 4 | sextet >> 2);
                m_bits = sextet; break;
        default: m_out[m_written++] = static_cast<uint8_t>(m_bits << 6 | sextet); break;
        }
        m_place = (m_place + 1) & 3;
    }

    // An "=" at src[i]; i is moved past a second "=" that it consumes.
    bool Padding(size_t &i)
    {
        switch (m_place) {
        case 0:
        case 1:
            if (m_strict)
                return false;
            Put(0);   // the place moves on as if it held a zero
            return true;
        case 2:
            if (i + 1 >= m_len || m_src[i + 1] != '=')
                return false;
            ++i;
            m_place = 0;
            return true;
        default:
            m_place = 0;
            return true;
        }
    }

    const uint8_t *m_src;
    size_t m_len;
    uint8_t *m_out;
    bool m_strict;
    size_t m_written = 0;
    int m_place = 0;
    uint32_t m_bits = 0;
};

} // namespace

namespace transfer_codecs {

char *Base64Decode(const char *src, int len, int *outLen, bool strict)
{
    int dummy = 0;
    int &n = outLen ? *outLen : dummy;
    n = 0;
    if (!src || len < 0)
        return nullptr;
    // len * 3 / 4 + 4 bytes as the callers know it, and room for the vector
    // decoder's overshoot; what lies past the result is zeroed at the end.
    const size_t size = static_cast<size_t>(len) * 3 / 4 + 4 + kOvershoot;
    auto *out = static_cast<uint8_t *>(std::malloc(size));
    if (!out)
        return nullptr;
    GroupDecoder decoder(reinterpret_cast<const uint8_t *>(src), static_cast<size_t>(len),
                         out, strict);
    if (!decoder.Run()) {
        std::free(out);
        return nullptr;
    }
    std::memset(out + decoder.Length(), 0, size - decoder.Length());
    n = static_cast<int>(decoder.Length());
    return reinterpret_cast<char *>(out);
}

} // namespace transfer_codecs

char *from_base64(const char *src, int len, int *outLen)
{
    return transfer_codecs::Base64Decode(src, len, outLen, false);
}

char *to_base64(const char *src, int len, int *outLen)
{
    int dummy = 0;
    int &n = outLen ? *outLen : dummy;
    n = 0;
    if (!src || len < 0)
        return nullptr;
    const size_t chars = 4 * ((static_cast<size_t>(len) + 2) / 3);
    const size_t plan = chars + 2 * (chars / 60 + 1);
    std::string out;
    out.reserve(plan + 1);
    const auto *in = reinterpret_cast<const uint8_t *>(src);
    size_t groups = 0;
    for (size_t i = 0; i < static_cast<size_t>(len); i += 3) {
        const size_t left = static_cast<size_t>(len) - i;
        const uint32_t v = static_cast<uint32_t>(in[i]) << 16 |
                           (left > 1 ? static_cast<uint32_t>(in[i + 1]) << 8 : 0) |
                           (left > 2 ? in[i + 2] : 0);
        out += kAlphabet[v >> 18 & 63];
        out += kAlphabet[v >> 12 & 63];
        out += left > 1 ? kAlphabet[v >> 6 & 63] : '=';
        out += left > 2 ? kAlphabet[v & 63] : '=';
        if (++groups % 15 == 0)
            out += "\r\n";
    }
    out += "\r\n";
    if (out.size() != plan)
        return nullptr;
    char *result = static_cast<char *>(std::malloc(out.size() + 1));
    if (!result)
        return nullptr;
    std::memcpy(result, out.c_str(), out.size() + 1);
    n = static_cast<int>(out.size());
    return result;
}
