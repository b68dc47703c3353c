// Dropping root: each case runs in a forked child (a process cannot take
// root back), which reports its ids, groups and whether root is still in
// reach. Needs root; skipped otherwise.
#include "tools/ovmilter/privilege_drop.h"

#include <grp.h>
#include <pwd.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <functional>
#include <string>

#include <gtest/gtest.h>

#include "support/base_temp_dir.h"

namespace {

// What the child saw after its steps: "ok" or the error, then its ids.
std::string describe_self(bool ok, const std::string &error)
{
    gid_t groups[64];
    int count = getgroups(64, groups);
    bool rootGroup = false;
    for (int i = 0; i < count; ++i)
        rootGroup = rootGroup || groups[i] == 0;
    bool rootBack = geteuid() != 0 && setuid(0) == 0;
    return (ok ? std::string("ok") : "error: " + error) + " uid=" + std::to_string(getuid()) +
           " euid=" + std::to_string(geteuid()) + " gid=" + std::to_string(getgid()) +
           " rootgroup=" + std::to_string(rootGroup) + " rootback=" + std::to_string(rootBack);
}

// Runs steps in a child that starts with root's group among its
// supplementary groups; its report, read through a pipe.
std::string in_child(const std::function<std::string()> &steps)
{
    int fds[2];
    if (pipe(fds) != 0)
        return "pipe failed";
    pid_t child = fork();
    if (child == 0) {
        close(fds[0]);
        const gid_t rootGroup = 0;
        std::string report = setgroups(1, &rootGroup) == 0 ? steps() : "setgroups failed";
        ssize_t written = write(fds[1], report.data(), report.size());
        _exit(written == static_cast<ssize_t>(report.size()) ? 0 : 1);
    }
    close(fds[1]);
    std::string report;
    char buffer[256];
    ssize_t got;
    while ((got = read(fds[0], buffer, sizeof buffer)) > 0)
        report.append(buffer, static_cast<size_t>(got));
    close(fds[0]);
    int status = 0;
    waitpid(child, &status, 0);
    return report;
}

std::string ids(uid_t uid, gid_t gid, bool rootGroup)
{
    return " uid=" + std::to_string(uid) + " euid=" + std::to_string(uid) +
           " gid=" + std::to_string(gid) + " rootgroup=" + std::to_string(rootGroup) +
           " rootback=0";
}

class PrivilegeDrop : public ::testing::Test {
protected:
    void SetUp() override
    {
        if (geteuid() != 0)
            GTEST_SKIP() << "needs root";
        passwd *nobody = getpwnam("nobody");
        group *daemonGroup = getgrnam("daemon");
        if (!nobody || !daemonGroup)
            GTEST_SKIP() << "needs the users nobody and the group daemon";
        m_uid = nobody->pw_uid;
        m_gid = nobody->pw_gid;
        m_daemonGid = daemonGroup->gr_gid;
        chmod(m_dir.dir().c_str(), 0755);
    }
    BaseTempDir m_dir;
    uid_t m_uid = 0;
    gid_t m_gid = 0;
    gid_t m_daemonGid = 0;
};

TEST_F(PrivilegeDrop, BecomesTheUserForGoodOrStaysAsItWas)
{
    struct Row {
        const char *user;
        const char *group;
        std::string expected;
    } rows[] = {
        {"nobody", "", "ok" + ids(m_uid, m_gid, false)},
        {"nobody", "daemon", "ok" + ids(m_uid, m_daemonGid, false)},
        {"", "", "ok" + ids(0, 0, true)},
        {"no-such-user-ov", "", "error: User no-such-user-ov does not exist" + ids(0, 0, true)},
        {"nobody", "no-such-group-ov", "error: Group no-such-group-ov does not exist" +
                                           ids(0, 0, true)},
    };
    for (const Row &row : rows) {
        std::string report = in_child([&] {
            std::string error;
            bool ok = drop_privileges(row.user, row.group, m_dir.dir(), &error);
            return describe_self(ok, error);
        });
        EXPECT_EQ(report, row.expected) << row.user << ":" << row.group;
    }
}

TEST_F(PrivilegeDrop, TheSpoolBelongsToTheUserAfterwards)
{
    std::string report = in_child([&] {
        std::string error;
        if (!drop_privileges("nobody", "", m_dir.dir(), &error))
            return error;
        FILE *file = std::fopen(m_dir.path("AFwritten").c_str(), "w");
        return std::string(file && std::fclose(file) == 0 ? "written" : "not written");
    });
    EXPECT_EQ(report, "written");
    struct stat info {};
    ASSERT_EQ(stat(m_dir.dir().c_str(), &info), 0);
    EXPECT_EQ(info.st_uid, m_uid);
    EXPECT_EQ(info.st_gid, m_gid);
}

TEST_F(PrivilegeDrop, AlreadyTheUserIsFineAnotherUserIsNot)
{
    struct Row {
        const char *second;
        const char *expected;
    } rows[] = {
        {"nobody", "ok"},
        {"daemon", "error: User daemon is set, but ovmilter was started neither as root nor "
                   "as daemon"},
    };
    for (const Row &row : rows) {
        std::string report = in_child([&] {
            std::string error;
            if (!drop_privileges("nobody", "", m_dir.dir(), &error))
                return "first drop: " + error;
            bool ok = drop_privileges(row.second, "", m_dir.dir(), &error);
            return describe_self(ok, error);
        });
        EXPECT_EQ(report, row.expected + ids(m_uid, m_gid, false)) << row.second;
    }
}

TEST_F(PrivilegeDrop, AMissingSpoolStopsBeforeAnyIdChanges)
{
    std::string report = in_child([&] {
        std::string error;
        bool ok = drop_privileges("nobody", "", m_dir.path("missing"), &error);
        return describe_self(ok, error.substr(0, error.find(':')));
    });
    EXPECT_EQ(report, "error: cannot open spool " + m_dir.path("missing") + ids(0, 0, true));
}

} // namespace
