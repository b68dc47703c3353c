// Rule sentences: parsing into a CExpression and evaluation against one mail.
#include <gtest/gtest.h>

#include <cstdlib>
#include <ctime>
#include <string>
#include <vector>

#include "rules/expression.h"
#include "support/rules_fixtures.h"

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
        {R"(SUBJ=I"Free OFFER")", "1: SUBJ = I|0|free offer|-"}, {R"(SUBJ="Free")", "1: SUBJ = |0|Free|-"},
        {R"(FROM=IS"*offer*,*promo*")", "1: FROM = IS|0|*offer*,*promo*|-"},
        {R"(FROM=SX"a")", "1: FROM = S|0|a|-"}, {"SIZE!=5", "1: SIZE != |5|-|-"},
        {"SIZE<abc", "1: SIZE < |0|-|-"}, {"SIZE=99999999999", "1: SIZE = |2147483647|-|-"},
        {R"(ATTACH=I".EXE:Application")", "1: ATTACH = I|0|.exe|application"},
        {R"(ATTACH="Read.Me:Text/Plain:X")", "1: ATTACH = |0|Read.Me:Text/Plain|x"},
        {R"(SUBJ="a:b")", "1: SUBJ = |0|a:b|-"}, {R"(TO=="x")", "1: TO = |0|x|-"},
        {R"(RTO<"x",CC>"y")", "2: RTO < |0|x|-"}, {R"(SUBJ="a,b",SIZE<3)", "2: SUBJ = |0|a,b|-"},
        {R"(SUBJ="a\b")", "1: SUBJ = |0|a\\b|-"}, {R"(SUBJ="a",)", "1: SUBJ = |0|a|-"},
        {R"(SIZE>1,SIZE>2,SIZE>3,SIZE>4,SIZE>5,SIZE>6,SIZE>7,SIZE>8,SIZE>9,SIZE>10)", "9: SIZE > |1|-|-"},
    };
    for (const auto &row : rows)
        EXPECT_EQ(Describe(row.first), row.second) << row.first;
    for (const char *invalid : {"", R"(FROM="x"y)", R"(SUBJ="a"")", R"(SUBJ!x"a")", R"(subj="x")",
                                R"(SUBJECT="x")", "SUBJ=hello", R"(SUBJ="open)", R"(SUBJ="a",,SIZE>1)",
                                R"(SUBJ="a", SIZE>1)", "SIZE"})
        EXPECT_EQ(Describe(invalid), "invalid") << invalid;
    EXPECT_FALSE(CExpression().ParseExpression(nullptr, true));
}

// Sunday 2002-12-01 10:30:00 UTC.
const int kSundayAtTen = 1038738600;

class RuleEvaluation : public ::testing::Test {
protected:
    void SetUp() override
    {
        setenv("TZ", "UTC", 1);
        tzset();
        rules_set_users(mail, "Alice <alice@example.com>", "carol@example.com, bob@example.net", "");
        mail.m_strEnvelopeFrom = "bounce@lists.example.org";   // no C line: m_pszCc stays null
        mail.m_pszEnvelopeFrom = mail.m_strEnvelopeFrom.c_str();
        mail.m_strSubject = "Hello World";
        mail.m_pszSubject = mail.m_strSubject.c_str();
        mail.m_nMailSize = 100;
        mail.m_lReceivedTime = kSundayAtTen;
        for (std::string host : {"mx.example.com", "relay.spam.example"})
            mail.AddDomain(&host[0]);
        rules_add_attach(mail, "Report.PDF", "Application/PDF");
        rules_add_attach(mail, "winmail.dat", "application/ms-tnef", {"budget.xls", "notes"});
    }

    void Check(const std::vector<std::pair<const char *, bool>> &rows)
    {
        for (const auto &row : rows) {
            CExpression rule;
            ASSERT_TRUE(rule.ParseExpression(row.first, true)) << row.first;
            EXPECT_EQ(rule.Evaluate(&mail), row.second) << row.first;
        }
    }

    CMailInfo mail;
};

