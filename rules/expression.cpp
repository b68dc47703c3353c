// Parsing of rule sentences into terms and evaluation of a rule against one
// mail (see expression.h for the grammar).
#include "rules/expression.h"

#include <climits>
#include <cstdlib>
#include <cstring>

namespace {

struct Keyword {
    const char *text;
    VAR_TYPE var;
};

constexpr Keyword kKeywords[] = {
    {"DOM", VAR_DOM},   {"FROM", VAR_FROM}, {"TO", VAR_TO},
    {"CC", VAR_CC},     {"RTO", VAR_RTO},   {"SUBJ", VAR_SUBJ},
    {"SIZE", VAR_SIZE}, {"TIME", VAR_TIME}, {"ATTACH", VAR_ATTACH},
};

bool FindKeyword(const std::string &text, VAR_TYPE &var)
{
    for (const Keyword &keyword : kKeywords) {
        if (text == keyword.text) {
            var = keyword.var;
            return true;
        }
    }
    return false;
}

// A decimal number as atoi reads it, held within the range of int.
int ReadNumber(const char *text)
{
    long number = std::strtol(text, nullptr, 10);
    if (number > INT_MAX)
        return INT_MAX;
    if (number < INT_MIN)
        return INT_MIN;
    return static_cast<int>(number);
}

bool StartsWith(const char *text, const char *prefix)
{
    return std::strncmp(text, prefix, std::strlen(prefix)) == 0;
}

} // namespace

CExpression::CExpression()
    : next(nullptr), termCount(0), action(ACT_DEL), mailType(MAIL_INBOUND), suspended(0),
      vendor(false), enabled(true)
{
}

bool CExpression::ParseMailType(const char *text, bool store)
{
    if (text == nullptr)
        return false;
    MAIL_TYPE type;
    switch (text[0]) {
    case 'A':
        type = MAIL_INBOUND;
        break;
    case 'B':
        type = MAIL_OUTBOUND;
        break;
    case 'C':
        type = MAIL_BOTH;
        break;
    default:
        return false;
    }
    if (store)
        SetMailType(type);
    return true;
}

long CExpression::SplitTerm(const char *text, size_t *consumed)
{
    const char *stop = std::strpbrk(text, ",\"");
    if (stop == nullptr) {
        *consumed = std::strlen(text);
        return static_cast<long>(*consumed);
    }
    if (*stop == ',') {
        *consumed = static_cast<size_t>(stop - text) + 1;
        return stop - text;
    }
    const char *close = std::strchr(stop + 1, '"');
    if (close == nullptr || (close[1] != ',' && close[1] != '\0'))
        return -1;
    long length = close + 1 - text;
    *consumed = static_cast<size_t>(length) + (close[1] == ',' ? 1 : 0);
    return length;
}

bool CExpression::GetNextTerm(char *rest, char *term)
{
    if (rest == nullptr || term == nullptr)
        return false;
    size_t consumed = 0;
    long length = SplitTerm(rest, &consumed);
    if (length < 0)
        return false;
    std::memcpy(term, rest, static_cast<size_t>(length));
    term[length] = '\0';
    std::memmove(rest, rest + consumed, std::strlen(rest + consumed) + 1);
    return true;
}

bool CExpression::ParseExpression(const char *sentence, bool store)
{
    if (sentence == nullptr || *sentence == '\0')
        return false;
    if (store) {
        SetRule(sentence);
        termCount = 0;
    }
    // The terms are taken off a moving position rather than by GetNextTerm,
    // which would move the remainder of a long sentence for every term.
    const size_t length = std::strlen(sentence);
    for (size_t position = 0; position < length;) {
        size_t consumed = 0;
        long termLength = SplitTerm(sentence + position, &consumed);
        if (termLength < 0)
            return false;
        std::string term(sentence + position, static_cast<size_t>(termLength));
        if (!ParseTerm(term.c_str(), store))
            return false;
        position += consumed;
    }
    return true;
}

bool CExpression::ParseTermText(const char *text, ParsedTerm &out)
{
    const char *opText = std::strpbrk(text, "!=><");
    if (opText == nullptr || !FindKeyword(std::string(text, opText), out.var))
        return false;
    const char *rest = opText + 1;
    switch (*opText) {
    case '=':
        out.op = OP_EQ;
        break;
    case '<':
        out.op = OP_LT;
        break;
    case '>':
        out.op = OP_GT;
        break;
    default:   // '!'
        if (opText[1] != '=')
            return false;
        out.op = OP_NE;
        ++rest;
        break;
    }
    if (out.var == VAR_SIZE) {
        out.number = ReadNumber(rest);
        return true;
    }
    // [FLAGS] "VALUE" and nothing after the closing quote.
    const char *open = std::strchr(rest, '"');
    if (open == nullptr)
        return false;
    const char *close = std::strchr(open + 1, '"');
    if (close == nullptr || close[1] != '\0')
        return false;
    for (const char *flag = rest; flag < open; ++flag) {
        if (*flag == 'I')
            out.ignoreCase = true;
        else if (*flag == 'S')
            out.pattern = true;
    }
    out.value.assign(open + 1, close);
    return true;
}

