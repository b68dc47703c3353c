// Parsing of rule sentences, mail types and actions into a CExpression.
#include <gtest/gtest.h>

#include <climits>
#include <cstring>
#include <string>

#include "rules/expression.h"

namespace {

struct TermRow {
    const char *sentence;
    bool valid;
    int terms = 0;
    // The first term, when valid.
    VAR_TYPE var = VAR_DOM;
    OP_TYPE op = OP_EQ;
    bool ignoreCase = false, pattern = false;
    int number = 0;
    const char *value = nullptr;   // null: none stored
    const char *mime = nullptr;
};

TEST(ParseExpression, Grammar)
{
    const TermRow rows[] = {
        {R"(SUBJ=I"free offer")", true, 1, VAR_SUBJ, OP_EQ, true, false, 0, "free offer", nullptr},
        {R"(SUBJ=I"Free OFFER")", true, 1, VAR_SUBJ, OP_EQ, true, false, 0, "free offer", nullptr},
        {R"(SUBJ="Free")", true, 1, VAR_SUBJ, OP_EQ, false, false, 0, "Free", nullptr},
        {R"(FROM=IS"*offer*,*promo*")", true, 1, VAR_FROM, OP_EQ, true, true, 0, "*offer*,*promo*",
         nullptr},
        {R"(FROM=SX"a")", true, 1, VAR_FROM, OP_EQ, false, true, 0, "a", nullptr},
        {"SIZE>500000", true, 1, VAR_SIZE, OP_GT, false, false, 500000, nullptr, nullptr},
        {"SIZE!=5", true, 1, VAR_SIZE, OP_NE, false, false, 5, nullptr, nullptr},
        {"SIZE<abc", true, 1, VAR_SIZE, OP_LT, false, false, 0, nullptr, nullptr},
        {"SIZE=99999999999", true, 1, VAR_SIZE, OP_EQ, false, false, INT_MAX, nullptr, nullptr},
        {R"(ATTACH=I".EXE:Application")", true, 1, VAR_ATTACH, OP_EQ, true, false, 0, ".exe",
         "application"},
        {R"(ATTACH="Read.Me:Text/Plain:X")", true, 1, VAR_ATTACH, OP_EQ, false, false, 0,
         "Read.Me:Text/Plain", "x"},
        {R"(ATTACH="A.exe")", true, 1, VAR_ATTACH, OP_EQ, false, false, 0, "A.exe", nullptr},
        {R"(SUBJ="a:b")", true, 1, VAR_SUBJ, OP_EQ, false, false, 0, "a:b", nullptr},
        {R"(TIME="3E00FF00")", true, 1, VAR_TIME, OP_EQ, false, false, 0, "3E00FF00", nullptr},
        {R"(DOM="")", true, 1, VAR_DOM, OP_EQ, false, false, 0, "", nullptr},
        {R"(TO=="x")", true, 1, VAR_TO, OP_EQ, false, false, 0, "x", nullptr},
        {R"(RTO<"x",CC>"y")", true, 2, VAR_RTO, OP_LT, false, false, 0, "x", nullptr},
        {R"(SUBJ="a,b",SIZE<3)", true, 2, VAR_SUBJ, OP_EQ, false, false, 0, "a,b", nullptr},
        {R"(SUBJ="a\b")", true, 1, VAR_SUBJ, OP_EQ, false, false, 0, "a\\b", nullptr},
        {R"(SUBJ="a",)", true, 1, VAR_SUBJ, OP_EQ, false, false, 0, "a", nullptr},
        {R"(SIZE>1,SIZE>2,SIZE>3,SIZE>4,SIZE>5,SIZE>6,SIZE>7,SIZE>8,SIZE>9,SIZE>10)", true, 9,
         VAR_SIZE, OP_GT, false, false, 1, nullptr, nullptr},
        // Invalid sentences.
        {"", false},
        {R"(FROM="x"y)", false},
        {R"(FROM="x" )", false},
        {R"(SUBJ="a"")", false},
        {R"(SUBJ!x"a")", false},
        {R"(subj="x")", false},
        {R"( SUBJ="x")", false},
        {R"(SUBJECT="x")", false},
        {"SUBJ=hello", false},
        {"SUBJ=I", false},
        {"SUBJ=", false},
        {R"(SUBJ="open)", false},
        {R"(SUBJ="a",,SIZE>1)", false},
        {R"(SUBJ="a", SIZE>1)", false},
        {R"("SUBJ"="a")", false},
        {"SIZE", false},
        {",", false},
    };
    for (const TermRow &row : rows) {
        CExpression rule;
        ASSERT_EQ(rule.ParseExpression(row.sentence, true), row.valid) << row.sentence;
        if (!row.valid)
            continue;
        ASSERT_EQ(rule.GetTermCount(), row.terms) << row.sentence;
        const CTerm &term = rule.GetTerm(0);
        EXPECT_EQ(term.var, row.var) << row.sentence;
        EXPECT_EQ(term.op, row.op) << row.sentence;
        EXPECT_EQ(term.ignoreCase, row.ignoreCase) << row.sentence;
        EXPECT_EQ(term.pattern, row.pattern) << row.sentence;
        EXPECT_EQ(term.number, row.number) << row.sentence;
        if (row.value == nullptr)
            EXPECT_EQ(term.value, nullptr) << row.sentence;
        else
            EXPECT_STREQ(term.value, row.value) << row.sentence;
        if (row.mime == nullptr)
            EXPECT_EQ(term.mime, nullptr) << row.sentence;
        else
            EXPECT_STREQ(term.mime, row.mime) << row.sentence;
        std::string text;
        rule.GetRule(text);
        EXPECT_EQ(text, row.sentence);
    }
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

TEST(GetNextTerm, SplitsOffOneTerm)
{
    struct {
        const char *rest;
        bool ok;
        const char *term, *remainder;
    } rows[] = {
        {R"(SIZE>1,SUBJ="a")", true, "SIZE>1", R"(SUBJ="a")"},
        {R"(SUBJ="a,b",SIZE>1)", true, R"(SUBJ="a,b")", "SIZE>1"},
        {R"(SUBJ="a,b")", true, R"(SUBJ="a,b")", ""},
        {"SIZE>1", true, "SIZE>1", ""},
        {",x", true, "", "x"},
        {R"(SUBJ="a"b)", false, "", ""},
        {R"(SUBJ="a)", false, "", ""},
    };
    for (const auto &row : rows) {
        CExpression rule;
        char rest[64], term[64] = "";
        std::strcpy(rest, row.rest);
        ASSERT_EQ(rule.GetNextTerm(rest, term), row.ok) << row.rest;
        if (!row.ok)
            continue;
        EXPECT_STREQ(term, row.term) << row.rest;
        EXPECT_STREQ(rest, row.remainder) << row.rest;
    }
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

TEST(CExpression, AccessorsAndDefaults)
{
    CExpression rule;
    EXPECT_EQ(rule.GetAction(), ACT_DEL);
    EXPECT_EQ(rule.GetMailType(), MAIL_INBOUND);
    EXPECT_EQ(rule.GetSuspended(), 0);
    EXPECT_FALSE(rule.IsVendor());
    EXPECT_TRUE(rule.IsEnabled());
    EXPECT_EQ(rule.GetNext(), nullptr);
    rule.SetName("Big mails");
    rule.SetName(nullptr);
    rule.SetAction("QUAR");
    rule.SetAction(nullptr);
    rule.SetRule(nullptr);
    std::string text;
    rule.GetName(text);
    EXPECT_EQ(text, "Big mails");
    rule.GetAction(text);
    EXPECT_EQ(text, "QUAR");
    rule.GetRule(text);
    EXPECT_EQ(text, "");
    CExpression other;
    rule.SetNext(&other);
    EXPECT_EQ(rule.GetNext(), &other);
}

} // namespace
