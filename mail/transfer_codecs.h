// Base64 and Quoted-Printable (RFC 2045) over one buffer at a time: body lines
// of the MIME walk, the text of encoded words and the notification mail.
//
//   int n = 0;
//   char *bytes = from_base64(line, lineLen, &n);   // null: failure
//   ...use bytes[0..n) (also NUL-terminated)...
//   free(bytes);
//
// Every function returns a malloc'ed buffer that the caller frees, with its
// length in *outLen (which may be null); null (and length 0) is failure.
// Base64 decoding skips characters outside the alphabet, keeps the whole bytes
// of an unfinished last group (unpadded encoders exist), and fails on "=" in
// the third place of a group unless a second "=" follows; an "=" in the first
// two places is passed over here (CDecodeMaster refuses it).
#pragma once

char *from_base64(const char *src, int len, int *outLen);
// Groups with "=" padding, CR LF after every 60 characters and at the end.
char *to_base64(const char *src, int len, int *outLen);
// Writes a NUL at src[len] (the buffer must have room) and decodes up to the
// first NUL; a bad escape fails the whole text.
char *from_qprint(char *src, int len, int *outLen);
// The same decoding over the text itself (room for a NUL at text[len]): the
// decoded length, NUL-terminated, or -1 for a bad escape.
int qprint_decode_in_place(char *text, int len);
// Lines of at most 75 characters plus soft breaks; CR LF pairs are kept.
char *to_qprint(const char *src, int len, int *outLen);

namespace transfer_codecs {

// The Base64 decoder behind both variants; strict refuses "=" in the first
// two places of a group.
char *Base64Decode(const char *src, int len, int *outLen, bool strict);

} // namespace transfer_codecs
