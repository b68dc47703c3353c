// The pattern lists of a specialized-filter rule (see sf_rule.h).
#include "sfilter/sf_rule.h"

#include <cctype>

namespace {

// Room for the usual rule without growing.
constexpr size_t kPreallocated = 6;

// The tokens of a pattern list: its first SF_LIST_LIMIT characters, lowered,
// split at commas, blanks and tabs.
std::vector<std::string> list_tokens(const char *list)
{
    std::string text = list ? list : "";
    if (text.size() > SF_LIST_LIMIT)
        text.resize(SF_LIST_LIMIT);
    for (char &c : text)
        c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    std::vector<std::string> tokens;
    size_t start = 0;
    while ((start = text.find_first_not_of(", \t", start)) != std::string::npos) {
        size_t end = text.find_first_of(", \t", start);
        tokens.push_back(text.substr(start, end - start));
        start = end;
    }
    return tokens;
}

} // namespace

CSFRule::CSFRule()
{
    filenames.reserve(kPreallocated);
    mimeTypes.reserve(kPreallocated);
}

void CSFRule::ParseFilename(const char *list)
{
    filenames.clear();
    for (const std::string &token : list_tokens(list))
        AddFilename(token.c_str());
}

void CSFRule::ParseMIMEType(const char *list)
{
    mimeTypes.clear();
    for (const std::string &token : list_tokens(list))
        AddMIMEType(token.c_str());
}

void CSFRule::AddMIMEType(const char *type)
{
    std::string text = type ? type : "";
    if (text.size() >= SF_MIME_SIZE)
        text.resize(SF_MIME_SIZE - 1);
    mimeTypes.push_back(text);
}

void CSFRule::AddFilename(const char *pattern)
{
    filenames.emplace_back();
    ParseFilenamePattern(pattern, filenames.back());
}

CMailList &CSFRule::users(SFUserList list)
{
    switch (list) {
    case SF_LIST_TO:
        return toList;
    case SF_LIST_RTO:
        return replyToList;
    case SF_LIST_CC:
        return ccList;
    default:
        return fromList;
    }
}

const CMailList &CSFRule::users(SFUserList list) const
{
    return const_cast<CSFRule *>(this)->users(list);
}
