// "SFRule.txt": the item syntax, the loader's record, the savor's lines and
// a save/load round trip.
#include "sfilter/sfrule_file.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "support/rules_fixtures.h"

namespace {

tagSFRuleContent sample_rule(int n)
{
    tagSFRuleContent rule;
    rule.enabled = n % 2 == 0, rule.name = "rule " + std::to_string(n);
    rule.mailType = static_cast<MAIL_TYPE>(n % 3);
    rule.from = "a@x.com, *@spam.org", rule.to = n % 2 ? "" : "boss@corp", rule.replyTo = "r@x";
    rule.cc = "c@x, d@y", rule.mime = "application/x-msdownload all", rule.attach = "*.exe, re*me.txt";
    rule.includeText = n % 2 ? "EXCLUDE" : "INCLUDE", rule.inNotify = "in text";
    for (int list = 0; list < SF_LIST_COUNT; ++list) {
        rule.matchAttr.flags[list][0] = (n + list) % 2 == 0;
        rule.matchAttr.flags[list][1] = (n + list) % 3 == 0;
    }
    return rule;
}

TEST(SFRuleFile, SaveThenLoadKeepsEverythingButEnable)
{
    BaseTempDir dir;
    std::vector<tagSFRuleContent> saved;
    for (int n = 0; n < 6; ++n)
        saved.push_back(sample_rule(n));
    c_special_filter_savor savor;
    ASSERT_TRUE(savor.SaveRuleFile(saved, dir.path("SFRule.txt").c_str()));

    std::string text = ReadFile(dir.path("SFRule.txt"));
    const std::string comment = "; Written by Orvane Unix Configuration Standard v3.8 2002 ZeltoWorks\r\n";
    EXPECT_EQ(text.substr(0, comment.size()), comment);
    EXPECT_EQ(text.substr(text.size() - 2), "\r\n");

    std::vector<tagSFRuleContent> loaded(3);
    c_special_filter_loader loader;
    loader.LoadRuleFile(loaded, dir.path("SFRule.txt").c_str());
    ASSERT_EQ(loaded.size(), saved.size());
    for (size_t i = 0; i < saved.size(); ++i) {
        EXPECT_TRUE(loaded[i].enabled) << i;   // "ENABLE" is not read back
        loaded[i].enabled = saved[i].enabled;
        EXPECT_EQ(c_special_filter_savor::Content2RuleStringEx(loaded[i]),
                  c_special_filter_savor::Content2RuleStringEx(saved[i]));
    }
}

TEST(SFRuleFile, WriterLineLayout)
{
    tagSFRuleContent rule;
    rule.enabled = false;
    rule.name = "n";
    rule.mailType = MAIL_OUTBOUND;
    rule.from = "f";
    rule.matchAttr.flags[SF_LIST_FROM][0] = true;
    rule.includeText = "INCLUDE";
    EXPECT_EQ(c_special_filter_savor::Content2RuleStringEx(rule),
              "<ENABLE></ENABLE><RULE NAME>n</RULE NAME><MAIL TYPE>B</MAIL TYPE>"
              "<FROM><NAME>f</NAME><I>yes</I><S></S></FROM>"
              "<TO><NAME></NAME><I></I><S></S></TO>"
              "<RTO><NAME></NAME><I></I><S></S></RTO>"
              "<CC><NAME></NAME><I></I><S></S></CC>"
              "<MIME><NAME></NAME><I></I><S></S></MIME>"
              "<ATTACH><NAME></NAME><I></I><S></S></ATTACH>"
              "<ATTR><NAME>INCLUDE</NAME><I></I><S></S></ATTR>"
              "<IN NOTIFY></IN NOTIFY><OUT NOTIFY></OUT NOTIFY>");
    rule.to = "t\"q\\";
    rule.matchAttr.flags[SF_LIST_TO][1] = true;
    EXPECT_EQ(c_special_filter_savor::Content2RuleString(rule, 0),
              "n\\B\\FROM=I\"f\",TO=S\"tq\",RTO=\"\",CC=\"\",MIME=\"\",ATTACH=\"\","
              "ATTR=\"INCLUDE\"");
}

TEST(SFRuleFile, LoaderDropsBadLinesAndMissingFiles)
{
    BaseTempDir dir;
    WriteFile(dir.path("rules.txt"), "; comment <RULE NAME>c</RULE NAME><MAIL TYPE>A</MAIL TYPE>\r\n"
                                     "<RULE NAME> first </RULE NAME><MAIL TYPE>A</MAIL TYPE>\r\n\r\n"
                                     "<RULE NAME>no type</RULE NAME>\ngarbage </RULE NAME><RULE NAME>\n"
                                     "<RULE NAME></RULE NAME><MAIL TYPE>A</MAIL TYPE>\n"
                                     "<RULE NAME>blank type</RULE NAME><MAIL TYPE> </MAIL TYPE>\n"
                                     "<MAIL TYPE>Cx</MAIL TYPE><RULE NAME>last</RULE NAME>");
    std::vector<tagSFRuleContent> rules;
    c_special_filter_loader loader;
    loader.LoadRuleFile(rules, dir.path("rules.txt").c_str());
    ASSERT_EQ(rules.size(), 2u);
    EXPECT_EQ(rules[0].name + "|" + rules[1].name, "first|last");
    EXPECT_EQ(rules[0].mailType * 10 + rules[1].mailType, MAIL_INBOUND * 10 + MAIL_BOTH);

    loader.LoadRuleFile(rules, dir.path("missing.txt").c_str());
    EXPECT_TRUE(rules.empty());
    c_special_filter_savor savor;
    EXPECT_FALSE(savor.SaveRuleFile(rules, dir.path("no/dir/x.txt").c_str()));
}

} // namespace
