// What ZWEmailPluginProcess does with a mail blocked by a rule or matched by
// keyword policies: the result record, the copies, the event-log records and
// the temporary files left behind.
#include "support/plugin_host_fixture.h"

namespace {

using PluginActionsTest = PluginTest;
using Files = std::vector<std::string>;

// The only file below `dir` is `bytes`, directly in it, named "A...".
void ExpectOneCopy(const PluginInstallation &install, const std::string &dir,
                   const std::string &bytes)
{
    const Files files = install.Files(dir);
    ASSERT_EQ(1u, files.size()) << dir;
    EXPECT_EQ(dir + "/A", files[0].substr(0, dir.size() + 2));
    EXPECT_EQ(std::string::npos, files[0].find('/', dir.size() + 1)) << files[0];
    EXPECT_EQ(bytes, ReadFile(install.Path(files[0])));
}

// The loader takes an action by its prefix, the scan only by its exact text:
// what only the loader knows starts from quarantine. The attachment is
// removed first and the copy kept is the rewritten mail; archiving keeps the
// "replaced" action code. A junk mail is never keyword-scanned, though its
// body matches a policy. Copy roots are relative or absolute.
TEST_F(PluginActionsTest, RuleActionsDeleteQuarantineOrArchive)
{
    struct Row {
        const char *action;
        int code;
        const char *word, *tree; // tree: where the copy goes, "" for none
    } rows[] = {{"DEL", 1, "Delete", ""},
                {"QUAR", 2, "Quarantine", "kept mail/Anti-Spam/Offers"},
                {"ARCH", 4, "Archive", "held/Anti-Spam/Offers"},
                {"DELETE", 2, "Quarantine", "kept mail/Anti-Spam/Offers"},
                {"ARCHIVE", 2, "Quarantine", "kept mail/Anti-Spam/Offers"}};
    const PluginMessage message = PluginMultipartMail(
        PluginJunkHeaders(), PluginSecretBody(), {{"a.exe", "application/octet-stream", "MZ"}});
    const std::string rewritten =
        message.text.substr(0, message.attachmentRanges[0].first) +
        "Content-Type: text/plain\r\nContent-Transfer-Encoding: 7bit\r\n\r\n[Filename: a.exe, "
        "Content-Type: application/octet-stream]\r\nThe attachment was removed.\r\n\r\n" +
        message.text.substr(message.attachmentRanges[0].second);
    for (const Row &row : rows) {
        SCOPED_TRACE(row.action);
        PluginInstallation local;
        local.Set("Advanced Options", {{"QuarantineDirectory", "kept mail"},
                                       {"ArchiveDirectory", local.ProgramDir() + "held"}})
            .Set("Content Filter", "DeleteTempFile", "No"); // only "no" keeps them
        local.WriteRules({std::string("Offers\\C\\SUBJ=IS\"*free offer*\"\\") + row.action});
        PluginSpoolMail mail = local.AddMail(message.text);
        ZWMailResult result;
        std::memset(&result, 0x55, sizeof result);
        EXPECT_EQ(2, RunOnce(local, mail, &result));
        EXPECT_EQ(std::vector<int>({1, 0, 1, 0, row.code}),
                  std::vector<int>({result.blocked, result.reserved, result.blocked_flags[0],
                                    result.blocked_flags[1], result.action}));
        EXPECT_EQ(rewritten, ReadFile(mail.df));
        if (*row.tree)
            ExpectOneCopy(local, row.tree, rewritten);
        EXPECT_EQ(Files{}, local.Files("kept mail/Confidential"));
        EXPECT_EQ(Files{}, local.Files("tempdir"));
        const std::vector<PluginEvent> events = PluginEvents(local.EventLog());
        ASSERT_EQ(4u, events.size()) << local.EventLog();
        EXPECT_EQ("CONTENT MANAGEMENT: Anti-Spam filter has blocked a junk mail.", events[2].text);
        EXPECT_EQ(std::string("Inbound\\") + row.word + "\\Offers\\alice@partner.example\\" +
                      mail.df,
                  events[2].record);
    }
}

TEST_F(PluginActionsTest, RulesFollowTheMailDirection)
{
    install.Set("Content Filter", "DeleteTempFile", "no"); // keeps the text of each mail
    install.WriteRules({"In only\\A\\SUBJ=IS\"*free offer*\"\\ARCH",
                        "Out only\\B\\SUBJ=IS\"*free offer*\"\\QUAR"});
    PluginSpoolMail in = install.AddMail(PluginPlainMail(PluginJunkHeaders(), "hi"), {}, false);
    PluginEnvelope bounce; // an empty sender "<>" is recorded as nothing
    bounce.sender = "";
    PluginSpoolMail out = install.AddMail(PluginPlainMail(PluginJunkHeaders(), "hi"), bounce, true);
    Start();
    EXPECT_EQ(PluginVerdict(2, 3), Verdict(in));
    EXPECT_EQ(PluginVerdict(2, 2), Verdict(out));
    EXPECT_EQ(1u, install.Files("Archive/Anti-Spam/In only").size());
    EXPECT_EQ(1u, install.Files("Quarantine/Anti-Spam/Out only").size());
    EXPECT_EQ(2u, install.Files("tempdir").size());
    const std::vector<PluginEvent> events = PluginEvents(install.EventLog());
    ASSERT_EQ(3u, events.size());
    EXPECT_EQ("Inbound\\Archive\\In only\\alice@partner.example\\" + in.df, events[1].record);
    EXPECT_EQ("Outbound\\Quarantine\\Out only\\\\" + out.df, events[2].record);
}

// A rule name becomes a directory: it must not lead out of the quarantine.
TEST_F(PluginActionsTest, RuleNamesStayInsideTheQuarantine)
{
    for (const char *name : {"../../escaped", "a/b/c", "..", "/etc"}) {
        SCOPED_TRACE(name);
        PluginInstallation local;
        local.WriteRules({std::string(name) + "\\C\\SUBJ=IS\"*free offer*\"\\QUAR"});
        EXPECT_EQ(2, RunOnce(local, local.AddMail(PluginPlainMail(PluginJunkHeaders(), "hi"))));
        const Files copies = local.Files("Quarantine/Anti-Spam");
        ASSERT_EQ(1u, copies.size());
        EXPECT_EQ(std::string::npos, copies[0].find("/../")) << copies[0];
        EXPECT_EQ(3, PluginCount(copies[0], "/")) << copies[0];
        EXPECT_FALSE(FileExists(local.root() + "/escaped"));
        EXPECT_FALSE(FileExists(local.Path("Quarantine/escaped")));
        EXPECT_FALSE(FileExists(local.ProgramDir() + "escaped"));
    }
}

TEST_F(PluginActionsTest, PolicyActionsFollowTheMostSevereSection)
{
    struct Row {
        const char *label;
        const char *first;  // Action of policy "Confidential" (null: no key)
        const char *second; // Action of policy "Orion" (null: policy absent)
        int code;
        const char *tree, *record;
    } rows[] = {
        {"quarantine", "Quarantine", nullptr, 2, "Quarantine/Confidential",
         "Inbound\\Quarantine\\Confidential\\"},
        {"delete", "Delete", nullptr, 1, "", "Inbound\\Delete\\Confidential\\"},
        {"archive", "Archive", nullptr, 3, "Archive/Confidential",
         "Inbound\\Archive\\Confidential\\"},
        {"no Action key archives", nullptr, nullptr, 3, "Archive/Confidential",
         "Inbound\\Archive\\Confidential\\"},
        {"unknown word archives", "Bounce", nullptr, 3, "Archive/Confidential",
         "Inbound\\Archive\\Confidential\\"},
        {"substring Delete", "Quarantine, then Delete", nullptr, 1, "",
         "Inbound\\Delete\\Confidential\\"},
        {"quarantine beats archive, first name's directory", "Archive", "Quarantine", 2,
         "Quarantine/Confidential", "Inbound\\Quarantine\\Confidential,Orion\\"},
        {"delete beats quarantine", "Delete", "Quarantine", 1, "",
         "Inbound\\Delete\\Confidential,Orion\\"},
        {"archive does not lower quarantine", "Quarantine", "Archive", 2, "Quarantine/Confidential",
         "Inbound\\Quarantine\\Confidential,Orion\\"},
    };
    for (const Row &row : rows) {
        SCOPED_TRACE(row.label);
        PluginInstallation local;
        std::vector<std::string> tokens = {"shConfidential", "pe=t",
                                           "wh" + std::string(PluginConfidentialWord())};
        if (row.second)
            tokens.insert(tokens.end(), {"shOrion", "pe=t", "whorion"});
        local.WritePolicies(tokens);
        local.ini.sections["Confidential"].erase("Action");
        if (row.first)
            local.ini.Set("Confidential", "Action", row.first);
        if (row.second)
            local.ini.Set("Orion", "Action", row.second);
        local.WriteIni();
        const std::string message = PluginPlainMail({}, PluginSecretBody());
        PluginSpoolMail mail = local.AddMail(message);
        ZWMailResult result;
        std::memset(&result, 0x55, sizeof result);
        EXPECT_EQ(0, RunOnce(local, mail, &result));
        EXPECT_EQ(0, result.blocked);
        EXPECT_EQ(0, result.blocked_flags[0]);
        EXPECT_EQ(row.code, result.action);
        EXPECT_EQ(message, ReadFile(mail.df));
        if (*row.tree)
            ExpectOneCopy(local, row.tree, message);
        EXPECT_EQ(*row.tree ? 1u : 0u,
                  local.Files("Quarantine").size() + local.Files("Archive").size());
        const std::vector<PluginEvent> events = PluginEvents(local.EventLog());
        ASSERT_EQ(3u, events.size()) << local.EventLog();
        EXPECT_EQ("CONTENT MANAGEMENT: Content filter has blocked a sensitive mail.",
                  events[1].text);
        EXPECT_EQ(std::string(row.record) + "alice@partner.example\\" + mail.df, events[1].record);
    }
}

} // namespace
