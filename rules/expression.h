// CExpression: one rule of the rule filter - its name, the direction of the
// mails it applies to, its action and up to nine terms joined by AND.
//
// Sentence grammar (the third field of a rule line):
//   sentence := term { "," term }
//   term     := KEYWORD OP ( NUMBER | [FLAGS] '"' TEXT '"' )
//   KEYWORD  := DOM | FROM | TO | CC | RTO | SUBJ | SIZE | TIME | ATTACH
//   OP       := "=" | "!=" | "<" | ">"
//   FLAGS    := letters; "I" ignore case, "S" pattern, others ignored
// A comma inside the quotes belongs to the value; after the closing quote
// only a comma or the end of the sentence may follow. NUMBER is read for
// SIZE only (text that is not a number reads as 0). Examples:
//   SUBJ=I"free offer",SIZE>500000
//   FROM=IS"*offer*,*promo*",ATTACH=I".exe:application"
// A tenth and later term is parsed but dropped.
//
// Evaluation: terms in the order written, all must hold, except that a DOM
// term missing every relay host is forgiven once an earlier DOM term of the
// rule has matched. A rule without terms matches every mail.
//
// The rule scanner keeps its rules in a list linked through GetNext/SetNext.
#pragma once

#include <cstddef>
#include <string>

#include "mail/mail_info.h"
#include "rules/rule_types.h"
#include "rules/term.h"

constexpr int MAX_TERM_COUNT = 9;

class CExpression {
public:
    CExpression();
    ~CExpression() = default;
    CExpression(const CExpression &) = delete;
    CExpression &operator=(const CExpression &) = delete;

    // "A", "B" or "C" as the first character; stored only with store.
    bool ParseMailType(const char *text, bool store);
    // Parses the whole sentence; false for an empty or null sentence or a
    // term that does not parse. With store the sentence text and the terms
    // replace the rule's; without it the rule is left untouched.
    bool ParseExpression(const char *sentence, bool store);
    // Splits the next term off rest into term (a buffer at least as long as
    // rest) and leaves the remainder in rest. False on a closing quote
    // followed by anything but a comma, or a quote that is never closed.
    bool GetNextTerm(char *rest, char *term);
    bool ParseTerm(const char *text, bool store);
    // Fill the next free term slot; nothing happens when all nine are used.
    void AddTerm(VAR_TYPE var, OP_TYPE op, bool ignoreCase, bool pattern, int number);
    void AddTerm(VAR_TYPE var, OP_TYPE op, bool ignoreCase, bool pattern, const char *value);
    // "DEL", "QUAR", "ARCH" as a prefix of text, in that order. With store
    // the action and the action text (all of text) are set.
    bool ParseAction(const char *text, bool store);

    bool Evaluate(const CMailInfo *info) const;
    // True when the rule applies to mails of this direction.
    bool CheckScan(MAIL_TYPE direction) const;

    // Setters ignore a null pointer.
    void SetName(const char *text);
    void GetName(std::string &text) const { text = name; }
    void SetAction(ACT_TYPE value) { action = value; }
    ACT_TYPE GetAction() const { return action; }
    void SetAction(const char *text);
    void GetAction(std::string &text) const { text = actionText; }
    void SetRule(const char *text);
    void GetRule(std::string &text) const { text = rule; }
    void SetMailType(MAIL_TYPE value) { mailType = value; }
    MAIL_TYPE GetMailType() const { return mailType; }
    CExpression *GetNext() const { return next; }
    void SetNext(CExpression *rule) { next = rule; }

    int GetTermCount() const { return termCount; }
    const CTerm &GetTerm(int index) const { return terms[index]; }
    int GetSuspended() const { return suspended; }
    void SetSuspended(int value) { suspended = value; }
    bool IsVendor() const { return vendor; }
    void SetVendor(bool value) { vendor = value; }
    bool IsEnabled() const { return enabled; }
    void SetEnabled(bool value) { enabled = value; }

    // Length of the next term of text, the separating comma excluded, and
    // in *consumed the length to skip to the following term. -1 on error.
    static long SplitTerm(const char *text, size_t *consumed);

private:
    struct ParsedTerm {
        VAR_TYPE var = VAR_DOM;
        OP_TYPE op = OP_EQ;
        bool ignoreCase = false;
        bool pattern = false;
        int number = 0;
        std::string value;
    };
    static bool ParseTermText(const char *text, ParsedTerm &out);
    // One term alone; Evaluate adds the forgiveness rule of DOM terms.
    static bool EvaluateTerm(const CTerm &term, const CMailInfo &info);
    static bool MatchesAnyDomain(const CTerm &term, const CMailInfo &info);

    CExpression *next;
    CTerm terms[MAX_TERM_COUNT];
    int termCount;
    std::string name;
    std::string actionText;
    ACT_TYPE action;
    MAIL_TYPE mailType;
    int suspended;       // non-zero keeps the rule out of scans
    std::string spare;
    bool vendor;         // read from the vendor's rule file
    bool enabled;        // from the enable table, for the editor
    std::string rule;    // the sentence as written
};
