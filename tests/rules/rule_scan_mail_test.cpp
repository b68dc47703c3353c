// CRuleScan::Scan on whole mails: direction, relay hosts, the specialized
// filter's picks, first match in file order and the vendor trigger; and over
// files its caller holds open (as the plug-in's pipeline does), the same
// text, text file, attachments and hosts as the walk over the paths.
#include "rules/rule_scan.h"

#include <unistd.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "base/file_util.h"
#include "mail/mail_info.h"
#include "mail/mime_walk.h"
#include "rules/file_handle.h"
#include "rules/received_hosts.h"
#include "sfilter/sfrule_file.h"
#include "support/plugin_mail_corpus.h"
#include "support/rules_fixtures.h"

namespace {

// A mail with a text part and two base64 attachments.
const char kMessage[] =
    "Received: from relay.example.org (relay [192.0.2.7])\r\n\tby mx.example.net with ESMTP id 42\r\n"
    "From: alice@example.org\r\nTo: bob@example.net\r\nSubject: quarterly figures\r\n"
    "MIME-Version: 1.0\r\nContent-Type: multipart/mixed; boundary=\"XYZ\"\r\n\r\n"
    "--XYZ\r\nContent-Type: text/plain\r\n\r\nsee attached\r\n"
    "--XYZ\r\nContent-Type: application/octet-stream; name=\"setup.exe\"\r\n"
    "Content-Transfer-Encoding: base64\r\n\r\nTVqQAAMAAAAEAAAA\r\n"
    "--XYZ\r\nContent-Type: application/pdf; name=\"figures.pdf\"\r\n"
    "Content-Transfer-Encoding: base64\r\n\r\nJVBERi0xLjQK\r\n--XYZ--\r\n";

class ScanFixture : public ::testing::Test {
protected:
    void SetUp() override
    {
        af = dir.write("AFI0001", "Falice@example.org\nTbob@example.net\nSquarterly figures\n"
                                  "Oalice@example.org\nDbob@example.net\n");
        df = dir.write("DFI0001", kMessage);
        text.reset(new MEMBUF());
    }

    bool Load(const std::string &rules)
    {
        return scan.Initialize(dir.write("spamrule.txt", rules).c_str());
    }

    bool Run(const std::string &afPath, Replace_Stru *replace = nullptr)
    {
        info.reset(new CMailInfo);
        info->ParseAFInfo(afPath.c_str(), true);
        return scan.Scan(afPath.c_str(), df.c_str(), name, sentence, action, trigger, *info,
                         text.get(), dir.path("text.txt").c_str(), replace);
    }

