// Pruning deletes only event logs (exact names, real dates) whose day and
// last change are both old.
#include "tools/ovctl/log_retention.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <ctime>

#include <gtest/gtest.h>

#include "support/base_temp_dir.h"

namespace
{

const long kHour = 3600, kDay = 24 * kHour;

std::time_t noon() // of 2026-11-25, local time
{
    std::tm local{};
    local.tm_year = 2026 - 1900, local.tm_mon = 10, local.tm_mday = 25, local.tm_hour = 12;
    local.tm_isdst = -1;
    return std::mktime(&local);
}

void set_mtime(const std::string &path, std::time_t when)
{
    timespec times[2] = {{when, 0}, {when, 0}};
    ASSERT_EQ(utimensat(AT_FDCWD, path.c_str(), times, AT_SYMLINK_NOFOLLOW), 0) << path;
}

TEST(LogRetention, DeletesOnlyEventLogsWhoseDayAndLastChangeAreOld)
{
    const std::time_t now = noon();
    struct Row {
        const char *name;
        long age; // seconds since the last change
        bool removed;
    } rows[] = {
        {"pwall.log.2026.11.25", 0, false},
        {"pwall.log.2026.10.26", 30 * kDay, false}, // the oldest day kept
        {"pwall.log.2026.10.25", 31 * kDay - 12 * kHour, true},
        {"pwall.log.2026.10.24", 30 * kDay + 1, true},  // changed just over 30 days ago
        {"pwall.log.2026.10.23", 30 * kDay - 1, false}, // changed within the 30 days
        {"pwall.log.2019.01.01", 2 * kHour, false},     // old name, still written to
        {"pwall.log.2027.01.01", 400 * kDay, false},    // a day still to come
        {"pwall.log.2020.02.29", 2000 * kDay, true},
        {"pwall.log.2020.02.30", 2000 * kDay, false}, // no such day
        {"xpwall.log.2019.01.01", 2000 * kDay, false},
        {"pwall.log.2020.01.01.bak", 2000 * kDay, false},
    };
    BaseTempDir dir;
    for (const Row &row : rows) {
        dir.write(row.name, "line\n");
        set_mtime(dir.path(row.name), now - row.age);
    }
    // Neither a directory nor a link named like an old log is touched.
    ASSERT_EQ(mkdir(dir.path("pwall.log.2018.01.01").c_str(), 0755), 0);
    BaseTempDir elsewhere;
    std::string target = elsewhere.write("kept", "x");
    set_mtime(target, now - 2000 * kDay);
    ASSERT_EQ(symlink(target.c_str(), dir.path("pwall.log.2018.01.02").c_str()), 0);
    set_mtime(dir.path("pwall.log.2018.01.02"), now - 2000 * kDay);

    LogPruneResult result = prune_event_logs(dir.dir(), 30, now);

    EXPECT_TRUE(result.errors.empty());
    std::vector<std::string> expected;
    for (const Row &row : rows) {
        if (row.removed)
            expected.push_back(row.name);
        EXPECT_EQ(access(dir.path(row.name).c_str(), F_OK) != 0, row.removed) << row.name;
    }
    std::sort(expected.begin(), expected.end());
    EXPECT_EQ(result.removed, expected);
    struct stat info;
    EXPECT_EQ(stat(dir.path("pwall.log.2018.01.01").c_str(), &info), 0);
    EXPECT_EQ(lstat(dir.path("pwall.log.2018.01.02").c_str(), &info), 0);
    EXPECT_EQ(access(target.c_str(), F_OK), 0);
}

} // namespace
