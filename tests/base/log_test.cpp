// The log classes: prologs, insertions, targets, daily files, null and system logs.
#include <gtest/gtest.h>

#include <pthread.h>
#include <sys/stat.h>
#include <syslog.h>
#include <unistd.h>

#include <memory>
#include <regex>
#include <string>
#include <vector>

#include "base/log.h"
#include "support/base_temp_dir.h"

namespace {

void not_a_terminator() {}

std::vector<std::pair<int, std::string>> g_sysLogCalls;
void capture_syslog(int priority, const char *message) { g_sysLogCalls.push_back({priority, message}); }

} // namespace

TEST(Log, PrologFollowsTheFlags)
{
    const std::string time = R"(\d\d/\d\d/\d{4} \d\d:\d\d:\d\d )";
    const std::string pid = "\\[" + std::to_string(getpid()) + "\\]";
    const std::string tid = "\\[" + std::to_string(static_cast<unsigned long>(pthread_self())) + "\\]";
    const std::pair<int, std::string> rows[] = {{0, "OVUX: hello\n"}, {1, "OVUX" + pid + ": hello\n"},
        {2, time + "OVUX: hello\n"}, {8, "OVUX" + tid + ": hello\n"}, {11, time + "OVUX" + pid + tid + ": hello\n"}, {4, "OVUX: hello\n"}};
    BaseTempDir tmp;
    for (const auto &row : rows) {
        const std::string file = tmp.path("debug" + std::to_string(row.first) + ".log");
        Log(file.c_str(), "OVUX", row.first).start() << "hello" << Orvane::endl;
        const std::string written = ReadFile(file);
        EXPECT_TRUE(std::regex_match(written, std::regex(row.second))) << row.first << written;
    }
}

TEST(Log, InsertionsAndFileTarget)
{
    BaseTempDir tmp;
    const std::string file = tmp.write("debug.log", "old line\n");
    const std::string created = tmp.path("new.log");
    const mode_t savedMask = umask(0);
    {
        Log log(file.c_str(), "ov", 0);
        const char *nothing = nullptr;
        log.start() << 'c' << static_cast<unsigned char>('u') << static_cast<short>(-3) << " "
                    << static_cast<unsigned short>(65535) << " " << -2147483647 - 1 << " "
                    << 4294967295u << " " << -9000000000L << " " << 18446744073709551615UL << " "
                    << -1LL << " " << 1ULL << " " << 2.5L << " " << 0.25f << " " << 1e20 << " "
                    << 1.0 / 3 << " " << nothing << " " << std::string("std") << " "
                    << String("own") << not_a_terminator << Orvane::endl;
        log.start() << "second" << Orvane::flush;
        log.getraw();
        log << "raw";
        log.stop();
        log.start() << "after" << Orvane::endl;
        EXPECT_TRUE(Log(created.c_str(), "a", 0).is_open());
    }
    umask(savedMask);
    EXPECT_EQ(ReadFile(file),
              "old line\nov: cu-3 65535 -2147483648 4294967295 -9000000000 18446744073709551615 "
              "-1 1 2.5 0.25 1e+20 0.333333 (null) std own\nov: second\nrawov: after\n");
    struct stat info {};
    ASSERT_EQ(stat(created.c_str(), &info), 0);
    EXPECT_EQ(info.st_mode & 0777, 0664u);

    Log missing(tmp.path("no/such/dir.log").c_str(), "a", 0);
    EXPECT_FALSE(missing.is_open());
    missing.start() << "dropped" << Orvane::endl;
}

TEST(SysLog, HandsOneWholeMessageToTheSystemLoggerAtErrorPriority)
{
    g_sysLogCalls.clear();
    SysLog::set_sender(capture_syslog);
    {
        SysLog log("ovtest", 1);
        log.start() << "a" << 5 << "b" << Orvane::endl;
        log.start() << "p=";
        log << static_cast<void *>(nullptr) << " " << 1.5 << Orvane::flush;
        std::unique_ptr<Log>(log.dup())->start() << "from copy" << Orvane::endl;
    }
    SysLog::set_sender(nullptr);
    EXPECT_EQ(g_sysLogCalls, (std::vector<std::pair<int, std::string>>{
                                 {LOG_ERR, "a5b"}, {LOG_ERR, "p=(nil) 1.5"}, {LOG_ERR, "from copy"}}));
}
