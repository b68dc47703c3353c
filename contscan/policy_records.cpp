// Creating and freeing the records of a keyword policy set (see policy.h).
#include <cstdlib>
#include <cstring>

#include "base/file_util.h"
#include "contscan/keyword_tree.h"
#include "contscan/policy.h"
#include "mail/charset.h"

namespace
{

constexpr size_t kTextLimit = OV_POLICY_NAME_SIZE; // longest text accepted

template <typename T> T *NewRecord()
{
    return static_cast<T *>(std::calloc(1, sizeof(T)));
}

bool IsBlank(char c)
{
    return c == ' ' || c == '\t' || c == '\r' || c == '\n' || c == '\v' || c == '\f';
}

// Copies text (at most 80 characters) into a record's text field and notes
// its character set.
template <typename T> void SetText(T *record, const char *text, size_t length)
{
    size_t kept = length < kTextLimit ? length : kTextLimit - 1;
    std::memcpy(record->m_szText, text, kept);
    record->m_szText[kept] = '\0';
    record->m_nCharset = static_cast<uint8_t>(AutoDetect(record->m_szText));
}

} // namespace

POLICY_STRU *AddPolicy(POLICYSET *set, const char *name)
{
    if (!set || !name || !name[0])
        return nullptr;
    POLICY_STRU *policy = NewRecord<POLICY_STRU>();
    if (!policy)
        return nullptr;
    strcpy_truncate(policy->m_szName, name, sizeof policy->m_szName);
    policy->m_bEnabled = 1;
    policy->m_bInboundScan = 1;
    policy->m_bOutboundScan = 1;
    if (set->m_pLastPolicy)
        set->m_pLastPolicy->m_pNext = policy;
    else
        set->m_pFirstPolicy = policy;
    set->m_pLastPolicy = policy;
    return policy;
}

KEYWORD_STRU *AddKeyword(KEYWORDLIST_STRU *list, const char *text)
{
    if (!list || !text)
        return nullptr;
    while (IsBlank(*text))
        ++text;
    size_t length = std::strlen(text);
    while (length > 0 && IsBlank(text[length - 1]))
        --length;
    if (length == 0 || length > kTextLimit)
        return nullptr;
    KEYWORD_STRU *keyword = NewRecord<KEYWORD_STRU>();
    if (!keyword)
        return nullptr;
    SetText(keyword, text, length);
    if (list->m_pLastKeyword)
        list->m_pLastKeyword->m_pNext = keyword;
    else
        list->m_pFirstKeyword = keyword;
    list->m_pLastKeyword = keyword;
    return keyword;
}

KEYWORDLIST_STRU *AddKeywordList(POLICY_STRU *policy, const char *firstKeyword)
{
    if (!policy)
        return nullptr;
    KEYWORDLIST_STRU *list = NewRecord<KEYWORDLIST_STRU>();
    if (!list)
        return nullptr;
    if (!AddKeyword(list, firstKeyword)) {
        std::free(list);
        return nullptr;
    }
    if (policy->m_pLastKeywordList)
        policy->m_pLastKeywordList->m_pNext = list;
    else
        policy->m_pFirstKeywordList = list;
    policy->m_pLastKeywordList = list;
    return list;
}

SYNONYM_STRU *AddSynonym(KEYWORD_STRU *keyword, const char *text)
{
    if (!keyword || !text)
        return nullptr;
    SYNONYM_STRU *synonym = NewRecord<SYNONYM_STRU>();
    if (!synonym)
        return nullptr;
    SetText(synonym, text, std::strlen(text));
    if (keyword->m_pLastSynonym)
        keyword->m_pLastSynonym->m_pNext = synonym;
    else
        keyword->m_pFirstSynonym = synonym;
    keyword->m_pLastSynonym = synonym;
    return synonym;
}

NOACTION_KEYWORD_STRU *AddNoActionKeyword(POLICY_STRU *policy, const char *text)
{
    if (!policy || !text)
        return nullptr;
    size_t length = std::strlen(text);
    if (length > kTextLimit)
        return nullptr;
    NOACTION_KEYWORD_STRU *word = NewRecord<NOACTION_KEYWORD_STRU>();
    if (!word)
        return nullptr;
    SetText(word, text, length);
    if (policy->m_pLastNoAction)
        policy->m_pLastNoAction->m_pNext = word;
    else
        policy->m_pFirstNoAction = word;
    policy->m_pLastNoAction = word;
    return word;
}

void FreeKeyword(KEYWORD_STRU *keyword)
{
    if (!keyword)
        return;
    SYNONYM_STRU *synonym = keyword->m_pFirstSynonym;
    while (synonym) {
        SYNONYM_STRU *next = synonym->m_pNext;
        std::free(synonym);
        synonym = next;
    }
    std::free(keyword);
}

void FreeKeywordList(KEYWORDLIST_STRU *list)
{
    if (!list)
        return;
    KEYWORD_STRU *keyword = list->m_pFirstKeyword;
    while (keyword) {
        KEYWORD_STRU *next = keyword->m_pNext;
        FreeKeyword(keyword);
        keyword = next;
    }
    std::free(list);
}

void FreePolicy(POLICY_STRU *policy)
{
    if (!policy)
        return;
    KEYWORDLIST_STRU *list = policy->m_pFirstKeywordList;
    while (list) {
        KEYWORDLIST_STRU *next = list->m_pNext;
        FreeKeywordList(list);
        list = next;
    }
    NOACTION_KEYWORD_STRU *word = policy->m_pFirstNoAction;
    while (word) {
        NOACTION_KEYWORD_STRU *next = word->m_pNext;
        std::free(word);
        word = next;
    }
    std::free(policy);
}

void FreePolicySet(POLICYSET *set)
{
    if (!set)
        return;
    POLICY_STRU *policy = set->m_pFirstPolicy;
    while (policy) {
        POLICY_STRU *next = policy->m_pNext;
        FreePolicy(policy);
        policy = next;
    }
    FreeKeywordTree(set->m_pKeywordTree);
    std::free(set);
}
