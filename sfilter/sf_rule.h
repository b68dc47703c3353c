// CSFRule: one rule of the specialized filter, built from a record of
// "SFRule.txt" by CSFilter::FillRuleContent.
//
// A rule names the users it concerns (four address lists, each with its own
// matching flags in matchAttr), whether it applies to those users ("INCLUDE")
// or to everybody else ("EXCLUDE"), the direction of the mails it looks at,
// and what it blocks: MIME types ("all" for every type; any other entry
// blocks content types that contain it) and file-name patterns. Both lists
// are lower case.
#pragma once

#include <string>
#include <vector>

#include "mail/mail_list.h"
#include "rules/rule_types.h"
#include "sfilter/sf_filename.h"
#include "sfilter/sfrule_content.h"

// Longest MIME entry kept, terminator included.
constexpr size_t SF_MIME_SIZE = 1024;
// Longest part of a MIME or file-name list that is read.
constexpr size_t SF_LIST_LIMIT = 512;

class CSFRule {
public:
    CSFRule();
    CSFRule(const CSFRule &) = delete;
    CSFRule &operator=(const CSFRule &) = delete;

    // Replace the file-name patterns / MIME types by those of `list`: its
    // first 512 characters, lower-cased, split at commas and blanks.
    void ParseFilename(const char *list);
    void ParseMIMEType(const char *list);
    void AddMIMEType(const char *type);
    void AddFilename(const char *pattern);

    // The address list of `list`.
    CMailList &users(SFUserList list);
    const CMailList &users(SFUserList list) const;

    CSFRule *next = nullptr;
    CMailList fromList;      // "FROM"
    CMailList toList;        // "TO"
    CMailList replyToList;   // "RTO"
    CMailList ccList;        // "CC"
    std::vector<Filename_Stru> filenames;
    std::vector<std::string> mimeTypes;
    std::string name;
    bool include = true;     // false for "EXCLUDE"
    tagMatchAttr matchAttr;
    MAIL_TYPE mailType = MAIL_BOTH;
    bool enabled = true;     // kept for the editor; not consulted
};
