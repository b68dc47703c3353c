// Unicode text (UTF-8, UTF-16LE) in the form the scan text and the rules
// use: the EUC form of the host language (code 3: EUC-JP, EUC-CN or
// EUC-TW by `_language`), through glibc's iconv. A character the target has
// no place for becomes "?".
#pragma once

#include <string>

// True when the bytes are well-formed UTF-8 and hold at least one
// character outside ASCII.
bool IsUtf8Text(const std::string &bytes);
// UTF-8 or UTF-16LE text in the host's EUC form.
std::string Utf8ToHostEuc(const std::string &utf8);
std::string Utf16leToHostEuc(const std::string &utf16);
