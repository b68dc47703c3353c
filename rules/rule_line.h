// One line of the rule file "spamrule.txt", split into its four fields
//   name \ mail type \ sentence \ action
// e.g.  Big mails\C\SIZE>3000000\QUAR
//
//   name       any text up to the first backslash (may be empty)
//   mail type  up to the next backslash; its first letter "A" inbound,
//              "B" outbound or "C" both
//   sentence   up to the first backslash outside double quotes (a backslash
//              inside quotes belongs to the sentence, as in SUBJ="a\b"); a
//              line whose sentence runs to its end has no action field; an
//              empty sentence, or one whose quotes never close, is missing
//   action     up to the next backslash, trailing CR, LF, blank and tab cut:
//              "DEL", "QUAR" or "ARCH" as a prefix ("DELETE" reads as DEL)
// The line's own CR LF or LF end is not part of any field.
//
// The loader (CRuleScan::ParseLine) accepts a line without an action (the
// rule then keeps action 0 and an empty action text); the editor's check
// (CRuleScan::CheckSyntax, CheckRuleLine) refuses it.
#pragma once

#include <string>

// What is wrong with a line, in the order the checks are made.
enum RuleLineError {
    RULE_LINE_OK = 0,
    RULE_LINE_EMPTY,          // null or empty line (no message)
    RULE_LINE_NO_NAME,        // "No Rule Name Error!"
    RULE_LINE_NO_TYPE,        // "No Mail Type Error!"
    RULE_LINE_BAD_TYPE,       // "Mail Type Error!"
    RULE_LINE_NO_SENTENCE,    // "No Sentence Error!"
    RULE_LINE_BAD_SENTENCE,   // "Sentence Syntax Error!"
    RULE_LINE_NO_ACTION,      // "No Action Error!"   (editor's check only)
    RULE_LINE_BAD_ACTION,     // "Action Error!"      (editor's check only)
};

// The message of an error; "" for RULE_LINE_OK and RULE_LINE_EMPTY.
const char *RuleLineMessage(RuleLineError error);

struct RuleLineFields {
    std::string name;
    std::string type;
    std::string sentence;
    std::string action;       // trimmed; empty without an action field
    bool hasAction = false;   // a backslash followed the sentence
};

// Splits the line into its fields: RULE_LINE_EMPTY, the errors of name,
// mail type and sentence above in order, or RULE_LINE_OK. The sentence's
// grammar and the action are not judged here. Fields found before an error
// are filled.
RuleLineError SplitRuleLine(const char *line, RuleLineFields &fields);

// The editor's whole check of a line: every error above in order; the
// action's spelling is judged only with checkAction.
RuleLineError CheckRuleLine(const char *line, bool checkAction);
