// The policy file reader, the keyword records' text rules and the keyword
// import files.
#include <gtest/gtest.h>

#include <cerrno>
#include <algorithm>
#include <memory>

#include "contscan/policy.h"
#include "contscan/policy_reader.h"
#include "support/base_log_capture.h"
#include "support/contscan_fixtures.h"

namespace
{

struct SetDeleter {
    void operator()(POLICYSET *set) const { FreePolicySet(set); }
};
using SetPtr = std::unique_ptr<POLICYSET, SetDeleter>;

SetPtr NewSet() { return SetPtr(static_cast<POLICYSET *>(std::calloc(1, sizeof(POLICYSET)))); }

// "name[flags] list1|list2 !noaction", keywords joined by "+", synonyms after "=".
std::string Describe(const POLICY_STRU *p)
{
    std::string text = std::string(p->m_szName) + "[" + (p->m_bEnabled ? "e" : "") +
                       (p->m_bSynonymEnabled ? "s" : "") + (p->m_bInboundScan ? "i" : "") +
                       (p->m_bOutboundScan ? "o" : "") + "]";
    for (const KEYWORDLIST_STRU *l = p->m_pFirstKeywordList; l; l = l->m_pNext) {
        text += l == p->m_pFirstKeywordList ? " " : "|";
        for (const KEYWORD_STRU *k = l->m_pFirstKeyword; k; k = k->m_pNext) {
            text += (k == l->m_pFirstKeyword ? "" : "+") + std::string(k->m_szText);
            for (const SYNONYM_STRU *s = k->m_pFirstSynonym; s; s = s->m_pNext)
                text += "=" + std::string(s->m_szText);
        }
    }
    for (const NOACTION_KEYWORD_STRU *w = p->m_pFirstNoAction; w; w = w->m_pNext)
        text += " !" + std::string(w->m_szText);
    return text;
}

std::vector<std::string> DescribeSet(const POLICYSET *set)
{
    std::vector<std::string> policies;
    for (const POLICY_STRU *p = set->m_pFirstPolicy; p; p = p->m_pNext)
        policies.push_back(Describe(p));
    return policies;
}

class PolicyFileTest : public ::testing::Test
{
protected:
    int Read(const std::vector<std::string> &tokens, const std::string &settings = "")
    {
        return ReadRaw(PolicyFileText(tokens), settings);
    }

    int ReadRaw(const std::string &policyText, const std::string &settings = "")
    {
        std::string policy = m_dir.write("CsConfig.dat", policyText);
        m_settings = m_dir.write("contscan.ini", settings);
        m_set = NewSet();
        return ReadPolicy(m_set.get(), policy.c_str(), m_settings.c_str());
    }

