/*
 * contscan.h - the keyword content scan as hosts and the pipeline see it.
 *
 * A policy file ("CsConfig.dat") defines policies made of keyword lists;
 * ZWContScanInit reads it, together with the switches of the settings file
 * ("contscan.ini"), into a POLICYSET and compiles every keyword into one
 * automaton. ZWContScanScanFile then scans the decoded text of one mail
 * (held in a MEMBUF, or in a text file once it grew too large) and marks, in
 * a caller-made list with one _POLICY_MATCH_INFO per policy (in policy
 * order, both flags cleared), which policies matched and which were excused
 * by one of their no-action keywords. ZWContScanCleanUp frees the set.
 *
 *   POLICYSET *set = ZWContScanInit("/opt/gw/Plug-Ins/OV/CsConfig.dat",
 *                                   "/opt/gw/Plug-Ins/OV/contscan.ini");
 *   ...one _POLICY_MATCH_INFO per policy of set->m_pFirstPolicy...
 *   ZWContScanScanFile(set, &membuf, "/tmp/DFI1234.tmp", infoList);
 *   ZWContScanCleanUp(set);
 *
 * The set is only read while scanning, so several mails may be scanned at
 * once. In memory mode the text of the MEMBUF is lowered in place when the
 * scan is not case sensitive: each thread needs its own MEMBUF.
 */
#ifndef OV_CONTSCAN_H
#define OV_CONTSCAN_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/* Bytes of decoded mail text a MEMBUF holds; at most one less is used so
 * that a terminating NUL always fits. */
#define OV_MEMBUF_SIZE 100000

/* Size of the name fields of policies and keywords (80 characters and NUL). */
#define OV_POLICY_NAME_SIZE 81

/* The decoded text of one mail. While m_bInMemory is non-zero the text is in
 * m_szData, NUL-terminated; once it spilled, it is in the mail's text file. */
typedef struct MEMBUF {
    int32_t m_bInMemory;
    char m_szData[OV_MEMBUF_SIZE];
    int32_t m_nLength;
} MEMBUF;

struct KEYWORDLIST_STRU;
struct NOACTION_KEYWORD_STRU;
struct KEYWORDTREE;

/* Settings of a policy kept for the pipeline's own use. The policy reader
 * leaves them zero; the scan never reads them. */
typedef struct POLICY_SETTINGS {
    int32_t m_nAction;
    int32_t m_bWarningSender;
    int32_t m_bWarningRecipient;
    int32_t m_bWarningUser;
    void *m_pUserData;
} POLICY_SETTINGS;

/* One policy: a name, switches, keyword lists (combined with OR, the
 * keywords within a list with AND) and no-action keywords. */
typedef struct POLICY_STRU {
    char m_szName[OV_POLICY_NAME_SIZE];
    int32_t m_bEnabled;        /* "pe"; default 1 */
    int32_t m_bSynonymEnabled; /* "se"; default 0 */
    struct POLICY_STRU *m_pNext;
    struct KEYWORDLIST_STRU *m_pFirstKeywordList;
    struct KEYWORDLIST_STRU *m_pLastKeywordList;
    struct NOACTION_KEYWORD_STRU *m_pFirstNoAction;
    struct NOACTION_KEYWORD_STRU *m_pLastNoAction;
    POLICY_SETTINGS m_Settings;
    int32_t m_bInboundScan;  /* "InboundMailScan" of its section */
    int32_t m_bOutboundScan; /* "OutboundMailScan" of its section */
} POLICY_STRU;

/* All policies of a policy file, in file order, with the automaton. */
typedef struct POLICYSET {
    POLICY_STRU *m_pFirstPolicy;
    POLICY_STRU *m_pLastPolicy;
    int32_t m_bCaseSensitive; /* "CaseSensitive" of "Content Filter" */
    int32_t m_bExactMatch;    /* "ExactMatch" of "Content Filter" */
    struct KEYWORDTREE *m_pKeywordTree;
} POLICYSET;

/* The verdict of one policy for one mail; the pipeline makes one per policy,
 * chained in policy order, and clears both flags before each mail. */
typedef struct _POLICY_MATCH_INFO {
    POLICY_STRU *m_pPolicy;
    int32_t m_nMatched;  /* a keyword list of the policy matched */
    int32_t m_nNoAction; /* a no-action keyword was found */
    struct _POLICY_MATCH_INFO *m_pNext;
} _POLICY_MATCH_INFO;

/* Reads the policy file with the switches of the settings file and builds
 * the automaton. Null when the file is missing or not a policy file, or
 * memory ran out. */
POLICYSET *ZWContScanInit(const char *policyFile, const char *settingsFile);

/* Frees the set, its policies and its automaton. Returns 1. */
int ZWContScanCleanUp(POLICYSET *set);

/* Scans one mail's text: from membuf when its m_bInMemory is set, else from
 * the file at path (which must exist in both cases). The direction comes from
 * the third character of the file name ("O" or "o" outbound). Returns 1 when
 * keyword lists were examined, 0 when no policy needed them, -1 for a null
 * set or path, -ENOENT when path cannot be opened. */
int ZWContScanScanFile(POLICYSET *set, MEMBUF *membuf, char *path, _POLICY_MATCH_INFO *info);

#ifdef __cplusplus
}
#endif

#endif /* OV_CONTSCAN_H */
