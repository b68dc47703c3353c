// CSFilter: the specialized filter. It decides, attachment by attachment,
// whether an attachment is to be taken out of a mail (and replaced by a
// text). Its rules come from "SFRule.txt" (sfrule_file.h); CRuleScan owns
// the filter and asks it about every attachment under the rule set's lock.
//
// Verdict on one attachment (Evaluate), rules in file order:
//   - a rule whose direction is neither the mail's nor "both" is skipped;
//   - an "INCLUDE" rule applies when the mail's users are in its group, an
//     "EXCLUDE" rule when they are not (an EXCLUDE rule with no address
//     lists thus never applies);
//   - in an applying rule the attachment is taken when a MIME entry is "all"
//     or is contained in its content type, when a file-name pattern matches
//     its whole (lowered) name as a glob, or when a pattern matches a file
//     inside it (TNEF members); in the last case the member's name becomes
//     the attachment's name, so that the replacement notice names it.
// "SkipSpecialChars" (section "Specialized Filtering") is read at every
// verdict; when set, \ / : * ? " < > | are first removed from the
// attachment's name in the mail record.
//
// User group: each non-empty address list of a rule must have an entry that
// matches its header field of the mail (sender: header From, recipients:
// header To, reply-to, carbon copies; the "O", "D", "P" and "C" lines of the
// envelope). Entries are compared with the list's flags: "I" yes compares
// case-sensitively, "S" yes compares whole strings (an entry holding "*" then
// never matches); otherwise WildCardStringCompare. The field is a
// comma-separated list; any piece may match. These two letters mean the
// reverse of the rule filter's term flags, as the rule editor writes them.
#pragma once

#include <string>

#include "mail/mail_info.h"
#include "sfilter/sf_rule.h"
#include "sfilter/sfrule_content.h"

class CSFilter {
public:
    CSFilter() = default;
    ~CSFilter();
    CSFilter(const CSFilter &) = delete;
    CSFilter &operator=(const CSFilter &) = delete;

    // Replaces the rules by those of the file (none when it cannot be
    // read). Returns 1.
    int LoadSFRule(const char *path);
    void AddRule(const tagSFRuleContent &content);
    void FillRuleContent(CSFRule &rule, const tagSFRuleContent &content);
    // Adds each comma-separated, trimmed piece of users to the list.
    void FillUserList(CMailList &list, const std::string &users);
    void DeleteAllSFRule();

    // True when attachment `index` of info is to be taken out.
    bool Evaluate(CMailInfo &info, int index);
    bool CheckUserGroup(const CMailInfo &info, const CSFRule *rule) const;
    static bool CheckHeaderList(const char *field, const char *entry, bool caseSensitive,
                                bool exact);
    // 1 when the (lower-case) base and extension pass the pattern, else 0.
    static int CheckFileName(const Filename_Stru *pattern, const char *base, const char *ext);
    // Removes every \ / : * ? " < > | from name, in place.
    static void SkipSpecialChars(char *name);

    const CSFRule *GetHead() const { return head; }
    int GetCount() const;

private:
    // True when `rule` takes the attachment (see above).
    bool RuleTakes(const CSFRule &rule, Attach_Stru &attach, const std::string &name,
                   const std::string &contentType) const;

    CSFRule *head = nullptr;
    CSFRule *tail = nullptr;
};
