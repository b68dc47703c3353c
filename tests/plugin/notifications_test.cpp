// Notification mails handed to the host's queue function: who gets which
// warning for a policy match, a junk mail and a removed attachment.

#include "support/plugin_host_fixture.h"

namespace {

using PluginNotifyTest = PluginTest;
using Texts = std::vector<std::string>;

void ExpectContains(const std::string &text, const Texts &pieces)
{
    for (const std::string &piece : pieces)
        EXPECT_NE(std::string::npos, text.find(piece)) << piece << "\nin:\n" << text;
}

// Admin lists skip empty items; the switches hold "yes" in that case; the
// directions are "inbound", "outbound" or "both" (IOMail: of the removal).
TEST_F(PluginNotifyTest, WarningsGoWhereTheSettingsSay)
{
    const std::string secret = PluginPlainMail({}, PluginSecretBody());
    const std::string junk = PluginPlainMail(PluginJunkHeaders(), "hi");
    const std::string exe = PluginMultipartMail(
        {}, "installer", {{"setup.exe", "application/octet-stream", PluginBinaryBytes(900, 5)}}).text;
    const Texts sender = {"alice@partner.example"}, recipients = {"bob@corp.example", "carol@corp.example"},
                admin = {"postmaster@corp.example"};
    const Texts policy = {"Subject: Mail blocked (Confidential)\r\n",
                          "Source mailbox: alice@partner.example\r\n",
                          "Destination mailbox(es): bob@corp.example,carol@corp.example\r\n",
                          "Policy: Confidential\r\n", "Action: Quarantine\r\n"};
    const Texts spam = {"Subject: Mail blocked (Free offers)\r\n", "Policy: Free offers\r\n",
                        "Rule: SUBJ=IS\"*free offer*\"\r\n", "Action: Delete\r\n"};
    const Texts removal = {"Policy: Attachment Removal\r\n", "Attachment file name: setup.exe\r\n",
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
        std::vector<Texts> mails; // the recipients of each queued mail, in order
        Texts pieces, texts = {}; // texts: of each mail
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
            ExpectContains(queued[i].text, row.pieces);
            if (i < row.texts.size())
                ExpectContains(queued[i].text, {row.texts[i]});
            EXPECT_EQ(row.message == junk, queued[i].text.find("Rule: ") != std::string::npos);
        }
        // The queued files belonged to the host, which removed them.
        EXPECT_EQ(Texts{}, local.Files("tempdir"));
    }
}

} // namespace
