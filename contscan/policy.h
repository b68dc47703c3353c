// Keyword policy records: the lists, keywords, synonyms and no-action
// keywords that hang below a POLICY_STRU (include/ov/contscan.h), and the
// functions that create and free them.
//
// Everything is a plain malloc'ed record chained by next pointers; the
// POLICYSET owns all of it. Texts are fixed 81-byte fields (80 characters):
//
//   AddKeyword          trims white space at both ends; refuses an empty text
//                       and one longer than 81 characters; 81 are cut to 80
//   AddNoActionKeyword  untrimmed; refuses more than 81 characters
//   AddSynonym          untrimmed; cut to 80 characters
//
// Each text also records the character set AutoDetect finds in it.
#pragma once

#include <cstdint>

#include "ov/contscan.h"

struct SYNONYM_STRU {
    char m_szText[OV_POLICY_NAME_SIZE];
    uint8_t m_nCharset;
    SYNONYM_STRU *m_pNext;
};

struct KEYWORD_STRU {
    char m_szText[OV_POLICY_NAME_SIZE];
    uint8_t m_nCharset;
    KEYWORD_STRU *m_pNext;
    SYNONYM_STRU *m_pFirstSynonym;
    SYNONYM_STRU *m_pLastSynonym;
};

struct KEYWORDLIST_STRU {
    KEYWORDLIST_STRU *m_pNext;
    KEYWORD_STRU *m_pFirstKeyword;
    KEYWORD_STRU *m_pLastKeyword;
};

struct NOACTION_KEYWORD_STRU {
    char m_szText[OV_POLICY_NAME_SIZE];
    uint8_t m_nCharset;
    NOACTION_KEYWORD_STRU *m_pNext;
    void *m_pReserved1; // zero
    void *m_pReserved2; // zero
};

// Appends a new enabled policy (synonyms off, both directions scanned). Null
// for a null or empty name or when memory fails. Names are cut to 80.
POLICY_STRU *AddPolicy(POLICYSET *set, const char *name);

// Appends a new list to the policy with firstKeyword as its first keyword;
// null (and nothing appended) when that keyword is refused.
KEYWORDLIST_STRU *AddKeywordList(POLICY_STRU *policy, const char *firstKeyword);

KEYWORD_STRU *AddKeyword(KEYWORDLIST_STRU *list, const char *text);
SYNONYM_STRU *AddSynonym(KEYWORD_STRU *keyword, const char *text);
NOACTION_KEYWORD_STRU *AddNoActionKeyword(POLICY_STRU *policy, const char *text);

// Free a record with everything below it. FreePolicySet also frees the
// automaton and the set itself; all accept null.
void FreeKeyword(KEYWORD_STRU *keyword);
void FreeKeywordList(KEYWORDLIST_STRU *list);
void FreePolicy(POLICY_STRU *policy);
void FreePolicySet(POLICYSET *set);
