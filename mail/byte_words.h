// Eight bytes at a time: tests on a 64-bit word of text that tell whether
// any of its bytes is of a kind, so that loops over long runs of ordinary
// bytes step eight bytes at once and look at single bytes only where the
// word holds one of interest.
//
//   uint64_t w = LoadWord(p);
//   if (!HasHighByte(w) && !HasByteIn(w, 0x0E, 0x1B) && !HasByte(w, '=')) ...
//
// The answers are exact for the word as a whole (not which byte). HasByteIn
// is exact only for a word without a byte of 0x80 or above: test HasHighByte
// first.
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

inline bool HasHighByte(uint64_t w) { return (w & kByteHighs) != 0; }

// A byte equal to c.
inline bool HasByte(uint64_t w, uint8_t c)
{
    const uint64_t x = w ^ (kByteOnes * c);
    return ((x - kByteOnes) & ~x & kByteHighs) != 0;
}

// A byte from lo to hi (lo <= hi < 0x80), in a word of bytes below 0x80.
inline bool HasByteIn(uint64_t w, uint8_t lo, uint8_t hi)
{
    return ((w + kByteOnes * (0x80 - lo)) & ~(w + kByteOnes * (0x7F - hi)) & kByteHighs) != 0;
}
