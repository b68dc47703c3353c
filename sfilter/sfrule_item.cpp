// Reading and writing the tagged items of "SFRule.txt" (see sfrule_item.h).
#include "sfilter/sfrule_item.h"

#include <cstring>

namespace {

const char kTrimSet[] = " \t\r\n";

std::string trimmed(const std::string &text, size_t from, size_t to)
{
    size_t first = text.find_first_not_of(kTrimSet, from);
    if (first == std::string::npos || first >= to)
        return std::string();
    size_t last = text.find_last_not_of(kTrimSet, to - 1);
    return text.substr(first, last + 1 - first);
}

} // namespace

bool get_token(const std::string &line, const char *key, std::string &value)
{
    value.clear();
    if (!key)
        return false;
    const std::string open = std::string("<") + key + ">";
    const std::string close = std::string("</") + key + ">";
    size_t openAt = line.find(open);
    if (openAt == std::string::npos)
        return false;
    size_t valueStart = openAt + open.size();
    size_t closeAt = line.find(close);
    if (closeAt == std::string::npos || closeAt < valueStart)
        return false;
    value = trimmed(line, valueStart, closeAt);
    return true;
}

void token_assembly(std::string &line, const char *key, const char *value)
{
    line.append("<").append(key).append(">");
    line.append(value ? value : "");
    line.append("</").append(key).append(">");
}

bool read_bool(const std::string &line, const char *key, bool &value)
{
    std::string text;
    value = get_token(line, key, text) && text == "yes";
    return value;
}

void write_attr(std::string &line, const char *key, const std::string &value,
                bool caseSensitive, bool exact)
{
    std::string inner;
    token_assembly(inner, "NAME", value.c_str());
    token_assembly(inner, "I", caseSensitive ? "yes" : "");
    token_assembly(inner, "S", exact ? "yes" : "");
    token_assembly(line, key, inner.c_str());
}

std::string fill_attr(bool caseSensitive, bool exact)
{
    std::string letters;
    if (caseSensitive)
        letters += 'I';
    if (exact)
        letters += 'S';
    return letters;
}
