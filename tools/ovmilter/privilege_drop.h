// Dropping root for good. Started as root, ovmilter opens its socket and its
// pid file (which may need root), then becomes the User (and Group) of its
// settings before it touches the spool or starts the plug-in, so that every
// file it writes from then on belongs to that user:
//
//   std::string error;
//   if (!drop_privileges(config.user, config.group, config.spool, &error)) ...
//
// The spool directory is handed to the user first. Supplementary groups become
// the user's own (root's are gone), and real, effective and saved ids all
// change, so root cannot be taken back. Started as another user, nothing
// changes: that is fine when it already is the User (as under the systemd
// unit) and an error otherwise. An empty User keeps the starting user.
#pragma once

#include <sys/types.h>

#include <string>
#include <vector>

struct RunAs {
    std::string user;
    uid_t uid = 0;
    gid_t gid = 0;
    std::vector<gid_t> groups;   // supplementary: the user's groups and gid
};

// Looks the names up; an empty group means the user's primary group. False
// with a reason when either is unknown.
bool resolve_run_as(const std::string &user, const std::string &group, RunAs *runAs,
                    std::string *error);

// See above; false with a reason, leaving the process as it was or, when a
// step after the first failed, such that the caller must exit.
bool drop_privileges(const std::string &user, const std::string &group, const std::string &spool,
                     std::string *error);