TEST_F(RuleEvaluation, HeaderFields)
{
    Check({
        {R"(SUBJ="Hello World")", true}, {R"(SUBJ="hello world")", false}, {R"(SUBJ=I"HELLO world")", true},
        {R"(SUBJ="Hello")", false}, {R"(SUBJ=S"*World")", true}, {R"(SUBJ=S"World*Hello")", false},
        {R"(SUBJ=IS"hello*WORLD")", true}, {R"(SUBJ!="Hello World")", false},
        {R"(SUBJ<"x")", true},                          // any operator but = means "differs"
        {R"(SUBJ="Hello World,x")", false},             // a subject value is not a list
        {R"(FROM="bounce@lists.example.org")", true},   // the envelope sender too
        {R"(FROM=IS"*EXAMPLE.ORG")", true}, {R"(FROM="nobody, bounce@lists.example.org")", true},
        {R"(TO="alice,bob@example.net")", true}, {R"(TO=" bob@example.net ")", true},
        {R"(TO!="carol@example.com")", true},           // bob differs
        {R"(CC="''")", true}, {R"(CC!="x")", false},    // a missing field never compares
        {R"(CC="x,''")", true}, {R"(RTO="''")", true}, {R"(SUBJ="''")", false},
        {R"(TO="'bob@example.net'")", false},           // quotes stay part of the text
        {R"(SUBJ="Hello World",SIZE=100,TO=S"bob")", true}, {R"(SIZE>1000,SUBJ="Hello World")", false},
    });
    CExpression empty;
    EXPECT_TRUE(empty.Evaluate(&mail));
    EXPECT_FALSE(empty.Evaluate(nullptr));
}

TEST_F(RuleEvaluation, SizeAndTime)
{
    Check({
        {"SIZE=100", true}, {"SIZE<100", false}, {"SIZE<101", true}, {"SIZE>99", true},
        {"SIZE>100", false}, {"SIZE!=100", false}, {"SIZE!=5", true},
        {R"(TIME="01FFFFFF")", true},             // Sundays, any hour
        {R"(TIME="02FFFFFF")", false},            // Mondays
        {R"(TIME="7F000000")", false},            // no hour bit
        {R"(TIME="7F000400")", true},             // 10 o'clock
        {R"(TIME="7f000400")", true},
        {R"(TIME="7F000800")", false},            // 11 o'clock
        {R"(TIME="7F0004")", false},              // not a multiple of 8
        {R"(TIME="0100000001FFFFFF")", true},     // the second block
        {R"(TIME="")", false}, {R"(TIME="zzzzzzzz")", false},
        {R"(TIME!="01FFFFFF")", true},            // the operator is not used
    });
    mail.m_lReceivedTime = -1;
    Check({{R"(TIME="FFFFFFFF")", false}});
}

TEST_F(RuleEvaluation, RelayHostsForgiveLaterMisses)
{
    Check({
        {R"(DOM="mx.example.com")", true}, {R"(DOM=S"spam")", true}, {R"(DOM="other,relay.spam.example")", true},
        {R"(DOM="other",DOM="mx.example.com")", false},   // a miss before any match
        {R"(DOM="mx.example.com",DOM="other")", true},    // forgiven
        {R"(DOM="mx.example.com",DOM="other",SIZE=1)", false}, {R"(SIZE=100,DOM="other")", false},
    });
    mail.m_nDomainCount = 0;
    Check({{R"(DOM="''")", false}});
}

TEST_F(RuleEvaluation, Attachments)
{
    Check({
        {R"(ATTACH="exe")", true},                      // no dot: no name test
        {R"(ATTACH=".exe")", false}, {R"(ATTACH=".PDF")", true}, {R"(ATTACH=".pdf")", false},
        {R"(ATTACH=I".pdf")", true}, {R"(ATTACH="report.")", false}, {R"(ATTACH=I"report.")", true},
        {R"(ATTACH=S"por.PD")", true}, {R"(ATTACH=S"xpor.PD")", false},   // contains, both parts
        {R"(ATTACH=".xls")", true},                     // a name inside the TNEF part
        {R"(ATTACH="budget.xls:application/ms-tnef")", true}, {R"(ATTACH="budget.xls:text/plain")", false},
        {R"(ATTACH=":PDF")", true}, {R"(ATTACH=":image")", false},   // type only, lowered
        {R"(ATTACH=".exe:ALL")", false}, {R"(ATTACH=":none")", true},
        {R"(ATTACH="a.b:c:pdf")", false},               // split at the last ":"
    });
    mail.m_bChecked[0] = 1;   // taken by the specialized filter
    Check({{R"(ATTACH=".PDF")", false}, {R"(ATTACH=".xls")", true}});
    mail.m_bChecked[1] = 1;
    Check({{R"(ATTACH="exe")", false}});
}

} // namespace

