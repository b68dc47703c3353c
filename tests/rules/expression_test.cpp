// Parsing of rule sentences, mail types and actions into a CExpression.
#include <gtest/gtest.h>

#include <climits>
#include <cstring>
#include <string>

#include "rules/expression.h"

namespace {

// The parsed rule as "terms: var op flags number value mime" of its first
// term ("-" for a value or mime not stored), or "invalid".
std::string Describe(const char *sentence)
{
    CExpression rule;
    if (!rule.ParseExpression(sentence, true))
        return "invalid";
    static const char *const vars[] = {"DOM", "FROM", "TO", "CC", "RTO", "SUBJ", "SIZE", "TIME", "ATTACH"};
    static const char *const ops[] = {"=", "!=", "<", ">"};
    const CTerm &t = rule.GetTerm(0);
    std::string text;
    rule.GetRule(text);
    EXPECT_EQ(text, sentence);
    return std::to_string(rule.GetTermCount()) + ": " + vars[t.var] + " " + ops[t.op] + " " +
           (t.ignoreCase ? "I" : "") + (t.pattern ? "S" : "") + "|" + std::to_string(t.number) +
           "|" + (t.value ? t.value : "-") + "|" + (t.mime ? t.mime : "-");
}

TEST(ParseExpression, Grammar)
{
    const std::pair<const char *, const char *> rows[] = {
        {R"(SUBJ=I"Free OFFER")", "1: SUBJ = I|0|free offer|-"},
        {R"(SUBJ="Free")", "1: SUBJ = |0|Free|-"},
        {R"(FROM=IS"*offer*,*promo*")", "1: FROM = IS|0|*offer*,*promo*|-"},
        {R"(FROM=SX"a")", "1: FROM = S|0|a|-"}, {"SIZE>500000", "1: SIZE > |500000|-|-"},
        {"SIZE!=5", "1: SIZE != |5|-|-"}, {"SIZE<abc", "1: SIZE < |0|-|-"},
        {"SIZE=99999999999", "1: SIZE = |2147483647|-|-"},
        {R"(ATTACH=I".EXE:Application")", "1: ATTACH = I|0|.exe|application"},
        {R"(ATTACH="Read.Me:Text/Plain:X")", "1: ATTACH = |0|Read.Me:Text/Plain|x"},
        {R"(ATTACH="A.exe")", "1: ATTACH = |0|A.exe|-"}, {R"(SUBJ="a:b")", "1: SUBJ = |0|a:b|-"},
        {R"(TIME="3E00FF00")", "1: TIME = |0|3E00FF00|-"}, {R"(DOM="")", "1: DOM = |0||-"},
        {R"(TO=="x")", "1: TO = |0|x|-"}, {R"(RTO<"x",CC>"y")", "2: RTO < |0|x|-"},
        {R"(SUBJ="a,b",SIZE<3)", "2: SUBJ = |0|a,b|-"}, {R"(SUBJ="a\b")", "1: SUBJ = |0|a\\b|-"},
        {R"(SUBJ="a",)", "1: SUBJ = |0|a|-"},
        {R"(SIZE>1,SIZE>2,SIZE>3,SIZE>4,SIZE>5,SIZE>6,SIZE>7,SIZE>8,SIZE>9,SIZE>10)", "9: SIZE > |1|-|-"},
    };
    for (const auto &row : rows)
        EXPECT_EQ(Describe(row.first), row.second) << row.first;
    for (const char *invalid : {"", R"(FROM="x"y)", R"(FROM="x" )", R"(SUBJ="a"")", R"(SUBJ!x"a")",
                                R"(subj="x")", R"( SUBJ="x")", R"(SUBJECT="x")", "SUBJ=hello", "SUBJ=",
                                R"(SUBJ="open)", R"(SUBJ="a",,SIZE>1)", R"(SUBJ="a", SIZE>1)", "SIZE"})
        EXPECT_EQ(Describe(invalid), "invalid") << invalid;
    CExpression rule;
    EXPECT_FALSE(rule.ParseExpression(nullptr, true));
}

} // namespace
