// The keyword scan of one mail (ACFileStringSearch and its helpers) and the
// exported entry points ZWContScanInit, ZWContScanScanFile and
// ZWContScanCleanUp.
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <new>
#include <unordered_map>
#include <unordered_set>

#include "base/log.h"
#include "contscan/content_scan.h"
#include "contscan/policy.h"
#include "contscan/policy_reader.h"

namespace
{

// The verdict entries of a list by policy.
using MatchInfoIndex = std::unordered_map<const POLICY_STRU *, _POLICY_MATCH_INFO *>;

MatchInfoIndex IndexMatchInfo(_POLICY_MATCH_INFO *info)
{
    MatchInfoIndex index;
    for (; info; info = info->m_pNext)
        index.emplace(info->m_pPolicy, info);
    return index;
}

_POLICY_MATCH_INFO *EntryOf(const MatchInfoIndex &index, const POLICY_STRU *policy)
{
    auto found = index.find(policy);
    return found == index.end() ? nullptr : found->second;
}

// Answers IsKeywordListMatch for many lists over one match set: the keywords
// found are collected once, and each list is judged once.
class ListJudge
{
public:
    explicit ListJudge(const KEYWORD_MATCH_SET &matches)
    {
        for (const KEYWORD_MATCH_INFO *m = matches.m_pFirst; m; m = m->m_pNext) {
            if (m->m_pKeywordList)
                m_found.insert(m->m_pKeyword);
        }
    }

    bool Matches(const KEYWORDLIST_STRU *list)
    {
        auto known = m_judged.find(list);
        if (known != m_judged.end())
            return known->second;
        bool all = list->m_pFirstKeyword != nullptr;
        for (const KEYWORD_STRU *k = list->m_pFirstKeyword; all && k; k = k->m_pNext)
            all = m_found.count(k) != 0;
        m_judged.emplace(list, all);
        return all;
    }

private:
    std::unordered_set<const void *> m_found;
    std::unordered_map<const KEYWORDLIST_STRU *, bool> m_judged;
};

// Whether a match record may still change the entry of its policy.
bool IsOpen(const _POLICY_MATCH_INFO *entry, const POLICY_STRU *policy, TYPE_CS_MAIL direction)
{
    return entry && policy->m_bEnabled && !entry->m_nMatched && !entry->m_nNoAction &&
           IfNeedScan(policy, direction);
}

// Sets the no-action flag of every policy one of whose no-action keywords
// was found.
void MarkNoAction(const KEYWORD_MATCH_SET &matches, const MatchInfoIndex &index,
                  TYPE_CS_MAIL direction)
{
    for (const KEYWORD_MATCH_INFO *m = matches.m_pFirst; m; m = m->m_pNext) {
        if (m->m_pKeywordList)
            continue;
        _POLICY_MATCH_INFO *entry = EntryOf(index, m->m_pPolicy);
        if (entry && m->m_pPolicy->m_bEnabled && !entry->m_nNoAction &&
            IfNeedScan(m->m_pPolicy, direction))
            entry->m_nNoAction = 1;
    }
}

// Sets the matched flag of every open policy one of whose lists was found
// whole.
void MarkMatched(const KEYWORD_MATCH_SET &matches, const MatchInfoIndex &index,
                 TYPE_CS_MAIL direction)
{
    ListJudge judge(matches);
    for (const KEYWORD_MATCH_INFO *m = matches.m_pFirst; m; m = m->m_pNext) {
        if (!m->m_pKeywordList)
            continue;
        _POLICY_MATCH_INFO *entry = EntryOf(index, m->m_pPolicy);
        if (IsOpen(entry, m->m_pPolicy, direction) && judge.Matches(m->m_pKeywordList))
            entry->m_nMatched = 1;
    }
}

} // namespace

TYPE_CS_MAIL MailDirectionOf(const char *path)
{
    const char *slash = path ? std::strrchr(path, '/') : nullptr;
    if (!slash)
        return CS_MAIL_INBOUND;
    const char *name = slash + 1;
    if (std::strlen(name) >= 3 && (name[2] == 'O' || name[2] == 'o'))
        return CS_MAIL_OUTBOUND;
    return CS_MAIL_INBOUND;
}

int IfNeedScan(const POLICY_STRU *policy, TYPE_CS_MAIL direction)
{
    if (!policy)
        return 0;
    return direction == CS_MAIL_OUTBOUND ? policy->m_bOutboundScan != 0
                                         : policy->m_bInboundScan != 0;
}

