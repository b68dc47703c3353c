// Attachment removal through the host interface: the message file is
// rewritten in place with a plain-text part where each picked attachment
// was; the part header follows the host language.
#include <sys/stat.h>

#include "support/plugin_host_fixture.h"

namespace {

using PluginReplaceTest = PluginTest;

const char kPlainHeader[] = "Content-Type: text/plain\r\nContent-Transfer-Encoding: 7bit\r\n\r\n";
const char kDefaultText[] = "The attachment was removed.";

// Only the picked parts are replaced. The part header names the host's
// ISO-2022 charset; a Japanese text in the host's EUC-JP becomes ISO-2022-JP.
TEST_F(PluginReplaceTest, RewritesTheMessageByteForByte)
{
    const std::string japanese = u8"添付ファイルは削除されました。";
    const auto header = [](const char *charset) {
        return "Content-Type: text/plain; charset=\"" + std::string(charset) +
               "\"\r\nContent-Transfer-Encoding: 7bit\r\n\r\n";
    };
    struct Row {
        const char *language;
        std::string text, written, header;
    } rows[] = {
        {"C", kDefaultText, kDefaultText, kPlainHeader},
        {"en_US", "", "", kPlainHeader},
        {"ja_JP.eucJP", PluginConvert(japanese, "EUC-JP"), PluginConvert(japanese, "ISO-2022-JP"),
         header("iso-2022-jp")},
        {"zh_CN.GB2312", kDefaultText, kDefaultText, header("iso-2022-cn")},
        {"zh_TW.Big5", kDefaultText, kDefaultText, header("iso-2022-cn-ext")},
    };
    const std::string program = PluginBinaryBytes(3000, 11);
    const PluginMessage message = PluginMultipartMail(
        {}, "Two programs and a report.",
        {{"a.exe", "application/octet-stream", program},
         {"report.pdf", "application/pdf", PluginBinaryBytes(5000, 3)},
         {"b.exe", "application/octet-stream", program}});
    for (const Row &row : rows) {
        SCOPED_TRACE(row.language + (" " + row.text));
        PluginInstallation local;
        local.Set("Content Filter", "HostLanguage", row.language)
            .Set("Specialized Filtering", "ReplaceText", row.text);
        PluginSpoolMail mail = local.AddMail(message.text);
        ASSERT_EQ(0, chmod(mail.df.c_str(), 0640)); // the rewritten file keeps the mode
        ZWMailResult result{};
        EXPECT_EQ(0, RunOnce(local, mail, &result));
        struct stat status {};
        EXPECT_EQ(0, stat(mail.df.c_str(), &status));
        EXPECT_EQ(0640u, status.st_mode & 07777);
        EXPECT_EQ(PluginVerdict(4, 0), PluginVerdict(result.action, result.blocked));
        std::string expected = message.text;
        for (const int i : {2, 0}) { // from the end, so that the ranges stay
            const auto range = message.attachmentRanges[i];
            expected.replace(range.first, range.second - range.first,
                             row.header + "[Filename: " + (i ? "b" : "a") +
                                 ".exe, Content-Type: application/octet-stream]\r\n" +
                                 row.written + "\r\n\r\n");
        }
        EXPECT_EQ(expected, ReadFile(mail.df));
        EXPECT_EQ(std::vector<std::string>{}, local.Files("tempdir"));
        EXPECT_EQ(std::vector<std::string>{}, local.Files("Quarantine")); // Quarantine=no
        const std::vector<PluginEvent> events = PluginEvents(local.EventLog());
        ASSERT_EQ(4u, events.size()) << local.EventLog(); // with the start and the stop
        for (const int i : {1, 2}) {
            EXPECT_EQ("CONTENT MANAGEMENT: An attachment file in the message has been removed by "
                      "Content Management!",
                      events[i].text);
            EXPECT_EQ(std::string("Inbound\\Attachment Removal (Replaced with text)\\") +
                          (i == 1 ? "a" : "b") + ".exe\\alice@partner.example\\" + mail.df,
                      events[i].record);
        }
    }
}

} // namespace
