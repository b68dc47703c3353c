// CTerm: one condition of a rule, "VAR OP [flags]VALUE", evaluated against
// one property of a mail.
//
//   DOM FROM TO CC RTO  the value is a comma-separated list; the field is
//                       split at commas too; any element matching any piece
//                       makes the term hold
//   SUBJ                the whole value against the whole subject
//   SIZE                a number compared with = != < >
//   TIME                blocks of 8 hex digits: a weekday mask (2 digits,
//                       bit 0 Sunday) and an hour mask (6 digits, bit h for
//                       hour h); the operator is not used
//   ATTACH              "name:mime" against an attachment's file name, its
//                       contained (TNEF) names and its content type; the
//                       operator is not used
//
// Flags: "I" compares without regard to case (the value is stored lowered),
// "S" compares strings with WildCardStringCompare and attachment names with
// "contains". A string element written as '' matches an empty field.
//
// A term owns its value and mime texts (malloc'ed). A term whose text could
// not be stored holds a null value and never matches.
#pragma once

#include <string>

#include "mail/attach.h"
#include "rules/rule_types.h"

class CTerm {
public:
    CTerm();
    ~CTerm();
    CTerm(const CTerm &) = delete;
    CTerm &operator=(const CTerm &) = delete;

    // Replaces the term by a number term (SIZE).
    void Set(VAR_TYPE var, OP_TYPE op, bool ignoreCase, bool pattern, int number);
    // Replaces the term by a text term; for ATTACH the text is split at its
    // last ":" into the name value and the (lowered) mime part.
    void Set(VAR_TYPE var, OP_TYPE op, bool ignoreCase, bool pattern, const char *text);

    bool Evaluate(int n) const;
    // DOM, FROM, TO, CC, RTO, SUBJ; a null field counts as empty.
    bool Evaluate(const char *field) const;
    bool CompareOneElement(const std::string &element, const std::string &field, bool list) const;
    // t is seconds since 1970 (local time decides weekday and hour); -1 is
    // an unknown time and never matches.
    bool EvaluateTime(long t) const;
    bool EvaluateAttach(const Attach_Stru *a) const;

    VAR_TYPE var;
    OP_TYPE op;
    bool ignoreCase;
    bool pattern;
    int number;
    char *value;   // malloc'ed; the file-name part for ATTACH
    char *mime;    // malloc'ed, lowered; ATTACH with a ":" only

private:
    // The file-name value of an ATTACH term split at its last ".": a value
    // without "." tests no name, one ending with "." the base name only.
    struct NamePatterns {
        std::string base;
        std::string ext;
    };

    void Reset();
    bool ComparePiece(const std::string &element, const std::string &piece) const;
    bool MatchName(const NamePatterns &want, const std::string &base, const std::string &ext,
                   const std::string &contentType) const;
};
