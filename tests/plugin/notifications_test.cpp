// Notification mails handed to the host's queue function: who gets which
// warning for a policy match, a junk mail and a removed attachment, what the
// queued mail says and carries, and that the host owns the queued file.
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "support/plugin_host_fixture.h"
#include "support/plugin_mail_corpus.h"

namespace {

using PluginNotifyTest = PluginTest;
using Texts = std::vector<std::string>;

void ExpectContains(const std::string &text, const Texts &pieces, bool present = true)
{
    for (const std::string &piece : pieces)
        EXPECT_EQ(present, text.find(piece) != std::string::npos) << piece << "\nin:\n" << text;
}

TEST_F(PluginNotifyTest, PolicyWarnsSenderRecipientsAndUsers)
{
    install.Set("Confidential", {{"WarningSender", "yes"},
                                 {"MessageSender", "Your mail was held."},
                                 {"WarningRecipient", "yes"},
                                 {"MessageRecipient", "A mail to you was held."},
                                 {"WarningUser", "yes"},
                                 {"User", "security@corp.example,audit@corp.example"},
                                 {"MessageUser", "Please review."}});
    PluginEnvelope envelope;
    envelope.recipients = {"bob@corp.example", "carol@corp.example"};
    Start();
    EXPECT_EQ(PluginVerdict(0, 2),
              Verdict(install.AddMail(PluginPlainMail({}, PluginSecretBody()), envelope)));
    const std::vector<PluginQueuedMail> queued = PluginQueue::Take();
    ASSERT_EQ(3u, queued.size());
    const std::pair<Texts, const char *> expected[] = {
        {{"alice@partner.example"}, "Your mail was held."},
        {{"bob@corp.example", "carol@corp.example"}, "A mail to you was held."},
        {{"security@corp.example", "audit@corp.example"}, "Please review."}};
    for (size_t i = 0; i < queued.size(); ++i) {
        SCOPED_TRACE(i);
        EXPECT_EQ("postmaster@corp.example", queued[i].from);
        EXPECT_EQ(expected[i].first, queued[i].recipients);
        ExpectContains(queued[i].text,
                       {"From: postmaster@corp.example\r\n",
                        "Subject: Mail blocked (Confidential)\r\n",
                        "Source mailbox: alice@partner.example\r\n",
                        "Destination mailbox(es): bob@corp.example,carol@corp.example\r\n",
                        "Policy: Confidential\r\n", "Action: Quarantine\r\n", expected[i].second});
        ExpectContains(queued[i].text, {"Rule: "}, false);
    }
    // The queued files belonged to the host, which removed them; nothing else is left.
    EXPECT_EQ(Texts{}, install.Files("tempdir"));
}

TEST_F(PluginNotifyTest, MatchedPoliciesShareOneWarningPerKind)
{
    install.WritePolicies(
        {"shConfidential", "pe=t", "whproject orion", "shOrion", "pe=t", "whorion"});
    install
        .Set("Confidential", {{"WarningUser", "yes"},
                              {"User", "security@corp.example,audit@corp.example"},
                              {"MessageUser", "From Confidential."}})
        .Set("Orion", {{"Action", "Delete"},
                       {"WarningUser", "yes"},
                       {"User", "audit@corp.example,,orion-team@corp.example"},
                       {"MessageUser", "From Orion."},
                       {"WarningSender", "yes"},
                       {"MessageSender", "Sender text of Orion."}});
    Start();
    EXPECT_EQ(PluginVerdict(0, 1), Verdict(install.AddMail(PluginPlainMail({}, PluginSecretBody()))));
    const std::vector<PluginQueuedMail> queued = PluginQueue::Take();
    ASSERT_EQ(2u, queued.size());
    EXPECT_EQ(Texts{"alice@partner.example"}, queued[0].recipients);
    ExpectContains(queued[0].text, {"Sender text of Orion.", "Policy: Confidential,Orion\r\n",
                                    "Action: Delete\r\n"});
    EXPECT_EQ(Texts({"security@corp.example", "audit@corp.example", "orion-team@corp.example"}),
              queued[1].recipients);
    ExpectContains(queued[1].text, {"From Confidential."});
}

TEST_F(PluginNotifyTest, JunkMailWarnsTheAntiSpamAdministrators)
{
    struct Row {
        const char *warning, *admins;
        Texts expected;
    } rows[] = {
        {"yes", ",alice@corp.example,,bob@corp.example,", {"alice@corp.example", "bob@corp.example"}},
        {"yes", "", {}},
        {"no", "alice@corp.example", {}},
        {"YES", "alice@corp.example", {}},
    };
    for (const Row &row : rows) {
        SCOPED_TRACE(std::string(row.warning) + " " + row.admins);
        PluginInstallation local;
        local.Set("Anti-Spam", {{"WarningAdmin", row.warning},
                                {"Admin", row.admins},
                                {"MessageAdmin", "Junk was deleted."}});
        EXPECT_EQ(2, RunOnce(local, local.AddMail(PluginPlainMail(PluginJunkHeaders(), "hi"))));
        const std::vector<PluginQueuedMail> queued = PluginQueue::Take();
        ASSERT_EQ(row.expected.empty() ? 0u : 1u, queued.size());
        if (queued.empty())
            continue;
        EXPECT_EQ(row.expected, queued[0].recipients);
        ExpectContains(queued[0].text,
                       {"Subject: Mail blocked (Free offers)\r\n", "Policy: Free offers\r\n",
                        "Rule: SUBJ=IS\"*free offer*\"\r\n", "Action: Delete\r\n",
                        "Junk was deleted."});
    }
}

TEST_F(PluginNotifyTest, AttachmentRemovalWarnsByDirection)
{
    // IOSender ("" leaves WarnSender off), IORecipient, IOAdmin, direction, recipients in order.
    struct Row {
        const char *sender, *recipient, *admin;
        bool outbound;
        Texts expected;
    } rows[] = {
        {"both", "both", "both", false,
         {"alice@partner.example", "bob@corp.example", "postmaster@corp.example"}},
        {"inbound", "outbound", "both", false, {"alice@partner.example", "postmaster@corp.example"}},
        {"inbound", "outbound", "outbound", true, {"bob@corp.example", "postmaster@corp.example"}},
        {"", "", "inbound", true, {}},
    };
    const PluginMessage message = PluginMultipartMail(
        {}, "installer", {{"setup.exe", "application/octet-stream", PluginBinaryBytes(900, 5)}});
    for (const Row &row : rows) {
        SCOPED_TRACE(std::string(row.sender) + "/" + row.recipient + "/" + row.admin +
                     (row.outbound ? " out" : " in"));
        PluginInstallation local;
        local.Set("Specialized Filtering", {{"WarnSender", *row.sender ? "yes" : "no"},
                                            {"IOSender", row.sender},
                                            {"MessageSender", "To the sender."},
                                            {"WarnRecipient", *row.recipient ? "yes" : "no"},
                                            {"IORecipient", row.recipient},
                                            {"WarnAdmin", "yes"},
                                            {"IOAdmin", row.admin},
                                            {"Admin", "postmaster@corp.example"}});
        EXPECT_EQ(0, RunOnce(local, local.AddMail(message.text, {}, row.outbound)));
        Texts got;
        for (const PluginQueuedMail &queued : PluginQueue::Take()) {
            got.insert(got.end(), queued.recipients.begin(), queued.recipients.end());
            ExpectContains(queued.text,
                           {"Policy: Attachment Removal\r\n", "Attachment file name: setup.exe\r\n",
                            "Action: Attachment Removal (Replaced with text)\r\n"});
        }
        EXPECT_EQ(row.expected, got);
    }
}

// NotificationAttachment is read by its prefix, in that case.
TEST_F(PluginNotifyTest, NotificationCarriesWhatIsConfigured)
{
    struct Row {
        const char *setting;
        Texts present, absent;
    } rows[] = {
        {"Header", {"Subject: Quarterly figures"}, {"message/rfc822", "Message.txt", "Numbers of"}},
        {"All", {"Content-Type: message/rfc822;", "Numbers of project orion"}, {"Message.txt"}},
        {"AllText", {"name=\"Message.txt\"", "Numbers of project orion"}, {"message/rfc822"}},
        {"AllTextPlease", {"name=\"Message.txt\""}, {"message/rfc822"}},
        {"nothing", {}, {"Subject: Quarterly figures", "Numbers of", "Message"}},
        {"all", {}, {"Subject: Quarterly figures", "Numbers of", "Message"}},
    };
    for (const Row &row : rows) {
        SCOPED_TRACE(row.setting);
        PluginInstallation local;
        local.Set("Advanced Options", "NotificationAttachment", row.setting)
            .Set("Confidential", "WarningSender", "yes");
        EXPECT_EQ(0, RunOnce(local, local.AddMail(PluginPlainMail({}, PluginSecretBody()))));
        const std::vector<PluginQueuedMail> queued = PluginQueue::Take();
        ASSERT_EQ(1u, queued.size());
        ExpectContains(queued[0].text, row.present);
        ExpectContains(queued[0].text, row.absent, false);
    }
}

} // namespace
