// AVX2 Base64 block decoder: the characters are classified and translated to
// their 6-bit values with nibble lookups (pshufb), then four values are
// packed into three bytes with multiply-adds and a byte shuffle, as in the
// well-known vector Base64 decoders.
//
// Mail bodies come in lines of one length (76 or 60 characters and CR LF).
// While the lines keep the length of the first one they are decoded with
// fixed steps, so the processor can run ahead from line to line; anything
// else goes block by block, each block ending at the first odd character.
#include "mail/base64_simd.h"

#if defined(__x86_64__)

#include <immintrin.h>

#define OV_AVX2 __attribute__((target("avx2")))

namespace {

// 2 for CR LF, 1 for LF, else 0.
inline size_t LineBreakLength(const uint8_t *p, size_t left)
{
    if (left >= 1 && p[0] == '\n')
        return 1;
    return left >= 2 && p[0] == '\r' && p[1] == '\n' ? 2 : 0;
}

// The 32 characters at p: a bit set in the result for each character
// outside the alphabet; *values receives their 6-bit values (where valid).
OV_AVX2 inline unsigned Translate(const uint8_t *p, __m256i *values)
{
    const __m256i lutLo = _mm256_setr_epi8(
        0x15, 0x11, 0x11, 0x11, 0x11, 0x11, 0x11, 0x11, 0x11, 0x11, 0x13, 0x1A, 0x1B, 0x1B, 0x1B, 0x1A,
        0x15, 0x11, 0x11, 0x11, 0x11, 0x11, 0x11, 0x11, 0x11, 0x11, 0x13, 0x1A, 0x1B, 0x1B, 0x1B, 0x1A);
    const __m256i lutHi = _mm256_setr_epi8(
        0x10, 0x10, 0x01, 0x02, 0x04, 0x08, 0x04, 0x08, 0x10, 0x10, 0x10, 0x10, 0x10, 0x10, 0x10, 0x10,
        0x10, 0x10, 0x01, 0x02, 0x04, 0x08, 0x04, 0x08, 0x10, 0x10, 0x10, 0x10, 0x10, 0x10, 0x10, 0x10);
    const __m256i lutRoll = _mm256_setr_epi8(
        0, 16, 19, 4, -65, -65, -71, -71, 0, 0, 0, 0, 0, 0, 0, 0,
        0, 16, 19, 4, -65, -65, -71, -71, 0, 0, 0, 0, 0, 0, 0, 0);
    const __m256i mask2F = _mm256_set1_epi8(0x2F);

    const __m256i s = _mm256_loadu_si256(reinterpret_cast<const __m256i *>(p));
    const __m256i hiNibbles = _mm256_and_si256(_mm256_srli_epi32(s, 4), mask2F);
    const __m256i loNibbles = _mm256_and_si256(s, mask2F);
    const __m256i hi = _mm256_shuffle_epi8(lutHi, hiNibbles);
    const __m256i lo = _mm256_shuffle_epi8(lutLo, loNibbles);
    const __m256i eq2F = _mm256_cmpeq_epi8(s, mask2F);
    const __m256i roll = _mm256_shuffle_epi8(lutRoll, _mm256_add_epi8(eq2F, hiNibbles));
    *values = _mm256_add_epi8(s, roll);
    const __m256i ok = _mm256_cmpeq_epi8(_mm256_and_si256(lo, hi), _mm256_setzero_si256());
    return ~static_cast<unsigned>(_mm256_movemask_epi8(ok));
}

// Packs 32 values into 24 bytes at out (32 bytes are stored).
OV_AVX2 inline void Pack(__m256i values, uint8_t *out)
{
    const __m256i packPairs = _mm256_set1_epi32(0x01400140);
    const __m256i packQuads = _mm256_set1_epi32(0x00011000);
    const __m256i order = _mm256_setr_epi8(
        2, 1, 0, 6, 5, 4, 10, 9, 8, 14, 13, 12, -1, -1, -1, -1,
        2, 1, 0, 6, 5, 4, 10, 9, 8, 14, 13, 12, -1, -1, -1, -1);
    const __m256i lanes = _mm256_setr_epi32(0, 1, 2, 4, 5, 6, -1, -1);
    __m256i packed = _mm256_madd_epi16(_mm256_maddubs_epi16(values, packPairs), packQuads);
    packed = _mm256_shuffle_epi8(packed, order);
    packed = _mm256_permutevar8x32_epi32(packed, lanes);
    _mm256_storeu_si256(reinterpret_cast<__m256i *>(out), packed);
}

// Decodes one line of `width` characters (a multiple of 4, at least 32) at p
// into out; false, with nothing promised about out, when a character is
// outside the alphabet. The last block overlaps the one before it.
OV_AVX2 inline bool Line(const uint8_t *p, size_t width, uint8_t *out)
{
    __m256i values;
    for (size_t at = 0;; at += 32) {
        if (at + 32 > width)
            at = width - 32;
        if (Translate(p + at, &values) != 0)
            return false;
        Pack(values, out + at / 4 * 3);
        if (at + 32 == width)
            return true;
    }
}

// Lines of the first line's width, each followed by the same line break.
OV_AVX2 size_t DecodeLines(const uint8_t *src, size_t len, uint8_t *out, size_t *used)
{
    size_t width = 0;
    while (width < len && width < 128 && src[width] != '\r' && src[width] != '\n')
        ++width;
    const size_t lineBreak = LineBreakLength(src + width, len - width);
    if (lineBreak == 0 || width % 4 != 0 || width < 32)
        return 0;
    const size_t stride = width + lineBreak;
    size_t i = 0;
    size_t written = 0;
    while (i + stride <= len && LineBreakLength(src + i + width, lineBreak) == lineBreak &&
           Line(src + i, width, out + written)) {
        written += width / 4 * 3;
        i += stride;
    }
    *used = i;
    return written;
}

// Blocks of 32 characters, a block with an odd character giving the whole
// groups before it; a line break between groups is passed over.
OV_AVX2 size_t DecodeBlocks(const uint8_t *src, size_t len, uint8_t *out, size_t *used)
{
    size_t i = 0;
    size_t written = 0;
    __m256i values;
    while (i + 32 <= len) {
        const unsigned invalid = Translate(src + i, &values);
        size_t take = 32;
        size_t lineBreak = 0;
        if (invalid != 0) {
            const size_t at = static_cast<size_t>(__builtin_ctz(invalid));
            take = at / 4 * 4;
            if (take == at)
                lineBreak = LineBreakLength(src + i + at, len - i - at);
            if (take == 0 && lineBreak == 0)
                break;
        }
        if (take > 0) {
            Pack(values, out + written);
            written += take / 4 * 3;
        }
        i += take + lineBreak;
        if (take < 32 && lineBreak == 0)
            break;
    }
    *used = i;
    return written;
}

bool HasAvx2()
{
    static const bool has = [] {
        __builtin_cpu_init();
        return __builtin_cpu_supports("avx2") != 0;
    }();
    return has;
}

} // namespace

size_t Base64DecodeBlocks(const uint8_t *src, size_t len, uint8_t *out, size_t *used)
{
    *used = 0;
    if (!HasAvx2())
        return 0;
    size_t lines = 0;
    const size_t written = DecodeLines(src, len, out, &lines);
    size_t blocks = 0;
    const size_t more = DecodeBlocks(src + lines, len - lines, out + written, &blocks);
    *used = lines + blocks;
    return written + more;
}

#else

size_t Base64DecodeBlocks(const uint8_t *, size_t, uint8_t *, size_t *used)
{
    *used = 0;
    return 0;
}

#endif
