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

using Recipients = std::vector<std::string>;

void ExpectContains(const std::string &text, const std::vector<std::string> &pieces)
{
    for (const std::string &piece : pieces)
        EXPECT_NE(std::string::npos, text.find(piece)) << piece << "\nin:\n" << text;
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
    PluginSpoolMail mail = install.AddMail(PluginPlainMail({}, PluginSecretBody()), envelope);
    Start();
    ZWMailResult result{};
    EXPECT_EQ(0, Run(mail, &result));
    EXPECT_EQ(2, result.action);

    const std::vector<PluginQueuedMail> queued = PluginQueue::Take();
    ASSERT_EQ(3u, queued.size());
    const Recipients expected[] = {{"alice@partner.example"},
                                   {"bob@corp.example", "carol@corp.example"},
                                   {"security@corp.example", "audit@corp.example"}};
    const char *texts[] = {"Your mail was held.", "A mail to you was held.", "Please review."};
    for (size_t i = 0; i < queued.size(); ++i) {
        SCOPED_TRACE(i);
        EXPECT_EQ("postmaster@corp.example", queued[i].from);
        EXPECT_EQ(expected[i], queued[i].recipients);
        EXPECT_TRUE(queued[i].fileExisted);
        EXPECT_TRUE(queued[i].reservedNull);
        EXPECT_EQ(1, queued[i].flag1);
        EXPECT_EQ(0, queued[i].flag2);
        ExpectContains(queued[i].text,
                       {"From: postmaster@corp.example\r\n",
                        "Subject: Mail blocked (Confidential)\r\n",
                        "Source mailbox: alice@partner.example\r\n",
                        "Destination mailbox(es): bob@corp.example,carol@corp.example\r\n",
                        "Policy: Confidential\r\n", "Action: Quarantine\r\n", texts[i]});
        EXPECT_EQ(std::string::npos, queued[i].text.find("Rule: "));
    }
    // The queued files belonged to the host, which removed them; nothing else is left.
    EXPECT_EQ(std::vector<std::string>{}, install.Files("tempdir"));
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
    ZWMailResult result{};
    EXPECT_EQ(0, Run(install.AddMail(PluginPlainMail({}, PluginSecretBody())), &result));
    EXPECT_EQ(1, result.action);
    const std::vector<PluginQueuedMail> queued = PluginQueue::Take();
    ASSERT_EQ(2u, queued.size());
    EXPECT_EQ(Recipients{"alice@partner.example"}, queued[0].recipients);
    ExpectContains(queued[0].text, {"Sender text of Orion.", "Policy: Confidential,Orion\r\n",
                                    "Action: Delete\r\n"});
    EXPECT_EQ(
        Recipients({"security@corp.example", "audit@corp.example", "orion-team@corp.example"}),
        queued[1].recipients);
    ExpectContains(queued[1].text, {"From Confidential."});
}

TEST_F(PluginNotifyTest, JunkMailWarnsTheAntiSpamAdministrators)
{
    struct Row {
        const char *warning;
        const char *admins;
        Recipients expected;
    } rows[] = {
        {"yes",
         ",alice@corp.example,,bob@corp.example,",
         {"alice@corp.example", "bob@corp.example"}},
        {"yes", "", {}},
        {"no", "alice@corp.example", {}},
        {"YES", "alice@corp.example", {}},
    };
    PluginHeaders junk;
    junk.subject = PluginJunkSubject();
    for (const Row &row : rows) {
        SCOPED_TRACE(std::string(row.warning) + " " + row.admins);
        PluginInstallation local;
        local.Set("Anti-Spam", {{"WarningAdmin", row.warning},
                                {"Admin", row.admins},
                                {"MessageAdmin", "Junk was deleted."}});
        PluginSpoolMail mail = local.AddMail(PluginPlainMail(junk, "hi"));
        EXPECT_EQ(2, RunOnce(local, mail));
        const std::vector<PluginQueuedMail> queued = PluginQueue::Take();
        if (row.expected.empty()) {
            EXPECT_EQ(0u, queued.size());
            continue;
        }
        ASSERT_EQ(1u, queued.size());
        EXPECT_EQ(row.expected, queued[0].recipients);
        ExpectContains(queued[0].text,
                       {"Subject: Mail blocked (Free offers)\r\n", "Policy: Free offers\r\n",
                        "Rule: SUBJ=IS\"*free offer*\"\r\n", "Action: Delete\r\n",
                        "Junk was deleted."});
    }
}

