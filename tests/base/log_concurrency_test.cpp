// Many threads writing to one log: every message arrives whole, once, on a
// line of its own, whatever the target.
#include <gtest/gtest.h>

#include <mutex>
#include <regex>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "base/log.h"
#include "support/base_temp_dir.h"

namespace {

const int kThreads = 6, kMessages = 300;

void write_messages(Log &log)
{
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t)
        threads.emplace_back([&log, t] {
            for (int i = 0; i < kMessages; ++i)
                log.start() << "writer " << t << " message " << i << " " << 'x' << 1.5 << " end"
                            << Orvane::endl;
        });
    for (std::thread &thread : threads)
        thread.join();
}

void expect_whole_messages(const std::vector<std::string> &lines, const std::string &prolog)
{
    const std::regex whole(prolog + R"(writer (\d+) message (\d+) x1\.5 end)");
    std::set<std::pair<int, int>> seen;
    for (const std::string &line : lines) {
        std::smatch match;
        ASSERT_TRUE(std::regex_match(line, match, whole)) << line;
        EXPECT_TRUE(seen.insert({std::stoi(match[1]), std::stoi(match[2])}).second) << line;
    }
    EXPECT_EQ(seen.size(), static_cast<size_t>(kThreads * kMessages));
}

std::mutex g_sentMutex;
std::vector<std::string> g_sent;
void keep_sent(int, const char *message)
{
    std::lock_guard<std::mutex> guard(g_sentMutex);
    g_sent.push_back(message);
}

} // namespace

TEST(LogConcurrency, LinesNeverInterleaveWhateverTheTarget)
{
    BaseTempDir tmp;
    const std::string file = tmp.path("debug.log");
    {
        Log log(file.c_str(), "OVUX", 9);
        write_messages(log);
    }
    expect_whole_messages(SplitLines(ReadFile(file)), R"(OVUX\[\d+\]\[\d+\]: )");
    g_sent.clear();
    SysLog::set_sender(keep_sent);
    {
        SysLog log("ovtest", 0);
        write_messages(log);
    }
    SysLog::set_sender(nullptr);
    expect_whole_messages(g_sent, "");
}
