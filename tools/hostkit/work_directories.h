// The directories the plug-in writes into while it judges mail: its
// temporary directory and the roots of its quarantine and archive trees, as
// the plug-in derives them from contscan.ini under an installation root, and
// a check that each can be created and written, made with a real file (so a
// full disk, a read-only mount or a plain file in the way all show).
//
//   for (const std::string &problem : unusable_work_directories(root))
//       ...   // "temporary directory /x (TempDir): cannot write a file: ..."
//
// Hosts refuse to start or reload on any problem; ovctl lint reports them.
// The check creates missing directories, as the plug-in would.
#pragma once

#include <string>
#include <vector>

struct WorkDirectory {
    std::string role;      // "temporary directory", "quarantine directory", ...
    std::string setting;   // its key in [Advanced Options] of contscan.ini
    std::string path;
};

// The three directories, read from contscan.ini as the plug-in reads them.
std::vector<WorkDirectory> plugin_work_directories(const std::string &root);

// Creates the directory and its parents when missing, then writes, syncs and
// removes a small file in it; false with the reason.
bool work_directory_usable(const std::string &path, std::string *error);

// One message per directory that cannot be created or written.
std::vector<std::string> unusable_work_directories(const std::string &root);
