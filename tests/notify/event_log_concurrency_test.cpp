// Many threads appending to the event log at once: every line arrives whole,
// each event line is directly followed by its own EMAIL line, and the day's
// header is written exactly once, first.
#include <ctime>
#include <regex>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "notify/event_log.h"
#include "notify/notify_globals.h"
#include "support/notify_fixtures.h"

namespace {

TEST(EventLogConcurrency, ThreadsAppendWholeLines)
{
    NotifyScratchDir dir;
    const t_string savedDir = g_t_strProgramDirectory;
    g_t_strProgramDirectory = dir.path();
    ReadersWriters lock(0);
    logFile_rwObj = &lock;

    constexpr int kThreads = 8, kCalls = 150;
    const std::string padding(300, 'x'); // long lines make torn writes visible
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t)
        threads.emplace_back([t, &padding] {
            for (int i = 0; i < kCalls; ++i) {
                const std::string id = std::to_string(t) + "." + std::to_string(i);
                WriteLogFile(("event " + id + " " + padding).c_str(), ("mail " + id).c_str(), 367, 0);
            }
        });
    for (std::thread &thread : threads)
        thread.join();
    logFile_rwObj = nullptr;
    g_t_strProgramDirectory = savedDir;

    const std::vector<std::string> files = dir.files(); // two across midnight
    ASSERT_TRUE(files.size() == 1 || files.size() == 2);
    const std::string stamp = R"(^\d\d/\d\d/\d{4} \d\d:\d\d:\d\d CONTENT_MANAGEMENT\[\d+\]: )";
    const std::regex header(
        stamp + R"(Daily Log, Version: 3\.8_Linux_Build_1036 \$Date: 12/20/2002 18:02:39$)");
    const std::regex event(stamp + R"(event (\d+\.\d+) x{300}$)");
    const std::regex email(R"(^EMAIL\\\d\d/\d\d/\d{4} \d\d:\d\d:\d\d\\mail (\d+\.\d+)$)");

    std::set<std::string> seen;
    for (const std::string &name : files) {
        const std::vector<std::string> lines = SplitLines(ReadFile(dir.file(name)));
        ASSERT_EQ(lines.size() % 2, 1u) << name;
        EXPECT_TRUE(std::regex_match(lines[0], header)) << lines[0];
        for (size_t n = 1; n + 1 < lines.size(); n += 2) {
            std::smatch e, m;
            ASSERT_TRUE(std::regex_match(lines[n], e, event)) << lines[n];
            ASSERT_TRUE(std::regex_match(lines[n + 1], m, email)) << lines[n + 1];
            EXPECT_EQ(e[1].str(), m[1].str());
            EXPECT_TRUE(seen.insert(e[1].str()).second) << e[1].str();
        }
    }
    EXPECT_EQ(seen.size(), static_cast<size_t>(kThreads * kCalls)); // each id once
}

} // namespace
