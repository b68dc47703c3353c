// What ZWEmailPluginProcess does with a mail blocked by a rule or matched by
// keyword policies: the result record, the copies, the event-log records, the
// temporary files left behind and who gets which warning.
#include "support/plugin_host_fixture.h"

namespace {

using PluginActionsTest = PluginTest;
using Strings = std::vector<std::string>;


// The only file below `dir` is `bytes`, directly in it, named "A...".
void ExpectOneCopy(const PluginInstallation &install, const std::string &dir,
                   const std::string &bytes)
{
    const Strings files = install.Files(dir);
    ASSERT_EQ(1u, files.size()) << dir;
    EXPECT_EQ(dir + "/A", files[0].substr(0, dir.size() + 2));
    EXPECT_EQ(std::string::npos, files[0].find('/', dir.size() + 1)) << files[0];
    EXPECT_EQ(bytes, ReadFile(install.Path(files[0])));
}

// Actions load by prefix but act by exact text (so "DELETE" quarantines). The
// copy kept is the rewritten mail; archiving keeps the "replaced" code; junk
// is never keyword-scanned; copy roots are relative or absolute.
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
        EXPECT_EQ(Strings{}, local.Files("kept mail/Confidential"));
        EXPECT_EQ(Strings{}, local.Files("tempdir"));
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
        const Strings copies = local.Files("Quarantine/Anti-Spam");
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

// A mail's text file is emptied and kept for the next mail: the text of a
// large mail, written out to it, is not scanned again with the next one, and
// no file stays once the plug-in stops.
TEST_F(PluginActionsTest, TextFilesAreKeptEmptyForTheNextMail)
{
    std::string large;
    while (large.size() < 300000)
        large += "Nothing to see in this line of a long letter.\r\n";
    Start();
    EXPECT_EQ(PluginVerdict(0, 2), Verdict(install.AddMail(PluginPlainMail({}, large + PluginSecretBody()))));
    EXPECT_EQ(PluginVerdict(0, 0), Verdict(install.AddMail(PluginPlainMail({}, large))));
    EXPECT_EQ(PluginVerdict(0, 0), Verdict(install.AddMail(PluginPlainMail({}, "hi"))));
    EXPECT_EQ(1u, install.Files("tempdir").size());
    EXPECT_EQ(Strings{}, install.LeftInTempdir());
    EXPECT_EQ(0, plugin().cleanup());
    EXPECT_EQ(Strings{}, install.Files("tempdir"));
}

// Admin lists skip empty items; the switches hold "yes" in that case; the
// directions are "inbound", "outbound" or "both" (IOMail: of the removal).
TEST_F(PluginActionsTest, WarningsGoWhereTheSettingsSay)
{
    const std::string secret = PluginPlainMail({}, PluginSecretBody());
    const std::string junk = PluginPlainMail(PluginJunkHeaders(), "hi");
    const std::string exe = PluginMultipartMail(
        {}, "installer", {{"setup.exe", "application/octet-stream", PluginBinaryBytes(900, 5)}}).text;
    const Strings sender = {"alice@partner.example"}, recipients = {"bob@corp.example", "carol@corp.example"},
                admin = {"postmaster@corp.example"};
    const Strings policy = {"Subject: Mail blocked (Confidential)\r\n",
                          "Source mailbox: alice@partner.example\r\n",
                          "Destination mailbox(es): bob@corp.example,carol@corp.example\r\n",
                          "Policy: Confidential\r\n", "Action: Quarantine\r\n"};
    const Strings spam = {"Subject: Mail blocked (Free offers)\r\n", "Policy: Free offers\r\n",
                        "Rule: SUBJ=IS\"*free offer*\"\r\n", "Action: Delete\r\n"};
    const Strings removal = {"Policy: Attachment Removal\r\n", "Attachment file name: setup.exe\r\n",
                           "Action: Attachment Removal (Replaced with text)\r\n"};
    const auto removing = [](const char *sender, const char *recipient, const char *admin,
                             const char *io = "both", const char *remove = "yes") {
        return std::vector<std::pair<std::string, std::string>>{
            {"WarnSender", *sender ? "yes" : "no"}, {"IOSender", sender},
            {"WarnRecipient", *recipient ? "yes" : "no"}, {"IORecipient", recipient},
            {"WarnAdmin", "yes"}, {"IOAdmin", admin}, {"Admin", "postmaster@corp.example"},
            {"IOMail", io}, {"RemoveAttachment", remove}};
    };
    struct Row {
        const char *section;
        std::vector<std::pair<std::string, std::string>> keys;
        std::string message;
        bool outbound;
        std::vector<Strings> mails; // the recipients of each queued mail, in order
        Strings pieces, texts = {}; // texts: of each mail
    } rows[] = {
        {"Confidential",
         {{"WarningSender", "yes"}, {"MessageSender", "To the sender."},
          {"WarningRecipient", "yes"}, {"MessageRecipient", "To the recipients."},
          {"WarningUser", "yes"}, {"User", "security@corp.example,audit@corp.example"},
          {"MessageUser", "To the users."}},
         secret, false, {sender, recipients, {"security@corp.example", "audit@corp.example"}}, policy,
         {"To the sender.", "To the recipients.", "To the users."}},
        {"Anti-Spam",
         {{"WarningAdmin", "yes"}, {"Admin", ",alice@corp.example,,bob@corp.example,"},
          {"MessageAdmin", "Junk was deleted."}},
         junk, false, {{"alice@corp.example", "bob@corp.example"}}, spam, {"Junk was deleted."}},
        {"Anti-Spam", {{"WarningAdmin", "yes"}, {"Admin", ""}}, junk, false, {}, {}},
        {"Anti-Spam", {{"WarningAdmin", "no"}, {"Admin", "alice@corp.example"}}, junk, false, {}, {}},
        {"Anti-Spam", {{"WarningAdmin", "YES"}, {"Admin", "alice@corp.example"}}, junk, false, {}, {}},
        {"Specialized Filtering", removing("both", "both", "both"), exe, false,
         {sender, recipients, admin}, removal},
        {"Specialized Filtering", removing("inbound", "outbound", "both"), exe, false,
         {sender, admin}, removal},
        {"Specialized Filtering", removing("inbound", "outbound", "outbound"), exe, true,
         {recipients, admin}, removal},
        {"Specialized Filtering", removing("", "", "inbound"), exe, true, {}, {}},
        {"Specialized Filtering", removing("both", "", "both", "inbound"), exe, true, {}, {}},
        {"Specialized Filtering", removing("both", "", "both", "outbound"), exe, false, {}, {}},
        {"Specialized Filtering", removing("both", "", "both", "both", "Yes"), exe, false, {}, {}},
        {"Specialized Filtering", removing("both", "", "both", "Both", "yes please"), exe, true,
         {sender, admin}, removal},
    };
    PluginEnvelope envelope;
    envelope.recipients = recipients;
    for (const Row &row : rows) {
        SCOPED_TRACE(std::string(row.section) + " " + ::testing::PrintToString(row.keys));
        PluginInstallation local;
        local.Set(row.section, row.keys);
        RunOnce(local, local.AddMail(row.message, envelope, row.outbound));
        const std::vector<PluginQueuedMail> queued = PluginQueue::Take();
        ASSERT_EQ(row.mails.size(), queued.size());
        for (size_t i = 0; i < queued.size(); ++i) {
            EXPECT_EQ("postmaster@corp.example", queued[i].from);
            EXPECT_EQ(row.mails[i], queued[i].recipients);
            Strings pieces = row.pieces;
            if (i < row.texts.size())
                pieces.push_back(row.texts[i]);
            for (const std::string &piece : pieces)
                EXPECT_NE(std::string::npos, queued[i].text.find(piece)) << piece << "\n" << queued[i].text;
            EXPECT_EQ(row.message == junk, queued[i].text.find("Rule: ") != std::string::npos);
        }
        EXPECT_EQ(Strings{}, local.Files("tempdir")); // the host removed the queued files
    }
}

} // namespace
