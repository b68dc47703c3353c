// The item syntax of "SFRule.txt": a line is a run of "<KEY>value</KEY>"
// items in any order; the items of an address list, of the MIME and file-name
// lists and of the include/exclude text are themselves such runs:
//   <FROM><NAME>a@x, b@y</NAME><I>yes</I><S></S></FROM>
//
// Keys are matched exactly (upper case, blanks inside included). A value is
// the text between the first "<KEY>" and the first "</KEY>" of the line,
// trimmed of " \t\r\n"; an item whose closing tag is missing or stands before
// the end of its opening tag is absent. Values are written as they are: a
// value that itself holds a tag of the same key does not read back.
#pragma once

#include <string>

// Finds item `key`; false (and value cleared) when it is absent.
bool get_token(const std::string &line, const char *key, std::string &value);
// Appends "<key>value</key>" to line.
void token_assembly(std::string &line, const char *key, const char *value);
// value = item `key` is present and reads "yes".
bool read_bool(const std::string &line, const char *key, bool &value);

// "<key><NAME>value</NAME><I>yes|</I><S>yes|</S></key>" appended to line.
void write_attr(std::string &line, const char *key, const std::string &value,
                bool caseSensitive, bool exact);
// The flag letters of the older export form: "I" and/or "S", or "".
std::string fill_attr(bool caseSensitive, bool exact);
