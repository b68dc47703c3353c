// CRuleScan::Scan over files its caller holds open (as the plug-in's pipeline
// does) gives the same text, text file, attachments and hosts as the MIME
// walk and relay-host read over the paths.
#include <sys/stat.h>
#include <unistd.h>

#include <gtest/gtest.h>

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
#include "rules/rule_scan.h"
#include "support/plugin_mail_corpus.h"
#include "support/rules_fixtures.h"

namespace {

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
    WriteFile(dir.path("spamrule.txt"), "");
    CRuleScan scan;
    ASSERT_TRUE(scan.Initialize(dir.path("spamrule.txt").c_str()));
    const std::string af = dir.path("AFI7");
    WriteFile(af, "Fa@partner.example\nTb@corp.example\n");

    std::vector<std::string> mails = {"Subject: no MIME, no end of line"};
    for (const PluginCorpusMail &mail : PluginCorpus(27, 11))
        mails.push_back(mail.text);
    std::mt19937 random(3);
    const std::string big = PluginProse(random, 1700);   // past the 99999 bytes held in memory
    mails.push_back(PluginPlainMail({}, big));
    mails.push_back(PluginMultipartMail({}, big, {{"a.exe", "application/x", PluginBinaryBytes(5000, 1)}}).text);
    for (size_t m = 0; m < mails.size(); ++m) {
        SCOPED_TRACE("mail " + std::to_string(m));
        const std::string df = dir.path("DFI7");
        WriteFile(df, mails[m]);

        std::unique_ptr<MEMBUF> pathText(new MEMBUF{});
        CMailInfo byPath;
        {
            RuleFilePtr message = OpenRuleFile(df.c_str(), "rb");
            CollectReceivedHosts(message.get(), byPath);
        }
        ASSERT_TRUE(GetAttachmentInfo(df.c_str(), pathText.get(), dir.path("path.txt").c_str(),
                                      &byPath));
        const std::string expected =
            Picture(*pathText, ReadFile(dir.path("path.txt")), byPath);

        char textPath[OV_MAX_PATH];
        const int fd = CreateTempFile(dir.path("").c_str(), "DFI", ".tmp", textPath);
        ASSERT_GE(fd, 0);
        ASSERT_EQ(1, pwrite(fd, "\n", 1, 0));   // as the pipeline's probe may leave it
        ASSERT_EQ(0, ftruncate(fd, 0));
        RuleFilePtr text(fdopen(fd, "w+b"));
        RuleFilePtr message = OpenRuleFile(df.c_str(), "rb");
        ScanFiles files;
        files.af = af.c_str(), files.df = df.c_str(), files.message = message.get();
        files.messageSize = static_cast<long>(mails[m].size());
        files.text = text.get(), files.textPath = textPath;
        std::unique_ptr<MEMBUF> openText(new MEMBUF{});
        CMailInfo byFiles;
        std::string name, rule;
        ACT_TYPE action = ACT_QUAR;
        TriggerType trigger = TRIGGER_ADMIN;
        EXPECT_FALSE(scan.Scan(files, name, rule, action, trigger, byFiles, openText.get(),
                               nullptr));
        EXPECT_EQ(expected, Picture(*openText, ReadFile(textPath), byFiles));
        std::remove(textPath);
    }
}

} // namespace
