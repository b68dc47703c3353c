// Vector decoding of whole Base64 blocks (32 alphabet characters into 24
// bytes), used by the Base64 decoder for the body of a line when the
// processor has AVX2. Anything that is not a plain alphabet character
// (line breaks, padding, stray bytes) ends the run, for the careful decoder.
//
//   size_t used = 0;
//   out += Base64DecodeBlocks(src, len, out, &used);   // out needs 8 spare bytes
#pragma once

#include <cstddef>
#include <cstdint>

// Decodes blocks from src while every character is in the alphabet, going on
// over line breaks that stand between whole groups; *used receives the
// characters consumed, the result is the bytes written.
// Writes up to 32 bytes from out, which must lie within the buffer (at most
// 8 past the decoded bytes when that many characters follow). 0 when the
// processor lacks AVX2.
size_t Base64DecodeBlocks(const uint8_t *src, size_t len, uint8_t *out, size_t *used);