    BaseTempDir m_dir;
    std::string m_settings;
    SetPtr m_set;
};

TEST_F(PolicyFileTest, RejectsWhatIsNotAPolicyFile)
{
    for (const char *text : {"", "CsConfig.dat\tshP\t", "\tCsConfig.dat2\tshP\t", "CsConfig.dat2",
                             "csconfig.dat2\tshP\t"}) {
        EXPECT_EQ(ReadRaw(text), -EAGAIN) << text;
        EXPECT_EQ(m_set->m_pFirstPolicy, nullptr) << text;
    }
    m_set = NewSet();
    EXPECT_EQ(ReadPolicy(m_set.get(), m_dir.path("missing").c_str(), nullptr), -EAGAIN);
}

TEST_F(PolicyFileTest, BuildsPoliciesListsKeywordsAndSynonyms)
{
    const struct {
        const char *name;
        std::vector<std::string> tokens;
        std::string settings;
        std::vector<std::string> expected;
    } cases[] = {
        {"a full policy, lowered", {"shSales", "se=t", "pe=t", "whFree", "wdMONEY", "syCash", "wdnow", "whWin", "ewInternal"},
         "", {"Sales[esio] free+money=cash+now|win !internal"}},
        {"case sensitive keeps capitals", {"shSales", "whFree", "wdMONEY", "ewInternal"},
         "[Content Filter]\nCaseSensitive=yes\n", {"Sales[eio] Free+MONEY !Internal"}},
        {"disabled policy keeps name and flags only", {"shOff", "se=t", "pe=f", "whfree", "wdmoney", "ewx", "sfwords.txt"},
         "[Off]\nOutboundMailScan=no\n", {"Off[si]"}},
        {"synonyms off by default", {"shP", "whfree", "syfreebie"}, "", {"P[eio] free"}},
        {"=t anywhere else does not count", {"shP", "se=x=t", "pe=true"}, "", {"P[eio]"}},
        {"double tab repeats the previous entry", {"shP", "whfree", "wdmoney", "", "ewx", ""}, "", {"P[eio] free+money+money !x !x"}},
        {"a refused list takes no keywords", {"shP", "wh" + std::string(82, 'k'), "wdlost", "syalso", "whkept", "wdtoo"},
         "", {"P[eio] kept+too"}},
        {"tokens before a policy are ignored", {"whfree", "wdmoney", "shP", "whwin"}, "", {"P[eio] win"}},
        {"unknown and reserved tokens are ignored", {"shP", "snx", "zzfree", "SHQ", "s", "whwin"}, "", {"P[eio] win"}},
        {"newlines belong to tokens", {"shP", "whfree\n", "\nwdmoney"}, "", {"P[eio] free"}},
        {"two policies, directions from their sections", {"shIn", "whfree", "shOut", "whwin"},
         "[In]\nInboundMailScan=yes\nOutboundMailScan=no\n[Out]\nInboundMailScan=never\n", {"In[ei] free", "Out[eo] win"}},
        {"names and keywords are cut to 80, blanks trimmed",
         {"sh" + std::string(90, 'n'), "wh " + std::string(81, 'k') + " ", "wd  \r\n", "ew" + std::string(81, 'x')}, "",
         {std::string(80, 'n') + "[eio] " + std::string(80, 'k') + " !" + std::string(80, 'x')}},
    };
    for (const auto &c : cases) {
        EXPECT_EQ(Read(c.tokens, c.settings), 1) << c.name;
        EXPECT_EQ(DescribeSet(m_set.get()), c.expected) << c.name;
    }
}

TEST_F(PolicyFileTest, EmptyPolicyNameStopsTheReadKeepingEarlierPolicies)
{
    EXPECT_EQ(Read({"shFirst", "whfree", "sh", "shLater"}), -ENOMEM);
    EXPECT_EQ(DescribeSet(m_set.get()), (std::vector<std::string>{"First[eio] free"}));
}

TEST_F(PolicyFileTest, ImportFilesAddOneListPerLine)
{
    std::string longLine;
    for (int i = 0; i < 60; ++i)
        longLine += "word" + std::to_string(1000 + i) + ","; // 9 bytes each, 540 in all
    const struct {
        const char *name;
        std::string policy, lines, settings, expected;
    } cases[] = {
        {"empty pieces and lines", "P", ",A,,b,\r\n\n  \nc\n", "", "P[eio] a+b|c"},
        {"a refused first keyword drops its line", "P", std::string(90, 'k') + ",b\nc\n", "", "P[eio] c"},
        {"Anti-Spam leaves out excluded lines", "Anti-Spam", "spam,ham\nfoo\nspam,ham \t\n",
         "[Advanced Options]\nEx-AntiSpam=ex.txt\n", "Anti-Spam[eio] foo"},
        {"other policies keep them", "Other", "spam,ham\nfoo\n",
         "[Advanced Options]\nEx-AntiSpam=ex.txt\n", "Other[eio] spam+ham|foo"},
        {"Shift_JIS is converted to the host code", "P", "\x82\xa0\x82\xa2,abc\n", "", "P[eio] \xa4\xa2\xa4\xa4+abc"},
    };
    m_dir.write("ex.txt", "spam,ham\n\n");
    for (const auto &c : cases) {
        m_dir.write("words.txt", c.lines);
        EXPECT_EQ(Read({"sh" + c.policy, "sfwords.txt \r\n"}, c.settings), 1) << c.name;
        EXPECT_EQ(DescribeSet(m_set.get()), std::vector<std::string>{c.expected}) << c.name;
    }

    // A line longer than 511 bytes goes on in the same list, the word at byte 511 cut in two.
    m_dir.write("words.txt", longLine + "\nnext\n");
    ASSERT_EQ(Read({"shP", "sf" + m_dir.path("words.txt")}), 1);
    const std::string all = DescribeSet(m_set.get()).at(0);
    EXPECT_EQ(std::count(all.begin(), all.end(), '+'), 60);
    EXPECT_EQ(all.substr(all.find('|')), "|next");
}

TEST_F(PolicyFileTest, MissingImportFileOnlySkipsItsKeywords)
{
    BaseLogCapture log;
    EXPECT_EQ(Read({"shP", "whfree", "sfmissing.txt", "wdmoney", "sf/dev/zero"}), 1);
    EXPECT_EQ(DescribeSet(m_set.get()), (std::vector<std::string>{"P[eio] free+money"}));
    EXPECT_EQ(AddKeywordFromImportFile(m_set->m_pFirstPolicy, "missing.txt", 0, m_settings.c_str()), 0);
    std::vector<std::string> lines = log.lines();
    lines.resize(2);
    EXPECT_EQ(lines, (std::vector<std::string>{
                         "AddKeywordFromImportFile: Policy[P]: (missing.txt) -> (" +
                             m_dir.path("missing.txt") + ")",
                         "AddKeywordFromImportFile: Open ImportFile Error: No such file or directory"}));
}

} // namespace
