// Dropping root: each case runs in a forked child (a process cannot take
// root back), which reports its ids, groups, whether root is still in reach
// and whether it can write into the spool. Needs root; skipped otherwise.
#include "tools/ovmilter/privilege_drop.h"

#include <grp.h>
#include <pwd.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <string>

#include <gtest/gtest.h>

#include "support/base_temp_dir.h"

namespace {

// What a child saw after its drop: "ok" or the error up to its first colon,
// then its ids and whether it could write a file into `spool`.
std::string describe_self(bool ok, const std::string &error, const std::string &spool)
{
    gid_t groups[64];
    int count = getgroups(64, groups);
    bool rootGroup = false;
    for (int i = 0; i < count; ++i)
        rootGroup = rootGroup || groups[i] == 0;
    const bool rootBack = geteuid() != 0 && setuid(0) == 0;
    FILE *file = std::fopen((spool + "/AFwritten").c_str(), "w");
    const bool written = file && std::fclose(file) == 0;
    return (ok ? std::string("ok") : "error: " + error.substr(0, error.find(':'))) +
           " uid=" + std::to_string(getuid()) + " euid=" + std::to_string(geteuid()) +
           " gid=" + std::to_string(getgid()) + " rootgroup=" + std::to_string(rootGroup) +
           " rootback=" + std::to_string(rootBack) + " written=" + std::to_string(written);
}

// Runs the drops in a child that starts with root's group among its
// supplementary groups; its report, read through a pipe.
std::string drop_in_child(const char *first, const char *user, const char *group,
                          const std::string &spool)
{
    int fds[2];
    if (pipe(fds) != 0)
        return "pipe failed";
    pid_t child = fork();
    if (child == 0) {
        close(fds[0]);
        const gid_t rootGroup = 0;
        std::string error, report = "setgroups failed";
        if (setgroups(1, &rootGroup) == 0) {
            if (first && !drop_privileges(first, "", spool, &error))
                report = "first drop: " + error;
            else
                report = describe_self(drop_privileges(user, group, spool, &error), error, spool);
        }
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

std::string ids(uid_t uid, gid_t gid, bool rootGroup, bool written = true)
{
    return " uid=" + std::to_string(uid) + " euid=" + std::to_string(uid) +
           " gid=" + std::to_string(gid) + " rootgroup=" + std::to_string(rootGroup) +
           " rootback=0 written=" + std::to_string(written);
}

TEST(PrivilegeDrop, BecomesTheUserForGoodOrStaysAsItWas)
{
    passwd *nobody = getpwnam("nobody");
    group *daemonGroup = getgrnam("daemon");
    if (geteuid() != 0 || !nobody || !daemonGroup)
        GTEST_SKIP() << "needs root, the user nobody and the group daemon";
    const uid_t uid = nobody->pw_uid;
    const gid_t gid = nobody->pw_gid, daemonGid = daemonGroup->gr_gid;
    BaseTempDir dir;
    chmod(dir.dir().c_str(), 0755);
    const struct {
        const char *first; // an earlier drop in the same process, or null
        const char *user, *group;
        std::string spool, expected;
    } rows[] = {
        {nullptr, "nobody", "daemon", dir.dir(), "ok" + ids(uid, daemonGid, false)},
        {nullptr, "", "", dir.dir(), "ok" + ids(0, 0, true)},
        {nullptr, "no-such-user-ov", "", dir.dir(),
         "error: User no-such-user-ov does not exist" + ids(0, 0, true)},
        {nullptr, "nobody", "no-such-group-ov", dir.dir(),
         "error: Group no-such-group-ov does not exist" + ids(0, 0, true)},
        // A missing spool stops the drop before any id changes.
        {nullptr, "nobody", "", dir.path("missing"),
         "error: cannot open spool " + dir.path("missing") + ids(0, 0, true, false)},
        // Already the user is fine, another user is not.
        {"nobody", "nobody", "", dir.dir(), "ok" + ids(uid, gid, false)},
        {"nobody", "daemon", "", dir.dir(),
         "error: User daemon is set, but ovmilter was started neither as root nor as daemon" +
             ids(uid, gid, false)},
        {nullptr, "nobody", "", dir.dir(), "ok" + ids(uid, gid, false)},
    };
    for (const auto &row : rows) {
        EXPECT_EQ(drop_in_child(row.first, row.user, row.group, row.spool), row.expected)
            << row.user << ":" << row.group;
    }
    // The spool belongs to the user afterwards.
    struct stat info {};
    ASSERT_EQ(stat(dir.dir().c_str(), &info), 0);
    EXPECT_EQ(info.st_uid, uid);
    EXPECT_EQ(info.st_gid, gid);
}

} // namespace
