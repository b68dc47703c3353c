// Reloading the plug-in's settings on SIGHUP. The plug-in holds new mail
// while it reloads, and a reload that fails on an unreadable contscan.ini or
// on keyword policies that do not load keeps holding it. So ovmilter first
// checks those two on the files as they are now and refuses the reload, with
// the reason in the log, when either would fail; mail keeps flowing on the
// old settings until the administrator mends the files and signals again.
// The temporary, quarantine and archive directories that the new settings
// name must be usable too (see work_directories.h): without them mail would
// be held or passed unfiltered.
//
//   std::string error;
//   int code = reload_settings(host, config.root, &error);   // 0, or why not
#pragma once

#include <string>

#include "tools/hostkit/plugin_host.h"

// False with the reasons when a directory the plug-in writes into cannot be
// created or written. Checked at start and before every reload.
bool work_directories_usable(const std::string &root, std::string *error);

// False with a reason when a reload would fail and hold mail.
bool reload_would_succeed(const PluginHost &host, const std::string &root, std::string *error);

// Checks, then runs the plug-in's "update" command: its result, or 1 when the
// check refused (the reason in *error).
int reload_settings(const PluginHost &host, const std::string &root, std::string *error);
