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
        {R"(FROM=SX"a")", "1: FROM = S|0|a|-"},
        {"SIZE>500000", "1: SIZE > |500000|-|-"},
        {"SIZE!=5", "1: SIZE != |5|-|-"},
        {"SIZE<abc", "1: SIZE < |0|-|-"},
        {"SIZE=99999999999", "1: SIZE = |2147483647|-|-"},
        {R"(ATTACH=I".EXE:Application")", "1: ATTACH = I|0|.exe|application"},
        {R"(ATTACH="Read.Me:Text/Plain:X")", "1: ATTACH = |0|Read.Me:Text/Plain|x"},
        {R"(ATTACH="A.exe")", "1: ATTACH = |0|A.exe|-"},
        {R"(SUBJ="a:b")", "1: SUBJ = |0|a:b|-"},
        {R"(TIME="3E00FF00")", "1: TIME = |0|3E00FF00|-"},
        {R"(DOM="")", "1: DOM = |0||-"},
        {R"(TO=="x")", "1: TO = |0|x|-"},
        {R"(RTO<"x",CC>"y")", "2: RTO < |0|x|-"},
        {R"(SUBJ="a,b",SIZE<3)", "2: SUBJ = |0|a,b|-"},
        {R"(SUBJ="a\b")", "1: SUBJ = |0|a\\b|-"},
        {R"(SUBJ="a",)", "1: SUBJ = |0|a|-"},
        {R"(SIZE>1,SIZE>2,SIZE>3,SIZE>4,SIZE>5,SIZE>6,SIZE>7,SIZE>8,SIZE>9,SIZE>10)", "9: SIZE > |1|-|-"},
    };
    for (const auto &row : rows)
        EXPECT_EQ(Describe(row.first), row.second) << row.first;
    for (const char *invalid : {"", R"(FROM="x"y)", R"(FROM="x" )", R"(SUBJ="a"")", R"(SUBJ!x"a")",
                                R"(subj="x")", R"( SUBJ="x")", R"(SUBJECT="x")", "SUBJ=hello",
                                "SUBJ=I", "SUBJ=", R"(SUBJ="open)", R"(SUBJ="a",,SIZE>1)",
                                R"(SUBJ="a", SIZE>1)", R"("SUBJ"="a")", "SIZE", ","})
        EXPECT_EQ(Describe(invalid), "invalid") << invalid;
    CExpression rule;
    EXPECT_FALSE(rule.ParseExpression(nullptr, true));
}

TEST(ParseExpression, WithoutStoreTheRuleStaysAsItWas)
{
    CExpression rule;
    ASSERT_TRUE(rule.ParseExpression("SIZE>1,SIZE>2", true));
    EXPECT_TRUE(rule.ParseExpression(R"(SUBJ="x")", false));
    EXPECT_FALSE(rule.ParseExpression(R"(SUBJ="x)", false));
    EXPECT_EQ(rule.GetTermCount(), 2);
    std::string text;
    rule.GetRule(text);
    EXPECT_EQ(text, "SIZE>1,SIZE>2");

    // A new sentence replaces the terms of the old one.
    ASSERT_TRUE(rule.ParseExpression(R"(SUBJ="x")", true));
    EXPECT_EQ(rule.GetTermCount(), 1);
    EXPECT_EQ(rule.GetTerm(0).var, VAR_SUBJ);
    EXPECT_EQ(rule.GetTerm(0).number, 0);
}

TEST(CExpression, MailTypesActionsAndDirections)
{
    struct {
        const char *text;
        bool ok;
        MAIL_TYPE type;
    } types[] = {{"A", true, MAIL_INBOUND}, {"Bxyz", true, MAIL_OUTBOUND}, {"C", true, MAIL_BOTH},
                 {"a", false, MAIL_INBOUND}, {"", false, MAIL_INBOUND}, {nullptr, false, MAIL_INBOUND}};
    for (const auto &row : types) {
        CExpression rule;
        rule.SetMailType(MAIL_OUTBOUND);
        EXPECT_EQ(rule.ParseMailType(row.text, false), row.ok);
        EXPECT_EQ(rule.GetMailType(), MAIL_OUTBOUND);   // not stored
        if (row.ok) {
            rule.ParseMailType(row.text, true);
            EXPECT_EQ(rule.GetMailType(), row.type);
        }
    }

    struct {
        const char *text;
        bool ok;
        ACT_TYPE action;
    } actions[] = {{"DEL", true, ACT_DEL},  {"DELETE", true, ACT_DEL}, {"QUAR", true, ACT_QUAR},
                   {"ARCHIVE", true, ACT_ARCH}, {"del", false, ACT_DEL}, {"QUA", false, ACT_DEL},
                   {"", false, ACT_DEL}};
    for (const auto &row : actions) {
        CExpression rule;
        EXPECT_EQ(rule.ParseAction(row.text, true), row.ok) << row.text;
        EXPECT_EQ(rule.GetAction(), row.action) << row.text;
        std::string text;
        rule.GetAction(text);
        EXPECT_EQ(text, row.ok ? row.text : "") << row.text;
    }

    struct {
        MAIL_TYPE rule, mail;
        bool scanned;
    } directions[] = {{MAIL_INBOUND, MAIL_INBOUND, true},   {MAIL_INBOUND, MAIL_OUTBOUND, false},
                      {MAIL_OUTBOUND, MAIL_OUTBOUND, true}, {MAIL_OUTBOUND, MAIL_INBOUND, false},
                      {MAIL_BOTH, MAIL_INBOUND, true},      {MAIL_BOTH, MAIL_OUTBOUND, true}};
    for (const auto &row : directions) {
        CExpression rule;
        rule.SetMailType(row.rule);
        EXPECT_EQ(rule.CheckScan(row.mail), row.scanned) << row.rule << " " << row.mail;
    }
}

} // namespace
