// Eight bytes at a time: tests on a 64-bit word of text that tell whether
// any of its bytes is of a kind, so that loops over long runs of ordinary
// bytes step eight bytes at once and look at single bytes only where the
// word holds one of interest.
//
//   uint64_t w = LoadWord(p);
//   if (!HasHighByte(w) && !HasByteIn(w, 0x0E, 0x1B) && !HasByte(w, '=')) ...
//
// The answers are exact for the word as a whole. The *Mask forms flag the
// bytes themselves (their top bit): the lowest flag always marks a byte of
// the kind, flags above it may be false (a borrow or carry goes upwards), so
// FirstFlagged(mask) is where the first byte of interest is. HasByteIn and
// ByteInMask are exact only for a word without a byte of 0x80 or above; in
// any word their flags below the lowest high byte are exact.
#pragma once

#include <cstdint>
#include <cstring>

constexpr uint64_t kByteOnes = 0x0101010101010101ULL;
constexpr uint64_t kByteHighs = kByteOnes * 0x80;

inline uint64_t LoadWord(const void *p)
{
    uint64_t w;
    std::memcpy(&w, p, 8);
    return w;
}

inline uint64_t HighByteMask(uint64_t w) { return w & kByteHighs; }
inline bool HasHighByte(uint64_t w) { return HighByteMask(w) != 0; }

// Bytes equal to c.
inline uint64_t ByteMask(uint64_t w, uint8_t c)
{
    const uint64_t x = w ^ (kByteOnes * c);
    return (x - kByteOnes) & ~x & kByteHighs;
}
inline bool HasByte(uint64_t w, uint8_t c) { return ByteMask(w, c) != 0; }

// Bytes from lo to hi (lo <= hi < 0x80), in a word of bytes below 0x80.
inline uint64_t ByteInMask(uint64_t w, uint8_t lo, uint8_t hi)
{
    return (w + kByteOnes * (0x80 - lo)) & ~(w + kByteOnes * (0x7F - hi)) & kByteHighs;
}
inline bool HasByteIn(uint64_t w, uint8_t lo, uint8_t hi) { return ByteInMask(w, lo, hi) != 0; }

// How many bytes of the word come before the first flagged one, for a mask
// that is not 0. On a big-endian machine borrows and carries run towards the
// word's first bytes, so no flag is sure there: 0, the caller looks at each.
inline unsigned FirstFlagged(uint64_t mask)
{
#if __BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__
    return unsigned(__builtin_ctzll(mask)) / 8;
#else
    return mask ? 0 : 8;
#endif
}
