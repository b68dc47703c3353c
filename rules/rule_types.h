// Enumerations of the rule filter. Their values are stored in rules and
// compared as integers, so they are fixed; each is an int underneath, so a
// value read from outside the known range is still a valid object that the
// evaluators reject (an unknown operator never matches).
#pragma once

// The mail property a term tests; the comment gives the sentence keyword.
enum VAR_TYPE : int {
    VAR_DOM = 0,      // "DOM"    relay hosts of the Received: headers
    VAR_FROM = 1,     // "FROM"   sender, then the envelope sender
    VAR_TO = 2,       // "TO"
    VAR_CC = 3,       // "CC"
    VAR_RTO = 4,      // "RTO"    Reply-To
    VAR_SUBJ = 5,     // "SUBJ"
    VAR_SIZE = 6,     // "SIZE"   mail size in bytes
    VAR_TIME = 7,     // "TIME"   weekday and hour masks
    VAR_ATTACH = 8,   // "ATTACH" "name:mime" over the attachments
};

enum OP_TYPE : int {
    OP_EQ = 0,   // "="
    OP_NE = 1,   // "!="
    OP_LT = 2,   // "<"
    OP_GT = 3,   // ">"
};

// Direction of the mails a rule applies to (rule file letter in comments).
enum MAIL_TYPE : int {
    MAIL_INBOUND = 0,    // "A"
    MAIL_OUTBOUND = 1,   // "B"
    MAIL_BOTH = 2,       // "C"
};

enum ACT_TYPE : int {
    ACT_DEL = 0,    // "DEL"  delete
    ACT_QUAR = 1,   // "QUAR" quarantine
    ACT_ARCH = 2,   // "ARCH" archive
};

// Which rule source the matching rule came from.
enum TriggerType : int {
    TRIGGER_ADMIN = 0,    // the administrator's rule file
    TRIGGER_VENDOR = 1,   // the vendor's sealed rule file
};
