// The specialized filter's rule list and attachment verdict (see sfilter.h).
#include "sfilter/sfilter.h"

#include <cctype>
#include <cstring>
#include <new>
#include <vector>

#include "base/file_util.h"
#include "base/log.h"
#include "sfilter/filter_config.h"
#include "sfilter/sfrule_file.h"
#include "sfilter/wildcard.h"

namespace {

const char kTrimSet[] = " \t\r\n";
const char kSpecialChars[] = "\\/:*?\"<>|";

std::string lowered(const char *text)
{
    std::string out = text ? text : "";
    for (char &c : out)
        c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    return out;
}

std::string trimmed(const std::string &text)
{
    size_t first = text.find_first_not_of(kTrimSet);
    if (first == std::string::npos)
        return std::string();
    return text.substr(first, text.find_last_not_of(kTrimSet) + 1 - first);
}

// The pieces of a comma-separated text, each trimmed; empty pieces kept.
std::vector<std::string> comma_pieces(const std::string &text)
{
    std::vector<std::string> pieces;
    size_t start = 0;
    for (size_t comma; (comma = text.find(',', start)) != std::string::npos; start = comma + 1)
        pieces.push_back(trimmed(text.substr(start, comma - start)));
    pieces.push_back(trimmed(text.substr(start)));
    return pieces;
}

// The header field of the mail that an address list is tested against.
const char *user_field(const CMailInfo &info, SFUserList list)
{
    switch (list) {
    case SF_LIST_TO:
        return info.m_pszTo;
    case SF_LIST_RTO:
        return info.m_pszReplyTo;
    case SF_LIST_CC:
        return info.m_pszCc;
    default:
        return info.m_pszFrom;
    }
}

bool applies_to_direction(const CSFRule &rule, int direction)
{
    return rule.mailType == MAIL_BOTH || static_cast<int>(rule.mailType) == direction;
}

} // namespace

CSFilter::~CSFilter()
{
    DeleteAllSFRule();
}

int CSFilter::LoadSFRule(const char *path)
{
    DeleteAllSFRule();
    std::vector<tagSFRuleContent> contents;
    c_special_filter_loader loader;
    loader.LoadRuleFile(contents, path);
    try {
        for (const tagSFRuleContent &content : contents)
            AddRule(content);
    } catch (const std::bad_alloc &) {
        ovux_log->start() << "LoadSFRule: out of memory after " << GetCount() << " rules"
                          << Orvane::endl;
    }
    ovux_log->start() << "LoadSFRule: " << GetCount() << " rules from " << (path ? path : "")
                      << Orvane::endl;
    return 1;
}

void CSFilter::AddRule(const tagSFRuleContent &content)
{
    CSFRule *rule = new CSFRule;
    FillRuleContent(*rule, content);
    if (tail)
        tail->next = rule;
    else
        head = rule;
    tail = rule;
}

void CSFilter::FillRuleContent(CSFRule &rule, const tagSFRuleContent &content)
{
    rule.name = content.name;
    for (int list = 0; list < SF_LIST_COUNT; ++list) {
        SFUserList which = static_cast<SFUserList>(list);
        FillUserList(rule.users(which), content.users(which));
    }
    if (!content.mime.empty())
        rule.ParseMIMEType(content.mime.c_str());
    if (!content.attach.empty())
        rule.ParseFilename(content.attach.c_str());
    rule.matchAttr = content.matchAttr;
    rule.include = lowered(content.includeText.c_str()) != "exclude";
    rule.mailType = content.mailType;
    rule.enabled = content.enabled;
}

void CSFilter::FillUserList(CMailList &list, const std::string &users)
{
    for (const std::string &piece : comma_pieces(users))
        list.AddMailer(piece.c_str());
}

void CSFilter::DeleteAllSFRule()
{
    while (head) {
        CSFRule *next = head->next;
        delete head;
        head = next;
    }
    tail = nullptr;
}