bool CExpression::ParseTerm(const char *text, bool store)
{
    if (text == nullptr)
        return false;
    ParsedTerm parsed;
    if (!ParseTermText(text, parsed))
        return false;
    if (!store)
        return true;
    if (parsed.var == VAR_SIZE)
        AddTerm(parsed.var, parsed.op, parsed.ignoreCase, parsed.pattern, parsed.number);
    else
        AddTerm(parsed.var, parsed.op, parsed.ignoreCase, parsed.pattern, parsed.value.c_str());
    return true;
}

void CExpression::AddTerm(VAR_TYPE var, OP_TYPE op, bool ignoreCase, bool pattern, int number)
{
    if (termCount >= MAX_TERM_COUNT)
        return;
    terms[termCount++].Set(var, op, ignoreCase, pattern, number);
}

void CExpression::AddTerm(VAR_TYPE var, OP_TYPE op, bool ignoreCase, bool pattern,
                          const char *value)
{
    if (termCount >= MAX_TERM_COUNT)
        return;
    terms[termCount++].Set(var, op, ignoreCase, pattern, value);
}

bool CExpression::ParseAction(const char *text, bool store)
{
    if (text == nullptr)
        return false;
    ACT_TYPE parsed;
    if (StartsWith(text, "DEL"))
        parsed = ACT_DEL;
    else if (StartsWith(text, "QUAR"))
        parsed = ACT_QUAR;
    else if (StartsWith(text, "ARCH"))
        parsed = ACT_ARCH;
    else
        return false;
    if (store) {
        action = parsed;
        actionText = text;
    }
    return true;
}

bool CExpression::MatchesAnyDomain(const CTerm &term, const CMailInfo &info)
{
    int count = info.m_nDomainCount;
    if (count > info.m_nDomainAlloc)
        count = info.m_nDomainAlloc;
    for (int i = 0; i < count && i < MAX_DOMAIN_COUNT; ++i) {
        if (term.Evaluate(info.m_pDomain[i]))
            return true;
    }
    return false;
}

bool CExpression::EvaluateTerm(const CTerm &term, const CMailInfo &info)
{
    switch (term.var) {
    case VAR_FROM:
        return term.Evaluate(info.m_pszFrom) || term.Evaluate(info.m_pszEnvelopeFrom);
    case VAR_TO:
        return term.Evaluate(info.m_pszTo);
    case VAR_CC:
        return term.Evaluate(info.m_pszCc);
    case VAR_RTO:
        return term.Evaluate(info.m_pszReplyTo);
    case VAR_SUBJ:
        return term.Evaluate(info.m_pszSubject);
    case VAR_SIZE:
        return term.Evaluate(info.m_nMailSize);
    case VAR_TIME:
        return term.EvaluateTime(info.m_lReceivedTime);
    case VAR_ATTACH: {
        int count = info.m_nAttachCount;
        if (count > info.m_nAttachAlloc)
            count = info.m_nAttachAlloc;
        for (int i = 0; i < count && i < MAX_ATTACH_COUNT; ++i) {
            if (!info.m_bChecked[i] && term.EvaluateAttach(info.m_pAttach[i]))
                return true;
        }
        return false;
    }
    case VAR_DOM:
        return MatchesAnyDomain(term, info);
    }
    return false;
}

bool CExpression::Evaluate(const CMailInfo *info) const
{
    if (info == nullptr)
        return false;
    bool domainMatched = false;
    for (int i = 0; i < termCount; ++i) {
        const CTerm &term = terms[i];
        if (term.var == VAR_DOM) {
            // After one DOM term has matched, later DOM terms are
            // alternatives: their misses are forgiven.
            if (MatchesAnyDomain(term, *info))
                domainMatched = true;
            else if (!domainMatched)
                return false;
        } else if (!EvaluateTerm(term, *info)) {
            return false;
        }
    }
    return true;
}

bool CExpression::CheckScan(MAIL_TYPE direction) const
{
    return mailType == MAIL_BOTH || mailType == direction;
}

void CExpression::SetName(const char *text)
{
    if (text != nullptr)
        name = text;
}

void CExpression::SetAction(const char *text)
{
    if (text != nullptr)
        actionText = text;
}

void CExpression::SetRule(const char *text)
{
    if (text != nullptr)
        rule = text;
}