TEST_F(PluginNotifyTest, AttachmentRemovalWarnsByDirection)
{
    struct Row {
        const char *sender;    // IOSender ("" leaves WarnSender off)
        const char *recipient; // IORecipient
        const char *admin;     // IOAdmin
        bool outbound;
        Recipients expected; // recipients of the warnings, in order
    } rows[] = {
        {"both",
         "both",
         "both",
         false,
         {"alice@partner.example", "bob@corp.example", "postmaster@corp.example"}},
        {"inbound",
         "outbound",
         "both",
         false,
         {"alice@partner.example", "postmaster@corp.example"}},
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
        PluginSpoolMail mail = local.AddMail(message.text, {}, row.outbound);
        EXPECT_EQ(0, RunOnce(local, mail));
        Recipients got;
        for (const PluginQueuedMail &queued : PluginQueue::Take()) {
            got.insert(got.end(), queued.recipients.begin(), queued.recipients.end());
            ExpectContains(queued.text,
                           {"Policy: Attachment Removal\r\n", "Attachment file name: setup.exe\r\n",
                            "Action: Attachment Removal (Replaced with text)\r\n"});
        }
        EXPECT_EQ(row.expected, got);
    }
}

TEST_F(PluginNotifyTest, NotificationCarriesWhatIsConfigured)
{
    struct Row {
        const char *setting;
        std::vector<std::string> present;
        std::vector<std::string> absent;
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
        PluginSpoolMail mail = local.AddMail(PluginPlainMail({}, PluginSecretBody()));
        EXPECT_EQ(0, RunOnce(local, mail));
        const std::vector<PluginQueuedMail> queued = PluginQueue::Take();
        ASSERT_EQ(1u, queued.size());
        ExpectContains(queued[0].text, row.present);
        for (const std::string &piece : row.absent)
            EXPECT_EQ(std::string::npos, queued[0].text.find(piece)) << piece;
    }
}

// A host without a queue function: the mail is judged and handled all the
// same, and no notification file is left behind.
TEST_F(PluginNotifyTest, NoQueueFunctionSendsNothing)
{
    install.Set("Content Filter", "DebugLog", "yes")
        .Set("Confidential", "WarningSender", "yes")
        .Set("Specialized Filtering", {{"WarnAdmin", "yes"}, {"Admin", "postmaster@corp.example"}});
    Start();
    const std::string messages[] = {
        PluginPlainMail({}, PluginSecretBody()),
        PluginMultipartMail({}, "x", {{"a.exe", "application/octet-stream", "MZ"}}).text};
    const int actions[] = {2, 4};
    for (int i = 0; i < 2; ++i) {
        ZWHostCall call = PluginCall(install.AddMail(messages[i]).af, nullptr);
        ZWMailResult result{};
        EXPECT_EQ(0, plugin().Process(&call, &result));
        EXPECT_EQ(actions[i], result.action);
    }
    EXPECT_EQ(0u, PluginQueue::Take().size());
    EXPECT_EQ(std::vector<std::string>{}, install.Files("tempdir"));
    EXPECT_NE(std::string::npos,
              install.DebugLog().find(
                  "ZWEmailPluginProcess: SendNotification pointer Enque_Mail is NULL!!"));
    // The next host call brings a queue function again.
    EXPECT_EQ(0, Run(install.AddMail(messages[0])));
    EXPECT_EQ(1u, PluginQueue::Take().size());
}

} // namespace
