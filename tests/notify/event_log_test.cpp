// The daily event log: file name, the once-a-day header, one or two lines per
// call, charset conversion and a directory that cannot be written.
#include <unistd.h>

#include <ctime>
#include <regex>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "notify/event_log.h"
#include "notify/notify_globals.h"
#include "support/notify_fixtures.h"

namespace {

std::string today(const char *format)
{
    const time_t now = time(nullptr);
    struct tm local {
    };
    localtime_r(&now, &local);
    char text[64];
    strftime(text, sizeof text, format, &local);
    return text;
}

// Program directory pointed at a scratch directory for one test.
class EventLogTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        m_saved = g_t_strProgramDirectory;
        g_t_strProgramDirectory = m_dir.path();
    }
    void TearDown() override { g_t_strProgramDirectory = m_saved; }

    std::string log_path() const { return m_dir.file(today("pwall.log.%Y.%m.%d")); }
    std::vector<std::string> log_lines() const
    {
        return SplitLines(ReadFile(log_path()));
    }

    NotifyScratchDir m_dir;
    t_string m_saved;
};

// The date and time of a line may be a second later than prefix(); compare
// the rest.
std::string after_stamp(const std::string &line)
{
    const size_t colon = line.find("]: ");
    return colon == std::string::npos ? line : line.substr(colon + 3);
}

TEST_F(EventLogTest, FirstCallOfTheDayWritesTheHeaderOnce)
{
    WriteLogFile("PLUG-IN STARTED BY /opt/gw/Plug-Ins/OV/", nullptr, 368, 0);
    WriteLogFile("PLUG-IN STOPPED", nullptr, 368, 0);

    const std::vector<std::string> lines = log_lines();
    ASSERT_EQ(lines.size(), 3u);
    const std::regex stamp(R"(^\d\d/\d\d/\d{4} \d\d:\d\d:\d\d CONTENT_MANAGEMENT\[)" +
                           std::to_string(getpid()) + R"(\]: )");
    for (const std::string &line : lines)
        EXPECT_TRUE(std::regex_search(line, stamp)) << line;
    EXPECT_EQ(lines[0].substr(0, 10), today("%m/%d/%Y"));
    EXPECT_EQ(after_stamp(lines[0]),
              "Daily Log, Version: 3.8_Linux_Build_1036 $Date: 12/20/2002 18:02:39");
    EXPECT_EQ(after_stamp(lines[1]), "PLUG-IN STARTED BY /opt/gw/Plug-Ins/OV/");
    EXPECT_EQ(after_stamp(lines[2]), "PLUG-IN STOPPED");
    EXPECT_EQ(m_dir.files(), std::vector<std::string>{today("pwall.log.%Y.%m.%d")});
}

TEST_F(EventLogTest, AnExistingDayFileGetsNoHeader)
{
    WriteFile(log_path(), "earlier line\n");
    WriteLogFile("event", nullptr, 367, 0);
    const std::vector<std::string> lines = log_lines();
    ASSERT_EQ(lines.size(), 2u);
    EXPECT_EQ(lines[0], "earlier line");
    EXPECT_EQ(after_stamp(lines[1]), "event");
}

TEST_F(EventLogTest, MailTextAddsAnEmailLine)
{
    struct Row {
        const char *text;
        const char *mailText;
        std::vector<std::string> expected; // after the header, stamps replaced by "<stamp>"
    } rows[] = {
        {"no mail", nullptr, {"<stamp>CONTENT_MANAGEMENT: no mail"}},
        {"CONTENT MANAGEMENT: Anti-Spam filter has blocked a junk mail.",
         "Inbound\\a@x.example\\b@y.example\\Hello\\Delete/rule1",
         {"<stamp>CONTENT_MANAGEMENT: CONTENT MANAGEMENT: Anti-Spam filter has blocked a junk "
          "mail.",
          "EMAIL\\<stamp>\\Inbound\\a@x.example\\b@y.example\\Hello\\Delete/rule1"}},
        {"empty mail text", "", {"<stamp>CONTENT_MANAGEMENT: empty mail text", "EMAIL\\<stamp>\\"}},
    };
    const std::regex eventStamp(R"(^\d\d/\d\d/\d{4} \d\d:\d\d:\d\d CONTENT_MANAGEMENT\[\d+\]: )");
    const std::regex emailStamp(R"(^EMAIL\\\d\d/\d\d/\d{4} \d\d:\d\d:\d\d\\)");
    for (const Row &row : rows) {
        std::remove(log_path().c_str());
        WriteLogFile(row.text, row.mailText, 367, 0);
        std::vector<std::string> lines = log_lines();
        ASSERT_FALSE(lines.empty());
        lines.erase(lines.begin()); // the day's header
        for (std::string &line : lines) {
            line = std::regex_replace(line, eventStamp, "<stamp>CONTENT_MANAGEMENT: ");
            line = std::regex_replace(line, emailStamp, "EMAIL\\<stamp>\\");
        }
        EXPECT_EQ(lines, row.expected) << row.text;
    }
}

TEST_F(EventLogTest, CharsetZeroAndThreeWriteTheTextAsItIs)
{
    const std::string euc = "\xC6\xFC\xCB\xDC\xB8\xEC";  // "Japanese" in EUC-JP
    const std::string sjis = "\x93\xFA\x96\x7B\x8C\xEA"; // the same in Shift_JIS
    const std::string jis = "\x1B$BF|K\\8l\x1B(B";       // and in ISO-2022-JP
    struct Row {
        int charset;
        std::string expected;
    } rows[] = {{0, euc}, {3, euc}, {2, sjis}, {1, jis}};
    for (const Row &row : rows) {
        std::remove(log_path().c_str());
        WriteLogFile(("policy " + euc).c_str(), euc.c_str(), 367, row.charset);
        const std::vector<std::string> lines = log_lines();
        ASSERT_EQ(lines.size(), 3u) << row.charset;
        EXPECT_EQ(after_stamp(lines[1]), "policy " + row.expected) << row.charset;
        const std::string email = lines[2];
        EXPECT_EQ(email.substr(email.size() - row.expected.size()), row.expected) << row.charset;
    }
}

TEST_F(EventLogTest, UnwritableDirectoryIsSkippedSilently)
{
    WriteFile(m_dir.file("plainfile"), "x");
    for (const std::string &dir : {m_dir.file("missing/"), m_dir.file("plainfile/")}) {
        g_t_strProgramDirectory = dir;
        WriteLogFile("lost", "lost too", 367, 2);
    }
    g_t_strProgramDirectory = m_dir.path();
    EXPECT_EQ(m_dir.files(), std::vector<std::string>{"plainfile"});
    WriteLogFile(nullptr, "no event text", 367, 0);
    EXPECT_EQ(m_dir.files(), std::vector<std::string>{"plainfile"});
}

} // namespace
