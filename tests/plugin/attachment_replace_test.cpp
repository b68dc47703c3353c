// Attachment removal through the host interface: the message file is
// rewritten in place, byte for byte, with a plain-text part standing where
// each picked attachment was; the part header follows the host language;
// the switches and directions decide whether it happens at all.
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "support/plugin_host_fixture.h"
#include "support/plugin_mail_corpus.h"

namespace {

using PluginReplaceTest = PluginTest;

const char kPlainHeader[] = "Content-Type: text/plain\r\nContent-Transfer-Encoding: 7bit\r\n\r\n";
const char kDefaultText[] = "The attachment was removed.";

PluginAttachment Exe(const std::string &name = "setup.exe")
{
    return {name, "application/octet-stream", PluginBinaryBytes(3000, 11)};
}

// What the rewrite puts in place of one attachment.
std::string Block(const std::string &header, const PluginAttachment &attachment,
                  const std::string &text)
{
    return header + "[Filename: " + attachment.name + ", Content-Type: " + attachment.type +
           "]\r\n" + text + "\r\n\r\n";
}

// The message with the given attachment ranges replaced by blocks.
std::string Replaced(const PluginMessage &mail, const std::vector<size_t> &which,
                     const std::vector<std::string> &blocks)
{
    std::string out;
    size_t from = 0;
    for (size_t i = 0; i < which.size(); ++i) {
        const auto &range = mail.attachmentRanges[which[i]];
        out += mail.text.substr(from, range.first - from) + blocks[i];
        from = range.second;
    }
    return out + mail.text.substr(from);
}

TEST_F(PluginReplaceTest, RewritesTheMessageByteForByte)
{
    struct Row {
        const char *language;
        const char *text;
        std::string header;
    } rows[] = {
        {"C", kDefaultText, kPlainHeader},
        {"en_US", "", kPlainHeader},
        {"ja_JP.eucJP", kDefaultText,
         "Content-Type: text/plain; charset=\"iso-2022-jp\"\r\nContent-Transfer-Encoding: "
         "7bit\r\n\r\n"},
        {"zh_CN.GB2312", kDefaultText,
         "Content-Type: text/plain; charset=\"iso-2022-cn\"\r\nContent-Transfer-Encoding: "
         "7bit\r\n\r\n"},
        {"zh_TW.Big5", kDefaultText,
         "Content-Type: text/plain; charset=\"iso-2022-cn-ext\"\r\nContent-Transfer-Encoding: "
         "7bit\r\n\r\n"},
    };
    const PluginMessage message = PluginMultipartMail({}, "See the installer.", {Exe()});
    for (const Row &row : rows) {
        SCOPED_TRACE(row.language);
        PluginInstallation local;
        local.Set("Content Filter", "HostLanguage", row.language)
            .Set("Specialized Filtering", "ReplaceText", row.text);
        PluginSpoolMail mail = local.AddMail(message.text);
        ZWMailResult result{};
        EXPECT_EQ(0, RunOnce(local, mail, &result));
        EXPECT_EQ(4, result.action);
        EXPECT_EQ(0, result.blocked);
        EXPECT_EQ(Replaced(message, {0}, {Block(row.header, Exe(), row.text)}), ReadFile(mail.df));
        EXPECT_EQ(std::vector<std::string>{}, local.Files("tempdir"));
        EXPECT_EQ(std::vector<std::string>{}, local.Files("Quarantine")); // Quarantine=no
    }
}

TEST_F(PluginReplaceTest, ReplacesOnlyThePickedParts)
{
    const PluginAttachment pdf{"report.pdf", "application/pdf", PluginBinaryBytes(5000, 3)};
    const PluginMessage message =
        PluginMultipartMail({}, "Two programs and a report.", {Exe("a.exe"), pdf, Exe("b.exe")});
    PluginSpoolMail mail = install.AddMail(message.text);
    Start();
    ZWMailResult result{};
    EXPECT_EQ(0, Run(mail, &result));
    EXPECT_EQ(4, result.action);
    EXPECT_EQ(Replaced(message, {0, 2},
                       {Block(kPlainHeader, Exe("a.exe"), kDefaultText),
                        Block(kPlainHeader, Exe("b.exe"), kDefaultText)}),
              ReadFile(mail.df));

    // One event-log record per removed attachment.
    const std::vector<PluginEvent> events = PluginEvents(install.EventLog());
    ASSERT_EQ(3u, events.size()) << install.EventLog();
    for (int i = 0; i < 2; ++i) {
        EXPECT_EQ("CONTENT MANAGEMENT: An attachment file in the message has been removed by "
                  "Content Management!",
                  events[1 + i].text);
        EXPECT_EQ(std::string("Inbound\\Attachment Removal (Replaced with text)\\") +
                      (i == 0 ? "a.exe" : "b.exe") + "\\alice@partner.example\\" + mail.df,
                  events[1 + i].record);
    }
}

// A uuencoded block inside a plain body is an attachment too.
TEST_F(PluginReplaceTest, ReplacesAUuencodedBlock)
{
    const std::string before =
        "Return-Path: <alice@partner.example>\r\nFrom: alice@partner.example\r\n"
        "To: bob@corp.example\r\nSubject: tool\r\n\r\nHere it is:\r\n\r\n";
    const std::string block = "begin 644 tool.exe\r\n"
                              "M35J0``,````$````__\\``+@`````````0```````````````````````````\r\n"
                              "`\r\nend\r\n";
    const std::string after = "\r\nBye.\r\n";
    PluginSpoolMail mail = install.AddMail(before + block + after);
    Start();
    ZWMailResult result{};
    EXPECT_EQ(0, Run(mail, &result));
    EXPECT_EQ(4, result.action);
    EXPECT_EQ(before + kPlainHeader + "[Filename: tool.exe, Content-Type: UUEncoded]\r\n" +
                  kDefaultText + "\r\n\r\n" + after,
              ReadFile(mail.df));
}

TEST_F(PluginReplaceTest, ConvertsAJapaneseTextForAJapaneseHost)
{
    const std::string text = u8"添付ファイルは削除されました。";
    install.Set("Content Filter", "HostLanguage", "ja_JP.eucJP")
        .Set("Specialized Filtering", "ReplaceText", PluginConvert(text, "EUC-JP"));
    const PluginMessage message = PluginMultipartMail({}, "installer", {Exe()});
    PluginSpoolMail mail = install.AddMail(message.text);
    Start();
    EXPECT_EQ(0, Run(mail));
    const std::string rewritten = ReadFile(mail.df);
    const std::string bracket = "[Filename: setup.exe, Content-Type: application/octet-stream]\r\n";
    const size_t at = rewritten.find(bracket);
    ASSERT_NE(std::string::npos, at);
    const size_t start = at + bracket.size();
    const size_t end = rewritten.find("\r\n--", start);
    const std::string inserted = rewritten.substr(start, end + 2 - start);
    EXPECT_NE(std::string::npos, inserted.find("\x1b$B")) << "ISO-2022-JP expected";
    EXPECT_EQ(text + "\r\n\r\n", PluginConvert(inserted, "UTF-8", "ISO-2022-JP"));
}

TEST_F(PluginReplaceTest, SwitchAndDirectionDecide)
{
    struct Row {
        const char *remove;
        const char *direction;
        bool outbound;
        bool replaced;
    } rows[] = {
        {"no", "both", false, false},      {"yes", "both", true, true},
        {"yes", "outbound", false, false}, {"yes", "outbound", true, true},
        {"yes", "inbound", true, false},   {"yes", "inbound", false, true},
        {"Yes", "both", false, false},     {"yes please", "Both", false, true},
    };
    const PluginMessage message = PluginMultipartMail({}, "installer", {Exe()});
    for (const Row &row : rows) {
        SCOPED_TRACE(std::string(row.remove) + " " + row.direction +
                     (row.outbound ? " out" : " in"));
        PluginInstallation local;
        local.Set("Specialized Filtering",
                  {{"RemoveAttachment", row.remove}, {"IOMail", row.direction}});
        PluginSpoolMail mail = local.AddMail(message.text, {}, row.outbound);
        ZWMailResult result{};
        EXPECT_EQ(0, RunOnce(local, mail, &result));
        EXPECT_EQ(row.replaced ? 4 : 0, result.action);
        EXPECT_EQ(row.replaced, ReadFile(mail.df) != message.text);
        // Without removal the rule filter still sees the attachment.
    }
}

// A mail that loses its attachment and is then blocked by a rule: the copy
// kept is the rewritten mail; archiving keeps the "replaced" action code.
TEST_F(PluginReplaceTest, RuleActionsAfterTheReplacement)
{
    struct Row {
        const char *action;
        int code;
        const char *tree;
    } rows[] = {{"ARCH", 4, "Archive/Anti-Spam/Offers"},
                {"QUAR", 2, "Quarantine/Anti-Spam/Offers"},
                {"DEL", 1, ""}};
    PluginHeaders junk;
    junk.subject = PluginJunkSubject();
    const PluginMessage message = PluginMultipartMail(junk, "installer", {Exe()});
    const std::string rewritten =
        Replaced(message, {0}, {Block(kPlainHeader, Exe(), kDefaultText)});
    for (const Row &row : rows) {
        SCOPED_TRACE(row.action);
        PluginInstallation local;
        local.WriteRules({std::string("Offers\\C\\SUBJ=IS\"*free offer*\"\\") + row.action});
        PluginSpoolMail mail = local.AddMail(message.text);
        ZWMailResult result{};
        EXPECT_EQ(2, RunOnce(local, mail, &result));
        EXPECT_EQ(row.code, result.action);
        EXPECT_EQ(1, result.blocked);
        EXPECT_EQ(rewritten, ReadFile(mail.df));
        if (*row.tree) {
            const std::vector<std::string> copies = local.Files(row.tree);
            ASSERT_EQ(1u, copies.size());
            EXPECT_EQ(rewritten, ReadFile(local.Path(copies[0])));
        }
    }
}

// The attachment that the special filter took is no longer seen by rules.
TEST_F(PluginReplaceTest, RulesNoLongerSeeARemovedAttachment)
{
    install.WriteRules({"Programs\\C\\ATTACH=I\".exe\"\\DEL"});
    const PluginMessage message = PluginMultipartMail({}, "installer", {Exe()});
    Start();
    EXPECT_EQ(0, Run(install.AddMail(message.text)));
    EXPECT_EQ(0, plugin().Cleanup());
    install.Set("Specialized Filtering", "RemoveAttachment", "no");
    Start();
    ZWMailResult result{};
    EXPECT_EQ(2, Run(install.AddMail(message.text), &result));
    EXPECT_EQ(1, result.action);
}

} // namespace
