// Fuzzes reading back a rewritten message and the header edits the milter
// sends the MTA. The input is two messages separated by a NUL byte: the one
// the MTA holds and the one the plug-in left in the spool. Applying the
// edits to the first header list the way the MTA does must give, name by
// name, the fields of the second; any difference traps.
#include <cstdint>
#include <cctype>
#include <cstdlib>
#include <map>
#include <string>
#include <vector>

#include "tools/ovmilter/rewritten_mail.h"

namespace {

std::string lower(std::string text)
{
    for (char &c : text)
        c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    return text;
}

std::string without_leading_blanks(const std::string &value)
{
    size_t begin = value.find_first_not_of(" \t");
    return begin == std::string::npos ? "" : value.substr(begin);
}

using FieldsByName = std::map<std::string, std::vector<std::string>>;

FieldsByName by_name(const std::vector<HeaderField> &headers)
{
    FieldsByName fields;
    for (const HeaderField &header : headers)
        fields[lower(header.name)].push_back(without_leading_blanks(header.value));
    return fields;
}

// What the MTA does with the edits: change or remove the index-th field of
// a name, add new fields at the end.
FieldsByName apply_edits(FieldsByName fields, const std::vector<HeaderEdit> &edits)
{
    for (const HeaderEdit &edit : edits) {
        std::vector<std::string> &values = fields[lower(edit.name)];
        size_t at = static_cast<size_t>(edit.index) - 1;
        switch (edit.kind) {
        case HeaderEdit::Change:
            if (edit.index < 1 || at >= values.size())
                std::abort();
            values[at] = edit.value;
            break;
        case HeaderEdit::Remove:
            if (edit.index < 1 || at >= values.size())
                std::abort();
            values.erase(values.begin() + static_cast<long>(at));
            break;
        case HeaderEdit::Add:
            values.push_back(edit.value);
            break;
        }
    }
    for (auto it = fields.begin(); it != fields.end();)
        it = it->second.empty() ? fields.erase(it) : std::next(it);
    return fields;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    std::string input(reinterpret_cast<const char *>(data), size);
    size_t nul = input.find('\0');
    std::string held = input.substr(0, nul);
    std::string rewritten = nul == std::string::npos ? held : input.substr(nul + 1);
    RewrittenMail before = split_message(held);
    RewrittenMail after = split_message(rewritten);
    std::vector<HeaderEdit> edits = header_edits(before.headers, after.headers);
    if (apply_edits(by_name(before.headers), edits) != by_name(after.headers))
        std::abort();
    return 0;
}
