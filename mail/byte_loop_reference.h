// The byte-at-a-time forms of loops that the converters and decoders run
// over whole runs of bytes (eight bytes at a time, runs of ASCII or JIS X
// 0208 in one go). They give the same answers and bytes as the run-wise
// forms and are kept so that tests and fuzz targets can check that.
//
//   char *a = fromJISEx(text, CHARSET_EUC, 0);
//   char *b = fromJISExByCharacter(text, CHARSET_EUC, 0);   // same bytes
#pragma once

// fromJISEx with every character read and written alone.
char *fromJISExByCharacter(const char *text, int to, int widenKana);

// AutoDetect looking at every byte of the text.
int AutoDetectByByte(const char *text);

// from_qprint copying one byte at a time.
char *from_qprint_by_byte(char *src, int len, int *outLen);
