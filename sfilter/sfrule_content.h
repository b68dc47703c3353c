// One rule of the specialized filter as it is stored in "SFRule.txt"
// (tagSFRuleContent), before CSFilter turns it into a CSFRule.
//
// Each of the four address lists (sender "FROM", recipients "TO", reply-to
// "RTO", carbon copies "CC") carries two flags, written as the list's "I"
// and "S" items: "I" yes means the addresses are compared case-sensitively,
// "S" yes means they are compared whole (no wildcards).
#pragma once

#include <string>

#include "rules/rule_types.h"

// The address lists of a rule, in the order of their flag pairs.
enum SFUserList {
    SF_LIST_FROM = 0,
    SF_LIST_TO = 1,
    SF_LIST_RTO = 2,
    SF_LIST_CC = 3,
    SF_LIST_COUNT = 4,
};

// The eight matching flags: for each list, [0] its "I" item and [1] its "S"
// item.
struct tagMatchAttr {
    bool flags[SF_LIST_COUNT][2] = {};

    bool caseSensitive(SFUserList list) const { return flags[list][0]; }
    bool exact(SFUserList list) const { return flags[list][1]; }
    bool operator==(const tagMatchAttr &other) const;
};

struct tagSFRuleContent {
    bool enabled = true;             // written as "ENABLE", never read back
    tagMatchAttr matchAttr;
    std::string name;                // "RULE NAME"
    MAIL_TYPE mailType = MAIL_BOTH;  // "MAIL TYPE"
    std::string from;                // the four comma-separated address lists
    std::string to;
    std::string replyTo;
    std::string cc;
    std::string mime;                // MIME types, "all" for every type
    std::string includeText;         // "ATTR": "INCLUDE" or "EXCLUDE"
    std::string attach;              // file-name patterns
    std::string inNotify;            // "IN NOTIFY"
    std::string outNotify;           // "OUT NOTIFY"

    // The user strings in the order of SFUserList.
    const std::string &users(SFUserList list) const;
};

inline bool tagMatchAttr::operator==(const tagMatchAttr &other) const
{
    for (int list = 0; list < SF_LIST_COUNT; ++list)
        for (int item = 0; item < 2; ++item)
            if (flags[list][item] != other.flags[list][item])
                return false;
    return true;
}

inline const std::string &tagSFRuleContent::users(SFUserList list) const
{
    switch (list) {
    case SF_LIST_TO:
        return to;
    case SF_LIST_RTO:
        return replyTo;
    case SF_LIST_CC:
        return cc;
    default:
        return from;
    }
}
