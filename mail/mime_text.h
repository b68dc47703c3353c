// The searchable text of a mail as the MIME walk gathers it: header lines
// with their encoded words decoded, body lines decoded from their transfer
// encoding and converted to EUC (code 3), written into a MEMBUF and, once
// that would hold more than 99999 bytes, into the mail's text file.
//
//   DecodeCarry carry;                       // one per walk
//   InsertHeaderToTempFile(line, buf, file);
//   InsertDataToTempFile(line, 4, charset, buf, file, carry);   // a base64 line
//   FlushDataToTempFile(buf, file, carry);                       // the part ends
//
// Encoded lines end wherever the sender's mailer chose (base64 and
// quoted-printable lines break anywhere, inside a character or an ISO-2022
// escape sequence), so the text of a line that the encoded line leaves
// unfinished is held until a line break ends it and is then detected and
// converted with the rest of that line: the text does not depend on where
// the encoded lines end. The text held is bounded: past 4096 bytes without
// a line break it is converted up to a place that cuts no character,
// keeping back an escape sequence or a character that the piece cuts short
// (whatever the detector makes of the piece) and, for ISO-2022 text, the
// shift state in force (put before the rest). When the part ends,
// FlushDataToTempFile writes what is held.
//
// Text that no converter would change (no ESC, SO, SI or byte of 0x80 and
// above, held or new) skips detection and conversion, which give it back
// unchanged; DecodeCarry::reference sends every line through them, so tests
// can check that both give the same bytes. The carry's buffers are reused
// from line to line: one carry per walk.
//
// The writers return false once a write to the text file has failed (the
// text is then incomplete); a MEMBUF without a file drops what does not fit
// and that is no failure.
#pragma once

#include <cstddef>
#include <cstdio>
#include <string>

#include "ov/contscan.h"

constexpr int MEMBUF_MAX_TEXT = OV_MEMBUF_SIZE - 1;   // 99999 bytes held at most

// Decoded text carried from one body line to the next: the start of a
// text line that no line break has ended yet.
struct DecodeCarry {
    std::string held;
    bool heldPlain = true;   // held has no byte a converter would change
    bool reference = false;  // every line through detection and conversion
    std::string complete;    // reused: the text lines a body line completes
    std::string scratch;     // reused: a quoted-printable line, decoded in place
    void Clear()
    {
        held.clear();
        heldPlain = true;
    }
};

constexpr size_t DECODE_HOLD_LIMIT = 4096;   // text held without a line break

// Appends n bytes to the text: to the MEMBUF while it is in memory and the
// total stays at most 99999 bytes, else (the held bytes first, once) to the
// file, and the MEMBUF stays spilled. Without a file, bytes that do not fit
// are dropped. A null buf writes to the file alone.
bool WriteToTempFile(const char *data, int n, MEMBUF *buf, FILE *file);

// Writes a header line, with its encoded words decoded when rfc1342_decode
// accepts it; a line without ESC, SO, SI, 8-bit bytes or "=?" is written as
// it stands (what the decoding gives back for it) unless `reference`.
bool InsertHeaderToTempFile(const char *line, MEMBUF *buf, FILE *file, bool reference = false);

// Decodes one body line through DecodeStr and writes the result after
// TakeOffCRLF; a line that does not decode is written as it is, after the
// text held before it.
// The charset code of the part is kept for callers; the text's own bytes
// decide its conversion.
bool InsertDataToTempFile(const char *line, int encoding, int charset, MEMBUF *buf, FILE *file,
                          DecodeCarry &carry);

// One body line decoded by transfer encoding (2 quoted-printable, 4 base64,
// anything else as it stands) and added to the text held; out receives the
// text lines it completes (or a long line's whole characters), converted
// to code 3, and may be empty. False when the transfer decoding fails.
bool DecodeStr(const char *line, int encoding, DecodeCarry &carry, std::string &out);

// At the end of a part: converts and writes the text held (a character or
// escape sequence cut short is dropped) and empties the carry.
bool FlushDataToTempFile(MEMBUF *buf, FILE *file, DecodeCarry &carry);

// For a length of 4 to 8198: removes the line breaks (CR, LF, CR LF) whose
// byte two places before is a double-byte lead byte (161 to 254, or 142),
// so that East-Asian words broken across lines join again. *len receives
// the new length. Works in place.
void TakeOffCRLF(char *text, int *len);

// Cuts the line at its first CR or LF.
void TakeOffLineEndCRLF(char *line);