int CSFilter::GetCount() const
{
    int count = 0;
    for (const CSFRule *rule = head; rule; rule = rule->next)
        ++count;
    return count;
}

bool CSFilter::CheckHeaderList(const char *field, const char *entry, bool caseSensitive,
                               bool exact)
{
    if (!field || !entry || field[0] == '\0')
        return false;
    if (exact && std::strchr(entry, '*'))
        return false;
    std::string fieldText = caseSensitive ? std::string(field) : lowered(field);
    std::string entryText = caseSensitive ? std::string(entry) : lowered(entry);
    for (const std::string &piece : comma_pieces(fieldText)) {
        if (exact ? piece == entryText
                  : WildCardStringCompare(piece.c_str(), entryText.c_str()))
            return true;
    }
    return false;
}

bool CSFilter::CheckUserGroup(const CMailInfo &info, const CSFRule *rule) const
{
    for (int list = 0; list < SF_LIST_COUNT; ++list) {
        SFUserList which = static_cast<SFUserList>(list);
        const CMailer *mailer = rule->users(which).m_pHead;
        if (!mailer)
            continue;
        const char *field = user_field(info, which);
        bool caseSensitive = rule->matchAttr.caseSensitive(which);
        bool exact = rule->matchAttr.exact(which);
        bool found = false;
        for (; mailer && !found; mailer = mailer->m_pNext)
            found = CheckHeaderList(field, mailer->m_pszAddress, caseSensitive, exact);
        if (!found)
            return false;
    }
    return true;
}

int CSFilter::CheckFileName(const Filename_Stru *pattern, const char *base, const char *ext)
{
    return pattern ? MatchFilenamePattern(*pattern, base, ext) : 0;
}

void CSFilter::SkipSpecialChars(char *name)
{
    if (!name)
        return;
    char *out = name;
    for (const char *in = name; *in; ++in)
        if (!std::strchr(kSpecialChars, *in))
            *out++ = *in;
    *out = '\0';
}

bool CSFilter::RuleTakes(const CSFRule &rule, Attach_Stru &attach, const std::string &name,
                         const std::string &contentType) const
{
    for (const std::string &mime : rule.mimeTypes)
        if (mime == "all" || contentType.find(mime) != std::string::npos)
            return true;
    for (const Filename_Stru &pattern : rule.filenames)
        if (WildCardFilenameCompare(name.c_str(), lowered(pattern.text).c_str()))
            return true;
    for (const Filename_Stru &pattern : rule.filenames) {
        for (const CTnefFileName *member = attach.m_pTnefHead; member; member = member->m_pNext) {
            std::string memberName = lowered(member->m_strName.c_str());
            size_t dot = memberName.rfind('.');
            std::string base = memberName.substr(0, dot);
            std::string ext = dot == std::string::npos ? std::string() : memberName.substr(dot + 1);
            if (CheckFileName(&pattern, base.c_str(), ext.c_str())) {
                strcpy_truncate(attach.m_szName, member->m_strName.c_str(), sizeof attach.m_szName);
                return true;
            }
        }
    }
    return false;
}

bool CSFilter::Evaluate(CMailInfo &info, int index)
{
    int skipSpecial = GetFilterProfileInt("Specialized Filtering", "SkipSpecialChars", 0);
    if (index < 0 || index >= info.m_nAttachCount || index >= MAX_ATTACH_COUNT ||
        !info.m_pAttach[index])
        return false;
    Attach_Stru &attach = *info.m_pAttach[index];
    const std::string contentType = lowered(attach.m_szContentType);
    if (skipSpecial)
        SkipSpecialChars(attach.m_szName);
    const std::string name = lowered(attach.m_szName);

    for (const CSFRule *rule = head; rule; rule = rule->next) {
        if (!applies_to_direction(*rule, info.m_nDirection))
            continue;
        bool inGroup = CheckUserGroup(info, rule);
        if (rule->include != inGroup)
            continue;
        if (RuleTakes(*rule, attach, name, contentType))
            return true;
    }
    return false;
}
