// JSON string literals that are valid UTF-8 whatever the bytes: what hosts
// print with --json. Text in the host's character code (rule and policy
// names, mail headers) is converted to UTF-8; a byte that does not convert
// (or, for UTF-8 input, is no part of a valid sequence) is written as the four
// characters \xNN, which JSON carries as "\\xNN". Control characters are
// escaped as JSON requires.
//
//   json_string("Gro\xdf", "UTF-8")   ->  "Gro\\xdf"
//   json_string(eucText, host_code_name("ja_JP.eucJP"))
#pragma once

#include <string>

// The iconv name of the host code that a "HostLanguage" value selects:
// EUC-JP, SHIFT_JIS, BIG5, EUC-TW, GB2312, or UTF-8 for any other value.
const char *host_code_name(const std::string &hostLanguage);

// The JSON literal, quotes included, of text in the character code `code`.
std::string json_string(const std::string &text, const char *code = "UTF-8");
