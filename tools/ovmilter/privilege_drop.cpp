#include "tools/ovmilter/privilege_drop.h"

#include <fcntl.h>
#include <grp.h>
#include <pwd.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstring>

namespace {

std::string system_error(const std::string &what)
{
    return what + ": " + std::strerror(errno);
}

// The buffer size the lookup functions ask for, with a sane fallback.
std::vector<char> lookup_buffer(int name)
{
    long size = sysconf(name);
    return std::vector<char>(size > 0 ? static_cast<size_t>(size) : 16384);
}

std::vector<gid_t> groups_of(const char *user, gid_t gid)
{
    int count = 32;
    std::vector<gid_t> groups;
    do {
        groups.resize(static_cast<size_t>(count));   // a failed call says how many it needs
    } while (getgrouplist(user, gid, groups.data(), &count) < 0);
    groups.resize(static_cast<size_t>(count));
    return groups;
}

bool already_running_as(const RunAs &runAs)
{
    return getuid() == runAs.uid && geteuid() == runAs.uid && getgid() == runAs.gid &&
           getegid() == runAs.gid;
}

// The spool belongs to the user the mails are written as; only the directory
// itself changes owner, never through a symbolic link.
bool hand_over(const std::string &directory, const RunAs &runAs, std::string *error)
{
    int fd = open(directory.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
    if (fd < 0) {
        *error = system_error("cannot open spool " + directory);
        return false;
    }
    bool handed = fchown(fd, runAs.uid, runAs.gid) == 0;
    if (!handed)
        *error = system_error("cannot give spool " + directory + " to " + runAs.user);
    close(fd);
    return handed;
}

// True when root is out of reach: every id is the user's, and so are the
// supplementary groups.
bool dropped_for_good(const RunAs &runAs)
{
    uid_t ruid, euid, suid;
    gid_t rgid, egid, sgid;
    if (getresuid(&ruid, &euid, &suid) != 0 || getresgid(&rgid, &egid, &sgid) != 0)
        return false;
    if (ruid != runAs.uid || euid != runAs.uid || suid != runAs.uid || rgid != runAs.gid ||
        egid != runAs.gid || sgid != runAs.gid)
        return false;
    std::vector<gid_t> now(static_cast<size_t>(NGROUPS_MAX));
    int count = getgroups(static_cast<int>(now.size()), now.data());
    if (count < 0)
        return false;
    now.resize(static_cast<size_t>(count));
    std::vector<gid_t> wanted = runAs.groups;
    std::sort(now.begin(), now.end());
    std::sort(wanted.begin(), wanted.end());
    if (now != wanted)
        return false;
    return runAs.uid == 0 || setuid(0) != 0;
}

} // namespace

bool resolve_run_as(const std::string &user, const std::string &group, RunAs *runAs,
                    std::string *error)
{
    std::vector<char> buffer = lookup_buffer(_SC_GETPW_R_SIZE_MAX);
    passwd entry{};
    passwd *found = nullptr;
    if (getpwnam_r(user.c_str(), &entry, buffer.data(), buffer.size(), &found) != 0 || !found) {
        *error = "User " + user + " does not exist";
        return false;
    }
    RunAs resolved;
    resolved.user = user;
    resolved.uid = found->pw_uid;
    resolved.gid = found->pw_gid;
    if (!group.empty()) {
        std::vector<char> groupBuffer = lookup_buffer(_SC_GETGR_R_SIZE_MAX);
        struct group groupEntry {};
        struct group *groupFound = nullptr;
        if (getgrnam_r(group.c_str(), &groupEntry, groupBuffer.data(), groupBuffer.size(),
                       &groupFound) != 0 ||
            !groupFound) {
            *error = "Group " + group + " does not exist";
            return false;
        }
        resolved.gid = groupFound->gr_gid;
    }
    resolved.groups = groups_of(user.c_str(), resolved.gid);
    *runAs = std::move(resolved);
    return true;
}

bool drop_privileges(const std::string &user, const std::string &group, const std::string &spool,
                     std::string *error)
{
    if (user.empty())
        return true;
    RunAs runAs;
    if (!resolve_run_as(user, group, &runAs, error))
        return false;
    if (geteuid() != 0) {
        if (already_running_as(runAs))
            return true;
        *error = "User " + user + " is set, but ovmilter was started neither as root nor as " +
                 user;
        return false;
    }
    if (!hand_over(spool, runAs, error))
        return false;
    if (setgroups(runAs.groups.size(), runAs.groups.data()) != 0 || setgid(runAs.gid) != 0 ||
        setuid(runAs.uid) != 0) {
        *error = system_error("cannot become " + user);
        return false;
    }
    if (!dropped_for_good(runAs)) {
        *error = "still able to regain root after becoming " + user;
        return false;
    }
    return true;
}
