// Small readers of MIME header lines for the MIME walk, and AddAttachInfo,
// which records one attachment the walk found.
//
// Header names are matched without regard to case as prefixes of the line;
// parameter names are found in a lower-cased copy of the line and their
// values taken from the line itself.
#pragma once

#include <cstddef>
#include <string>

class Attach_Stru;
class CMailInfo;

// Transfer-encoding codes (also Attach_Stru::m_nEncoding).
enum : int {
    ENCODING_7BIT = 1,
    ENCODING_QPRINT = 2,
    ENCODING_BASE64 = 4,
    ENCODING_8BIT = 8,
    ENCODING_BINARY = 16,
    ENCODING_UUENCODE = 32,
};

// Content classes.
enum : int {
    CLASS_TEXT = 1,
    CLASS_MULTIPART = 2,
    CLASS_MESSAGE = 4,
    CLASS_IMAGE = 8,
    CLASS_AUDIO = 16,
    CLASS_VIDEO = 32,
    CLASS_APPLICATION = 64,
};

// Charset codes of a "charset=" parameter.
enum : int {
    MIME_CHARSET_US_ASCII = 1,
    MIME_CHARSET_BIG5 = 2,
    MIME_CHARSET_ISO2022JP = 4,
    MIME_CHARSET_ISO8859_1 = 8,
    MIME_CHARSET_SHIFT_JIS = 16,
    MIME_CHARSET_EUC_JP = 32,
};

bool HeaderIs(const char *line, const char *prefix);   // case-insensitive prefix
bool IsBlankLine(const char *line);                    // starts with CR or LF
bool IsContinuationLine(const char *line);             // starts with blank or TAB
std::string LowerCopy(const std::string &text);        // ASCII letters lowered

// The code of the first of "7bit", "quoted-printable", "base64", "8bit",
// "binary" in a Content-Transfer-Encoding line, or 0.
int TransferEncodingOf(const std::string &line);
// The code of the first of the known charset names in `text` (lower case),
// or 0.
int CharsetCodeOf(const std::string &text);
// The class of a "Content-Type:" line by its type after exactly one blank
// (anything unknown is text); *digest tells multipart/digest.
int ContentClassOf(const char *line, bool *digest);

// The type token of a "Content-Type:" line: after "Content-Type:" and one
// more character, up to NUL, blank, ';', CR or LF; at most 127 characters
// into out (128 bytes).
void GetContentTypeString(const char *line, char *out);

// Replaces each byte below 0x20 (CR, LF, TAB and the rest) by a blank, so
// that a text from the mail stays on its line wherever it is written.
void BlankControlCharacters(char *text);
// A name as clients show it: control characters blanked, then the blanks
// at either end removed.
void CleanAttachmentName(char *name);

// The longest encoded word a name may hold (a name field's worth).
constexpr size_t kMaxEncodedName = 4095;

// Records an attachment in info: a non-empty name is decoded from encoded
// words of any length up to kMaxEncodedName (to code 3) when it holds any,
// and cut to 511 characters, then cleaned (CleanAttachmentName); the type
// has its control characters blanked. Nothing happens when both are null. The
// record returned (null when none was added, as past 128 attachments) starts
// with range -1..0, encoding 0, not TNEF and no TNEF names, whatever an
// earlier mail left in it.
Attach_Stru *AddAttachInfo(char *name, char *contentType, CMailInfo *info);
