// Retention of the daily event logs: which names count as event logs, and
// that pruning deletes only event logs whose day and last change are both
// old, on files given old modification times.
#include "tools/ovctl/log_retention.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <ctime>

#include "tools/ovctl_cases.h"

namespace
{

const long kHour = 3600;
const long kDay = 24 * kHour;

// Noon of 2026-11-25, local time.
std::time_t noon()
{
    std::tm local{};
    local.tm_year = 2026 - 1900;
    local.tm_mon = 10;
    local.tm_mday = 25;
    local.tm_hour = 12;
    local.tm_isdst = -1;
    return std::mktime(&local);
}

void set_mtime(const std::string &path, std::time_t when)
{
    timespec times[2] = {{when, 0}, {when, 0}};
    ASSERT_EQ(utimensat(AT_FDCWD, path.c_str(), times, AT_SYMLINK_NOFOLLOW), 0) << path;
}

TEST(LogRetention, OnlyExactEventLogNamesWithRealDatesCount)
{
    struct Row {
        const char *name;
        long day; // days since 1970-01-01; -1: not an event log
    } rows[] = {{"pwall.log.1970.01.01", 0},     {"pwall.log.2026.11.25", 20782},
                {"pwall.log.2024.02.29", 19782}, {"pwall.log.2000.02.29", 11016},
                {"pwall.log.2026.02.29", -1},    {"pwall.log.1900.02.29", -1},
                {"pwall.log.2026.04.31", -1},    {"pwall.log.2026.13.01", -1},
                {"pwall.log.2026.00.10", -1},    {"pwall.log.2026.11.00", -1},
                {"pwall.log.2026.11.5", -1},     {"pwall.log.2026.11.250", -1},
                {"pwall.log.2026.11.25.gz", -1}, {"pwall.log.2026-11-25", -1},
                {"pwall.log.20a6.11.25", -1},    {"pwall.log.+026.11.25", -1},
                {"pwall.log.0999.11.25", -1},    {"xpwall.log.2026.11.25", -1},
                {"Debug-4242.log", -1},          {"", -1}};
    for (const Row &row : rows) {
        long day = -1;
        EXPECT_EQ(event_log_day(row.name, &day) ? day : -1, row.day) << row.name;
    }
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
        {"pwall.log.2026.11.24", kDay, false},
        {"pwall.log.2026.10.26", 30 * kDay, false}, // the oldest day kept
        {"pwall.log.2026.10.25", 31 * kDay - 12 * kHour, true},
        {"pwall.log.2026.10.24", 30 * kDay + 1, true},  // changed just over 30 days ago
        {"pwall.log.2026.10.23", 30 * kDay - 1, false}, // changed within the 30 days
        {"pwall.log.2019.01.01", 2 * kHour, false},     // old name, still written to
        {"pwall.log.2027.01.01", 400 * kDay, false},    // a day still to come
        {"pwall.log.2020.02.29", 2000 * kDay, true},
        {"pwall.log.2020.02.30", 2000 * kDay, false}, // no such day
        {"pwall.log.2020.01.01.bak", 2000 * kDay, false},
        {"Debug-4242.log", 2000 * kDay, false},
        {"contscan.ini", 2000 * kDay, false},
    };
    BaseTempDir dir;
    for (const Row &row : rows) {
        dir.write(row.name, "line\n");
        set_mtime(dir.path(row.name), now - row.age);
    }
    // Neither a directory nor a link named like an old log is touched, nor
    // what the link points to.
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

TEST(LogRetention, KeepOneDayLeavesTodayAndYesterdayAndAMissingDirectoryIsAnError)
{
    const std::time_t now = noon();
    BaseTempDir dir;
    for (const char *name :
         {"pwall.log.2026.11.25", "pwall.log.2026.11.24", "pwall.log.2026.11.23"}) {
        dir.write(name, "line\n");
        set_mtime(dir.path(name), now - 2 * kDay);
    }
    EXPECT_EQ(prune_event_logs(dir.dir() + "/", 1, now).removed,
              std::vector<std::string>{"pwall.log.2026.11.23"});
    LogPruneResult result = prune_event_logs(dir.path("missing"), 30, now);
    ASSERT_EQ(result.errors.size(), 1u);
    EXPECT_NE(result.errors[0].find("cannot read"), std::string::npos) << result.errors[0];
}

TEST(LogRetention, OvctlLogsPrune)
{
    BaseTempDir root;
    const std::string program = root.path("Plug-Ins/OV/");
    ASSERT_EQ(system(("mkdir -p " + ovctl_shell_quote(program)).c_str()), 0);
    root.write("Plug-Ins/OV/pwall.log.2001.01.01", "old\n");
    set_mtime(program + "pwall.log.2001.01.01", std::time(nullptr) - 400 * kDay);
    root.write("Plug-Ins/OV/pwall.log.2099.01.01", "new\n");
    const std::string range = "--keep-days takes a number of days from 1 to 36500";
    expect_ovctl_cases({
        {{"logs"}, 2, "usage: ovctl logs prune --root ROOT --keep-days N"},
        {{"logs", "prune", "--root", root.dir()}, 2, "usage:"},
        {{"logs", "prune", "--root", root.dir(), "--keep-days", "0"}, 2, range},
        {{"logs", "prune", "--root", root.dir(), "--keep-days", "7x"}, 2, range},
        {{"logs", "prune", "--keep-days", "7", "--root", root.path("none")},
         1,
         "ovctl: cannot read"},
        {{"logs", "prune", "--root", root.dir(), "--keep-days", "7"},
         0,
         "removed " + program + "pwall.log.2001.01.01\n"},
        {{"logs", "prune", "--keep-days", "7", "--root", root.dir()}, 0, ""},
    });
    EXPECT_TRUE(FileExists(program + "pwall.log.2099.01.01"));
}

} // namespace
