// What ovctl users meet first: help for every command, the version, scan
// given a directory, JSON that is valid UTF-8, and the verdict words that
// ovctl and ovmilter share.
#include <gtest/gtest.h>

#include <csignal>
#include <string>

#include "support/base_temp_dir.h"
#include "support/tools_ovctl.h"
#include "tools/hostkit/json_text.h"
#include "tools/hostkit/verdict_words.h"

namespace
{

TEST(OvctlHelpTest, EveryCommandExplainsItself)
{
    OvctlRun list = run_ovctl({"--help"}, false);
    ASSERT_EQ(list.status, 0);
    std::vector<std::string> commands;
    size_t at = list.output.find("commands:\n");
    ASSERT_NE(at, std::string::npos);
    for (at += 10; list.output.compare(at, 2, "  ") == 0;) {
        size_t end = list.output.find('\n', at);
        std::string name = list.output.substr(at + 2, list.output.find(' ', at + 2) - at - 2);
        EXPECT_GT(end - at, name.size() + 8) << "no summary for " << name;
        commands.push_back(name);
        at = end + 1;
    }
    EXPECT_GE(commands.size(), 16u);
    for (const std::string &name : commands) {
        for (const std::vector<std::string> &words :
             {std::vector<std::string>{name, "--help"}, std::vector<std::string>{"help", name}}) {
            OvctlRun help = run_ovctl(words, false);
            EXPECT_EQ(help.status, 0) << name;
            EXPECT_EQ(help.output.rfind("usage: ovctl " + name, 0), 0u) << help.output;
            EXPECT_GT(help.output.size(), help.output.find('\n') + 20) << name << " has no text";
        }
    }
    EXPECT_EQ(run_ovctl({"help", "nonsense"}).status, 2);
}

TEST(OvctlHelpTest, VersionNamesBothVersions)
{
    OvctlRun run = run_ovctl({"version"});
    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(run.output.rfind("ovctl ", 0), 0u) << run.output;
    EXPECT_NE(run.output.find("\nplug-in 3.8_Linux_Build_1036, built 12/20/2002 18:02:39\n"),
              std::string::npos)
        << run.output;
}

TEST(OvctlScanDirectoryTest, JudgesTheMailFilesAndLeavesNoSpool)
{
    BaseTempDir root, mails, tmp;
    ASSERT_EQ(std::system(("cp -r '" + std::string(OV_SOURCE_DIR) + "/examples/gateway/.' '" +
                           root.dir() + "'")
                              .c_str()),
              0);
    mails.write("b.eml", "From: a@b.test\nSubject: casino bonus\n\ncasino bonus\n");
    mails.write("a.eml", "From: a@b.test\nSubject: hello\n\nhello\n");
    mails.write("notes.txt", "not a mail at all\n");
    mails.write(".hidden", "From: a@b.test\n\nx\n");
    OvctlOptions options;
    options.tmpDir = tmp.dir();
    options.mergeStderr = false;
    OvctlRun run = run_ovctl({"scan", "--root", root.dir(), mails.dir()}, options);
    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(run.output, mails.path("a.eml") + "\tpass\tnone\t\t-\n" + mails.path("b.eml") +
                              "\tblocked\tdeleted\tJunk words\t-\n");
    EXPECT_TRUE(tmp.empty());

    BaseTempDir empty;
    options.mergeStderr = true;
    OvctlRun none = run_ovctl({"scan", "--root", root.dir(), empty.dir()}, options);
    EXPECT_EQ(none.status, 1);
    EXPECT_NE(none.output.find("holds no mail files"), std::string::npos) << none.output;
    OvctlRun failing = run_ovctl(
        {"scan", "--root", root.dir(), mails.path("a.eml"), mails.path("missing.eml")}, options);
    EXPECT_EQ(failing.status, 1);
    EXPECT_TRUE(tmp.empty()) << "a spool stayed behind after a failure";
}

// A scan stopped by SIGTERM removes its spool before it ends.
TEST(OvctlScanDirectoryTest, StoppedScanLeavesNoSpool)
{
    BaseTempDir root, mails, tmp;
    ASSERT_EQ(std::system(("cp -r '" + std::string(OV_SOURCE_DIR) + "/examples/gateway/.' '" +
                           root.dir() + "'")
                              .c_str()),
              0);
    std::string body(200000, 'x');
    for (int i = 0; i < 200; ++i)
        mails.write("m" + std::to_string(i) + ".eml", "From: a@b.test\nSubject: s\n\n" + body);
    const std::string script =
        "TMPDIR=" + ovctl_shell_quote(tmp.dir()) + " " + ovctl_shell_quote(OV_OVCTL_PATH) +
        " scan --root " + ovctl_shell_quote(root.dir()) + " " + ovctl_shell_quote(mails.dir()) +
        " >/dev/null 2>&1 & pid=$!; while [ -z \"$(ls -A " + ovctl_shell_quote(tmp.dir()) +
        ")\" ] && kill -0 $pid 2>/dev/null; do sleep 0.01; done; kill -TERM $pid; wait $pid";
    const int status = std::system(script.c_str());
    EXPECT_TRUE(WIFEXITED(status)) << status;
    EXPECT_TRUE(WEXITSTATUS(status) == 128 + SIGTERM || WEXITSTATUS(status) == 0) << status;
    EXPECT_TRUE(tmp.empty());
}

TEST(JsonTextTest, AlwaysValidUtf8)
{
    const struct {
        std::string text;
        const char *code;
        std::string json;
    } rows[] = {
        {"plain", "UTF-8", "\"plain\""},
        {"quote\" back\\ tab\t nl\n bell\x07", "UTF-8",
         "\"quote\\\" back\\\\ tab\\t nl\\n bell\\u0007\""},
        {"Gr\xc3\xbc\xc3\x9f", "UTF-8", "\"Gr\xc3\xbc\xc3\x9f\""},
        {"Gro\xdf", "UTF-8", "\"Gro\\u00df\""},                         // a Latin-1 byte
        {"\xc0\xaf", "UTF-8", "\"\\u00c0\\u00af\""},                    // overlong "/"
        {"\xed\xa0\x80", "UTF-8", "\"\\u00ed\\u00a0\\u0080\""},         // a surrogate
        {"\xe6\x97", "UTF-8", "\"\\u00e6\\u0097\""},                    // cut short
        {"\xc6\xfc\xcb\xdc", "EUC-JP", "\"\xe6\x97\xa5\xe6\x9c\xac\""}, // "Japan"
        {"a\xff"
         "b",
         "EUC-JP", "\"a\\u00ffb\""},
        {"\x93\xfa", "SHIFT_JIS", "\"\xe6\x97\xa5\""},
    };
    for (const auto &row : rows)
        EXPECT_EQ(json_string(row.text, row.code), row.json) << row.text;
}

TEST(JsonTextTest, HostCodeOfEachLanguage)
{
    const std::pair<const char *, const char *> rows[] = {
        {"ja_JP.eucJP", "EUC-JP"},
        {"ja_JP.sjis", "SHIFT_JIS"},
        {"zh_CN.GB2312", "GB2312"},
        {"zh_TW.Big5", "BIG5"},
        {"C", "UTF-8"},
        {"", "UTF-8"},
    };
    for (const auto &row : rows)
        EXPECT_STREQ(host_code_name(row.first), row.second) << row.first;
}

TEST(VerdictWordsTest, ColumnsOfEachResult)
{
    const struct {
        int code, blocked, action;
        const char *result, *actionWord;
    } rows[] = {
        {0, 0, 0, "pass", "none"},           {2, 1, 1, "blocked", "deleted"},
        {0, 0, 2, "blocked", "quarantined"}, // a keyword policy's quarantine
        {0, 0, 3, "blocked", "archived"},    {0, 0, 4, "pass", "replaced"},
        {-6, 0, 0, "error", "none"},
    };
    for (const auto &row : rows) {
        ZWMailResult result{};
        result.blocked = row.blocked;
        result.action = row.action;
        VerdictWords words = describe_verdict(row.code, result);
        EXPECT_STREQ(words.result, row.result) << row.code << "/" << row.action;
        EXPECT_STREQ(words.action, row.actionWord) << row.code << "/" << row.action;
    }
}

} // namespace
