// CDecodeMaster: decodes an encoded attachment file line by line into another
// file (Base64, Quoted-Printable, or uuencode with XXencode recognised by the
// first character of a line).
//
//   CDecodeMaster dm;
//   dm.Do_Base64Decode("/tmp/part.b64", "/tmp/part.bin");   // throws only when
//                                                           // the output cannot be made
//
// Each line is trimmed of " \t\r\n" on the right and decoded on its own, so a
// Quoted-Printable line loses its line end and a group split over two lines
// is lost. The single-line decoders return malloc'ed buffers that the caller
// frees, null (length 0) for failure or nothing.
#pragma once

#include <vector>

class CDecodeMaster {
public:
    // Any other value decodes as Base64.
    enum DECODETYPE : int { BASE64 = 0, QPRINT = 1, UUENCODE = 2 };

    // As the free from_base64, but an "=" in the first two places of a group
    // fails.
    char *from_base64(const char *src, int len, int *outLen);
    // As the free from_qprint (writes a NUL at src[len]).
    char *from_qprint(char *src, int len, int *outLen);
    // One uuencoded (or XXencoded, when the count character is 'a' or above)
    // line; null for an empty line, "end", or no bytes.
    char *from_UU(const char *line, int len, int *outLen);

    // The 6-bit value of one uuencode character (XXencode first translated).
    static int uu_DEC(char c, int xx);
    // Appends min(n, 3) bytes of the group of four characters at quad.
    static void outdec(std::vector<char> &out, const char *quad, int n, int xx);
    // Writes NUL at s[len], then drops CR and LF from the end; the new length.
    static int TrimCRLF(char *s, int len);

    // Decodes inPath into outPath (created with "wb"); throws
    // std::runtime_error("file open error") when outPath cannot be opened,
    // otherwise true (an unreadable input gives an empty output).
    bool Do_Decode(const char *inPath, const char *outPath, DECODETYPE type);
    bool Do_QPDecode(const char *inPath, const char *outPath);
    bool Do_Base64Decode(const char *inPath, const char *outPath);
    bool Do_UUDecode(const char *inPath, const char *outPath);
};
