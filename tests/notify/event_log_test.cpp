// The daily event log: file name, the once-a-day header, one or two lines per
// call, charset conversion and a directory that cannot be written.
#include <unistd.h>

#include <regex>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "notify/event_log.h"
#include "notify/notify_globals.h"
#include "support/notify_fixtures.h"

namespace {

const char kHeader[] = "Daily Log, Version: 3.8_Linux_Build_1036 $Date: 12/20/2002 18:02:39";

// Program directory pointed at a scratch directory for one test.
class EventLogTest : public ::testing::Test {
protected:
    void SetUp() override { g_t_strProgramDirectory = m_dir.path(); }
    void TearDown() override { g_t_strProgramDirectory = m_saved; }

    std::string log_path() const { return m_dir.file(NotifyLocalNow("pwall.log.%Y.%m.%d")); }
    // Today's log lines, their date and time (maybe a second later) as "<stamp>".
    std::vector<std::string> log_lines() const
    {
        static const std::regex eventStamp(R"(^\d\d/\d\d/\d{4} \d\d:\d\d:\d\d CONTENT_MANAGEMENT\[)" +
                                           std::to_string(getpid()) + R"(\]: )");
        static const std::regex emailStamp(R"(^EMAIL\\\d\d/\d\d/\d{4} \d\d:\d\d:\d\d\\)");
        std::vector<std::string> lines = SplitLines(ReadFile(log_path()));
        for (std::string &line : lines) {
            line = std::regex_replace(line, eventStamp, "<stamp>");
            line = std::regex_replace(line, emailStamp, "EMAIL\\<stamp>\\");
        }
        return lines;
    }

    NotifyScratchDir m_dir;
    const t_string m_saved = g_t_strProgramDirectory;
};

// A directory that cannot be written is skipped silently.
TEST_F(EventLogTest, HeaderOncePerDayAndAnEmailLineForMailText)
{
    WriteFile(m_dir.file("plainfile"), "x");
    for (const std::string &dir : {m_dir.file("missing/"), m_dir.file("plainfile/")}) {
        g_t_strProgramDirectory = dir;
        WriteLogFile("lost", "lost too", 367, 2);
    }
    g_t_strProgramDirectory = m_dir.path();
    WriteLogFile(nullptr, "no event text", 367, 0);
    EXPECT_EQ(m_dir.files(), std::vector<std::string>{"plainfile"});
    const std::string header = std::string("<stamp>") + kHeader;
    const struct {
        const char *existing; // the day file before the calls, or null
        std::vector<std::pair<const char *, const char *>> calls;
        std::vector<std::string> lines;
    } rows[] = {
        {nullptr, {{"STARTED", nullptr}, {"blocked", "Inbound\\a@x\\Hi"}},
         {header, "<stamp>STARTED", "<stamp>blocked", "EMAIL\\<stamp>\\Inbound\\a@x\\Hi"}},
        {"earlier line\n", {{"event", nullptr}}, {"earlier line", "<stamp>event"}},
        {nullptr, {{"empty mail text", ""}}, {header, "<stamp>empty mail text", "EMAIL\\<stamp>\\"}},
    };
    for (const auto &row : rows) {
        std::remove(log_path().c_str());
        if (row.existing)
            WriteFile(log_path(), row.existing);
        for (const auto &call : row.calls)
            WriteLogFile(call.first, call.second, 367, 0);
        EXPECT_EQ(log_lines(), row.lines) << row.calls[0].first;
    }
    EXPECT_EQ(ReadFile(log_path()).substr(0, 10), NotifyLocalNow("%m/%d/%Y"));
    EXPECT_EQ(m_dir.files(),
              (std::vector<std::string>{"plainfile", NotifyLocalNow("pwall.log.%Y.%m.%d")}));
}

TEST_F(EventLogTest, CharsetZeroAndThreeWriteTheTextAsItIs)
{
    const std::string euc = "\xC6\xFC\xCB\xDC\xB8\xEC";  // "Japanese" in EUC-JP
    const std::string sjis = "\x93\xFA\x96\x7B\x8C\xEA"; // the same in Shift_JIS
    const std::string jis = "\x1B$BF|K\\8l\x1B(B";       // and in ISO-2022-JP
    const struct {
        int charset;
        std::string text, logged;
    } rows[] = {{0, euc, euc}, {3, euc, euc}, {2, euc, sjis}, {1, euc, jis},
                {0, sjis, sjis}, {3, sjis, sjis}}; // 3 is taken as EUC: nothing converts
    for (const auto &row : rows) {
        std::remove(log_path().c_str());
        WriteLogFile(("policy " + row.text).c_str(), row.text.c_str(), 367, row.charset);
        EXPECT_EQ(log_lines(), (std::vector<std::string>{std::string("<stamp>") + kHeader,
                                                         "<stamp>policy " + row.logged,
                                                         "EMAIL\\<stamp>\\" + row.logged}))
            << row.charset << " " << row.text;
    }
}

} // namespace
