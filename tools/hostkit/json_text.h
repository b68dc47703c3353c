// JSON text for the small records the hosts and ovctl write and read back:
// quoting a string, and reading one flat object whose values are strings,
// numbers, booleans, null or arrays of strings.
//
//   std::string line = "{\"id\": " + json_quote(id) + "}";
//   JsonObject object;
//   if (!parse_json_object(text, &object, &error)) ...
//   std::string id = object.text("id");
//
// Text in the host's character code (rule and policy names, mail headers)
// is first converted to UTF-8 (json_string); a byte that does not convert
// stays and is quoted as any other stray byte.
//
// Quoting keeps well-formed UTF-8 as it is and writes every other byte as
// \u00XX (the byte taken as Latin-1), so the output is always valid UTF-8
// and no control character survives. The reader refuses text that is not
// UTF-8, nested objects, arrays of anything but strings, and input over
// kJsonMaxInput bytes; its cost is linear in the input.
#pragma once

#include <map>
#include <string>
#include <vector>

constexpr size_t kJsonMaxInput = 4u << 20;

// The text as a JSON string literal, quotes included.
std::string json_quote(const std::string &text);

// The text with each byte that is not part of well-formed UTF-8 replaced by
// U+FFFD, for output that must be UTF-8 (HTML).
std::string valid_utf8(const std::string &text);

// The iconv name of the host code that a "HostLanguage" value selects:
// EUC-JP, SHIFT_JIS, BIG5, EUC-TW, GB2312, or UTF-8 for any other value.
const char *host_code_name(const std::string &hostLanguage);

// json_quote of the text converted from the character code `code` to UTF-8.
std::string json_string(const std::string &text, const char *code = "UTF-8");

// A JSON array of string literals: ["a", "b"].
std::string json_quote_list(const std::vector<std::string> &items);

struct JsonObject {
    std::map<std::string, std::string> scalars;                 // numbers and booleans as written
    std::map<std::string, std::vector<std::string>> lists;

    // The value of a string member, or "" when absent.
    std::string text(const std::string &key) const;
    // The items of an array member, or none.
    std::vector<std::string> list(const std::string &key) const;
    bool has(const std::string &key) const;
};

// Reads one JSON object (blanks around it allowed); false with a reason.
bool parse_json_object(const std::string &input, JsonObject *object, std::string *error);
