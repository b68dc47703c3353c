// The scan of one mail against the policy set: which policies matched (a
// keyword list of theirs found whole) and which are excused by one of their
// no-action keywords. The exported entry points are in include/ov/contscan.h.
//
// Keywords within a list combine with AND (each must occur somewhere in the
// text, synonyms standing for their keyword), the lists of a policy with OR;
// a policy's no-action keyword found anywhere excuses the policy for this
// mail, whatever its lists find. Disabled policies, and policies not set to
// scan the mail's direction, get neither flag.
#pragma once

#include "contscan/keyword_tree.h"
#include "ov/contscan.h"

enum TYPE_CS_MAIL {
    CS_MAIL_INBOUND = 0,
    CS_MAIL_OUTBOUND = 1,
};

// The direction of a mail file: outbound when the third character of its
// name (after the last "/") is "O" or "o"; a path without "/" is inbound.
TYPE_CS_MAIL MailDirectionOf(const char *path);

// 1 when keyword lists were examined, 0 when no policy needed them, the
// search's error (-1, -ENOENT, -ENOMEM) otherwise; -1 for a null set.
int ACFileStringSearch(POLICYSET *set, MEMBUF *membuf, char *path, TYPE_CS_MAIL direction,
                       _POLICY_MATCH_INFO *info);
// The same over the mail's text file already open for reading (see
// AhoCorasickStreamSearch): the caller that made the file reads it without
// opening it again.
int ACStreamStringSearch(POLICYSET *set, MEMBUF *membuf, FILE *text, TYPE_CS_MAIL direction,
                         _POLICY_MATCH_INFO *info);

// 1 when an enabled policy has neither flag set in the list.
int CheckIfNeedSearch(POLICYSET *set, _POLICY_MATCH_INFO *info);
// Whether the policy scans mail of this direction.
int IfNeedScan(const POLICY_STRU *policy, TYPE_CS_MAIL direction);
_POLICY_MATCH_INFO *FindPolicyMatchInfo(_POLICY_MATCH_INFO *info, POLICY_STRU *policy);
// 1 when the list has keywords and every one of them is the keyword of some
// record of the match set.
int IsKeywordListMatch(KEYWORDLIST_STRU *list, KEYWORD_MATCH_SET *matches);
