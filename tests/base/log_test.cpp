// The log classes: insertions and the file target (the system log and whole
// lines from many threads are in the concurrency test).
#include <gtest/gtest.h>

#include <sys/stat.h>

#include <string>

#include "base/log.h"
#include "support/base_temp_dir.h"

namespace {

void not_a_terminator() {}

} // namespace

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