_POLICY_MATCH_INFO *FindPolicyMatchInfo(_POLICY_MATCH_INFO *info, POLICY_STRU *policy)
{
    for (; info; info = info->m_pNext) {
        if (info->m_pPolicy == policy)
            return info;
    }
    return nullptr;
}

int CheckIfNeedSearch(POLICYSET *set, _POLICY_MATCH_INFO *info)
{
    if (!set)
        return 0;
    for (POLICY_STRU *policy = set->m_pFirstPolicy; policy; policy = policy->m_pNext) {
        if (!policy->m_bEnabled)
            continue;
        _POLICY_MATCH_INFO *entry = FindPolicyMatchInfo(info, policy);
        if (entry && !entry->m_nMatched && !entry->m_nNoAction)
            return 1;
    }
    return 0;
}

int IsKeywordListMatch(KEYWORDLIST_STRU *list, KEYWORD_MATCH_SET *matches)
{
    if (!list || !matches || !list->m_pFirstKeyword)
        return 0;
    for (KEYWORD_STRU *keyword = list->m_pFirstKeyword; keyword; keyword = keyword->m_pNext) {
        bool found = false;
        for (KEYWORD_MATCH_INFO *m = matches->m_pFirst; m && !found; m = m->m_pNext)
            found = m->m_pKeywordList && m->m_pKeyword == keyword;
        if (!found)
            return 0;
    }
    return 1;
}

namespace
{

// Marks the policies of the list from the search's matches (or passes on the
// search's error); frees the matches.
int JudgeMatches(POLICYSET *set, int searched, KEYWORD_MATCH_SET &matches, TYPE_CS_MAIL direction,
                 _POLICY_MATCH_INFO *info)
{
    int result = searched;
    if (result != 0) {
        FreeKeywordMatchSet(&matches);
        return result;
    }
    try {
        MatchInfoIndex index = IndexMatchInfo(info);
        MarkNoAction(matches, index, direction);
        if (!CheckIfNeedSearch(set, info)) {
            result = 0;
        } else {
            MarkMatched(matches, index, direction);
            result = 1;
        }
    } catch (const std::bad_alloc &) {
        result = -ENOMEM;
    }
    FreeKeywordMatchSet(&matches);
    return result;
}

} // namespace

int ACFileStringSearch(POLICYSET *set, MEMBUF *membuf, char *path, TYPE_CS_MAIL direction,
                       _POLICY_MATCH_INFO *info)
{
    if (!set)
        return -1;
    KEYWORD_MATCH_SET matches = {};
    int searched = AhoCorasickStringSearch(set->m_pKeywordTree, membuf, path, set->m_bCaseSensitive,
                                           set->m_bExactMatch, &matches);
    return JudgeMatches(set, searched, matches, direction, info);
}

int ACStreamStringSearch(POLICYSET *set, MEMBUF *membuf, FILE *text, TYPE_CS_MAIL direction,
                         _POLICY_MATCH_INFO *info)
{
    if (!set)
        return -1;
    KEYWORD_MATCH_SET matches = {};
    int searched = AhoCorasickStreamSearch(set->m_pKeywordTree, membuf, text, set->m_bCaseSensitive,
                                           set->m_bExactMatch, &matches);
    return JudgeMatches(set, searched, matches, direction, info);
}

extern "C" {

POLICYSET *ZWContScanInit(const char *policyFile, const char *settingsFile)
{
    POLICYSET *set = static_cast<POLICYSET *>(std::calloc(1, sizeof(POLICYSET)));
    if (!set)
        return nullptr;
    int result = ReadPolicy(set, policyFile, settingsFile);
    if (result != 1) {
        ovux_log->start() << "ZWContScanInit: ReadPolicy(" << policyFile << ") failed: " << result
                          << Orvane::endl;
        FreePolicySet(set);
        return nullptr;
    }
    if (!BuildKeywordTree(set)) {
        FreePolicySet(set);
        return nullptr;
    }
    return set;
}

int ZWContScanCleanUp(POLICYSET *set)
{
    FreePolicySet(set);
    return 1;
}

int ZWContScanScanFile(POLICYSET *set, MEMBUF *membuf, char *path, _POLICY_MATCH_INFO *info)
{
    if (!set || !path)
        return -1;
    return ACFileStringSearch(set, membuf, path, MailDirectionOf(path), info);
}

} // extern "C"