    BaseTempDir dir;
    std::string af, df;
    CRuleScan scan;
    std::unique_ptr<MEMBUF> text;
    std::unique_ptr<CMailInfo> info;
    std::string name = "untouched", sentence = "untouched", action = "untouched";
    TriggerType trigger = TRIGGER_VENDOR;
};

TEST_F(ScanFixture, AMissingMessageTouchesNothing)
{
    ASSERT_TRUE(Load("all\\C\\SIZE>-1\\DEL\n"));
    df = dir.path("missing");
    EXPECT_FALSE(Run(af));
    EXPECT_EQ(name + (trigger == TRIGGER_VENDOR ? " vendor" : ""), "untouched vendor");
}

TEST_F(ScanFixture, FirstMatchInFileOrderWithDirectionAndTrigger)
{
    struct Row {
        const char *what;
        std::string rules, vendor;
        bool outbound, matched;
        const char *name, *action;
        TriggerType trigger;
    } rows[] = {
        {"no rules", "", "", false, false, "untouched", "untouched", TRIGGER_ADMIN},
        {"first of two", "a\\C\\SUBJ=\"quarterly figures\"\\QUAR\nb\\C\\SIZE>0\\DEL\n", "", false, true, "a", "QUAR", TRIGGER_ADMIN},
        {"relay host", "a\\C\\DOM=\"nowhere\"\\QUAR\nb\\C\\DOM=\"mx.example.net\"\\ARCH\n", "", false, true, "b", "ARCH", TRIGGER_ADMIN},
        {"attachment", "a\\C\\ATTACH=\".exe\"\\DEL\n", "", false, true, "a", "DEL", TRIGGER_ADMIN},
        {"inbound rule, outbound mail", "a\\A\\SIZE>0\\DEL\nb\\B\\SIZE>0\\QUAR\n", "", true, true, "b", "QUAR", TRIGGER_ADMIN},
        {"outbound rule, inbound mail", "b\\B\\SIZE>0\\QUAR\n", "", false, false, "untouched", "untouched", TRIGGER_ADMIN},
        {"vendor after admin", "a\\C\\SUBJ=\"other\"\\DEL\n", "v\\C\\FROM=\"alice@example.org\"\\DEL\n", false, true, "v", "QUAR", TRIGGER_VENDOR},
        {"admin before vendor", "a\\C\\SIZE>0\\ARCH\n", "v\\C\\SIZE>0\\DEL\n", false, true, "a", "ARCH", TRIGGER_ADMIN},
    };
    for (const Row &row : rows) {
        SCOPED_TRACE(row.what);
        CRuleScan fresh;
        ASSERT_TRUE(fresh.Initialize(dir.write("spamrule.txt", row.rules).c_str()));
        ASSERT_TRUE(row.vendor.empty() || fresh.LoadImportRuleFile(dir.write("vendor.txt", row.vendor).c_str()));
        const std::string afPath = row.outbound ? dir.write("AFO0001", ReadFile(af)) : af;
        CMailInfo mail;
        mail.ParseAFInfo(afPath.c_str(), true);
        mail.m_nMailSize = 100;
        std::string n = "untouched", s = "untouched", a = "untouched";
        TriggerType t = TRIGGER_VENDOR;
        EXPECT_EQ(fresh.Scan(afPath.c_str(), df.c_str(), n, s, a, t, mail, text.get(), nullptr, nullptr), row.matched);
        EXPECT_EQ(mail.m_nDirection, row.outbound ? 1 : 0);
        EXPECT_EQ(n + "|" + a, std::string(row.name) + "|" + row.action);
        EXPECT_EQ(t, row.trigger);
    }
}

TEST_F(ScanFixture, SpecializedFilterTakesAttachmentsAwayFromRules)
{
    tagSFRuleContent content;
    content.name = "no programs", content.attach = "*.exe", content.includeText = "INCLUDE";
    ASSERT_TRUE(c_special_filter_savor().SaveRuleFile({content}, dir.path("SFRule.txt").c_str()));
    scan.LoadSFilterSetting(dir.path("SFRule.txt").c_str(), nullptr);
    ASSERT_TRUE(Load("exe\\C\\ATTACH=\".exe\"\\DEL\npdf\\C\\ATTACH=\".pdf\"\\QUAR\n"));

    Replace_Stru replace;
    EXPECT_TRUE(Run(af, &replace));
    EXPECT_EQ(name, "pdf");   // the exe part is taken, so its rule no longer sees it
    ASSERT_EQ(replace.count, 1);
    EXPECT_STREQ(replace.entries[0]->m_szName, "setup.exe");
    EXPECT_EQ(info->m_bChecked[0] * 10 + info->m_bChecked[1], 10);
    const Attach_Stru &taken = *replace.entries[0];
    EXPECT_EQ(taken.m_nStart, info->m_pAttach[0]->m_nStart);
    EXPECT_NE(std::string(kMessage + taken.m_nStart, kMessage + std::max(taken.m_nStart, taken.m_nEnd)).find("TVqQAAMAAAAEAAAA"),
              std::string::npos);

    EXPECT_TRUE(Run(af, nullptr));   // without removal the filter is not asked
    EXPECT_EQ(name, "exe");
}

TEST_F(ScanFixture, SuspendedRulesAndActionCodes)
{
    ASSERT_TRUE(Load("a\\C\\SIZE>-1\\DELETE\nb\\C\\SIZE>-1\\ARCH\n"));
    for (int suspended : {1, 0}) {
        scan.GetExpression(0)->SetSuspended(suspended);
        ACT_TYPE code = ACT_QUAR;
        CMailInfo mail;
        EXPECT_TRUE(scan.Scan(af.c_str(), df.c_str(), name, sentence, code, trigger, mail, text.get(), nullptr, nullptr));
        EXPECT_EQ(name + sentence, suspended ? "bSIZE>-1" : "aSIZE>-1");
        EXPECT_EQ(code, suspended ? ACT_ARCH : ACT_QUAR);   // "DELETE" is no exact action text
    }
}

// What a walk leaves behind, in a form that compares.
std::string Picture(const MEMBUF &text, const std::string &textFile, const CMailInfo &info)
{
    std::string out = "memory=" + std::to_string(text.m_bInMemory) + "\n";
    if (text.m_bInMemory)
        out += "text=" + std::string(text.m_szData, static_cast<size_t>(text.m_nLength)) + "\n";
    out += "file=" + textFile + "\n";
    for (int i = 0; i < info.m_nDomainCount; ++i)
        out += "host=" + std::string(info.m_pDomain[i]) + "\n";
    for (int i = 0; i < info.m_nAttachCount; ++i) {
        const Attach_Stru &a = *info.m_pAttach[i];
        out += "attach=" + std::string(a.m_szName) + "|" + a.m_szContentType + "|" +
               std::to_string(a.m_nStart) + "-" + std::to_string(a.m_nEnd) + "|" +
               std::to_string(a.m_nEncoding) + "\n";
    }
    return out;
}

TEST(RuleScanOpenFiles, GivesWhatTheWalkOverThePathsGives)
{
    BaseTempDir dir;
    CRuleScan scan;
    ASSERT_TRUE(scan.Initialize(dir.write("spamrule.txt", "").c_str()));
    const std::string af = dir.write("AFI7", "Fa@partner.example\nTb@corp.example\n");

    std::vector<std::string> mails = {"Subject: no MIME, no end of line"};
    for (const PluginCorpusMail &mail : PluginCorpus(27, 11))
        mails.push_back(mail.text);
    std::mt19937 random(3);
    const std::string big = PluginProse(random, 1700);   // past the 99999 bytes held in memory
    mails.push_back(PluginPlainMail({}, big));
    mails.push_back(
        PluginMultipartMail({}, big, {{"a.exe", "application/x", PluginBinaryBytes(5000, 1)}}).text);
    for (size_t m = 0; m < mails.size(); ++m) {
        SCOPED_TRACE("mail " + std::to_string(m));
        const std::string df = dir.write("DFI7", mails[m]);
        std::unique_ptr<MEMBUF> pathText(new MEMBUF{}), openText(new MEMBUF{});
        CMailInfo byPath, byFiles;
        CollectReceivedHosts(OpenRuleFile(df.c_str(), "rb").get(), byPath);
        ASSERT_TRUE(GetAttachmentInfo(df.c_str(), pathText.get(), dir.path("path.txt").c_str(), &byPath));

        char textPath[OV_MAX_PATH];
        const int fd = CreateTempFile(dir.dir().c_str(), "DFI", ".tmp", textPath);
        ASSERT_EQ(1, pwrite(fd, "\n", 1, 0));   // as the pipeline's probe may leave it
        ASSERT_EQ(0, ftruncate(fd, 0));
        RuleFilePtr text(fdopen(fd, "w+b")), message = OpenRuleFile(df.c_str(), "rb");
        ScanFiles files;
        files.af = af.c_str(), files.df = df.c_str(), files.message = message.get();
        files.messageSize = static_cast<long>(mails[m].size());
        files.text = text.get(), files.textPath = textPath;
        std::string name, rule;
        ACT_TYPE action = ACT_QUAR;
        TriggerType trigger = TRIGGER_ADMIN;
        EXPECT_FALSE(scan.Scan(files, name, rule, action, trigger, byFiles, openText.get(), nullptr));
        EXPECT_EQ(Picture(*pathText, ReadFile(dir.path("path.txt")), byPath),
                  Picture(*openText, ReadFile(textPath), byFiles));
        std::remove(textPath);
    }
}

} // namespace

