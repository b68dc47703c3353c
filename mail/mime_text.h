// The searchable text of a mail as the MIME walk gathers it: header lines
// with their encoded words decoded, body lines decoded from their transfer
// encoding and converted to EUC (code 3), written into a MEMBUF and, once
// that would hold more than 99999 bytes, into the mail's text file.
//
//   DecodeCarry carry;                       // one per walk
//   InsertHeaderToTempFile(line, buf, file);
//   InsertDataToTempFile(line, 4, charset, buf, file, carry);   // a base64 line
//
// Lines are decoded one at a time, so a character can be split between two
// of them (base64 and quoted-printable lines break anywhere). DecodeStr keeps
// the bytes of a character that the line cuts short and puts them before
// the next line; for ISO-2022 text it also carries the shift state in force
// at a cut (the escape sequence is put before the next line), because the
// next line's bytes mean nothing without it. A line that ends in a line
// break carries nothing: ISO-2022 text returns to ASCII before every line
// end.
#pragma once

#include <cstdio>
#include <string>

#include "ov/contscan.h"

constexpr int MEMBUF_MAX_TEXT = OV_MEMBUF_SIZE - 1;   // 99999 bytes held at most

// Bytes carried from one body line to the next.
struct DecodeCarry {
    std::string kept;    // the start of a character cut by the line's end
    std::string shift;   // ISO-2022 escapes in force at the cut
    void Clear()
    {
        kept.clear();
        shift.clear();
    }
};

// Appends n bytes to the text: to the MEMBUF while it is in memory and the
// total stays at most 99999 bytes, else (the held bytes first, once) to the
// file, and the MEMBUF stays spilled. Without a file, bytes that do not fit
// are dropped. A null buf writes to the file alone.
void WriteToTempFile(const char *data, int n, MEMBUF *buf, FILE *file);

// Writes a header line, with its encoded words decoded when rfc1342_decode
// accepts it.
void InsertHeaderToTempFile(const char *line, MEMBUF *buf, FILE *file);

// Decodes one body line through DecodeStr and writes the result after
// TakeOffCRLF; a line that does not decode is written as it is.
// The charset code of the part is kept for callers; the text's own bytes
// decide its conversion.
void InsertDataToTempFile(const char *line, int encoding, int charset, MEMBUF *buf, FILE *file,
                          DecodeCarry &carry);

// One body line decoded by transfer encoding (2 quoted-printable, 4 base64,
// anything else as it stands), prefixed by what the previous line carried,
// and converted to code 3. False when the transfer decoding fails.
bool DecodeStr(const char *line, int encoding, DecodeCarry &carry, std::string &out);

// For a length of 4 to 8198: removes the line breaks (CR, LF, CR LF) whose
// byte two places before is a double-byte lead byte (161 to 254, or 142),
// so that East-Asian words broken across lines join again. *len receives
// the new length.
void TakeOffCRLF(char *text, int *len);

// Cuts the line at its first CR or LF.
void TakeOffLineEndCRLF(char *line);
