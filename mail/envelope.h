// Readers of the envelope (AF) file that the host writes beside each mail:
// one item per line, the first character a command letter of "FTODCPSAR",
// the rest its value, e.g.
//
//   F<sender@example.com>
//   T<rcpt@example.org>
//   S=?ISO-2022-JP?B?...?=
//   R1039410000
//
// Lines are trimmed of " \t\r\n" on the right; lines with another first
// character are ignored. CMailInfo::ParseAFInfo reads a whole file (the last
// line of a letter wins); the readers here take the first line of a letter.
#pragma once

#include <string>

namespace envelope {

constexpr char kCommandLetters[] = "FTODCPSAR";
constexpr char kTrimSet[] = " \t\r\n";

bool IsCommandLetter(char letter);
// The line without its trailing blanks, tabs, CR and LF.
std::string TrimRight(const std::string &line);
// The value of a trimmed line (letter first) with its enclosing "<" and ">"
// stripped; false when the line carries no value that way (too short, or
// nothing between the brackets).
bool StripBrackets(const std::string &line, std::string &value);
// Decodes the value's encoded words and converts it to the host code; a
// value that does not decode is kept as it is. A plain value is its own
// decoding and is returned as it is without the work.
std::string DecodeValue(const std::string &value);
// True for a value of 7-bit bytes without NUL, ESC, SO, SI or "=?": no
// encoded word starts in it, it reads as plain text, and every conversion
// to the host code keeps its bytes.
bool IsPlainValue(const std::string &value);
// DecodeValue's full work, whatever the value.
std::string DecodeEncodedValue(const std::string &value);

} // namespace envelope

// Reads one envelope value: the first line that starts with letter, trimmed,
// without the letter; no bracket stripping, no decoding; an empty F value is
// the null sender "<>". 0, or -1 for a letter outside "FTODCPSAR", a file
// that cannot be opened, or no such line.
int GetAFInfo(char letter, const char *afPath, std::string &value);
