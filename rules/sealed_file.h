// Sealed rule files: the vendor's anti-spam rules are shipped scrambled and
// guarded by a CRC line, so that a damaged or hand-edited file is refused.
//
//   sealed file = "<crc>\n" + body
//   body byte n = plain byte n XOR "qirvanot"[(n % 511) % 8]
//   crc         = reflected CRC-32 (0xEDB88320) over the body, register
//                 started at 0, no final complement
//
// Sealing and unsealing are the same XOR. The scrambling keeps casual readers
// out; it is no encryption.
//
// The header is read back with the semantics of fscanf("%u\n"): the white
// space after the number is skipped, also when it is the first byte of the
// body. A body that begins with a blank, tab, CR or LF therefore never
// unseals (its CRC no longer agrees). This is kept as it is: sealed files in
// the field were made and checked this way.
//
//   EncrptFileWithCRC(plain, sealed)  seals; the CRC as an int, -1 when a file
//                                     cannot be opened
//   DecrptFileWithCRC(sealed, plain)  unseals; 1, or -1 on an open failure or
//                                     a CRC that does not agree (nothing is
//                                     written then)
#pragma once

// Block length after which the key position starts again at 0.
constexpr int kSealBlockSize = 511;

// One CRC step over `byte` (its low 8 bits).
unsigned long UPDC32(int byte, unsigned long crc);
// The register after feeding `length` bytes of `buffer` (nothing for length <= 0).
unsigned long CalculateCRC(const unsigned char *buffer, unsigned long crc, int length);

// XORs `length` bytes in place with the key, `position` being the body offset
// of buffer[0].
void ScrambleSealedBytes(unsigned char *buffer, long position, int length);

int EncrptFileWithCRC(const char *plainPath, const char *sealedPath);
int DecrptFileWithCRC(const char *sealedPath, const char *plainPath);
