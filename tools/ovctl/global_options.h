// Global options of ovctl, taken off the front of the command line before the
// command runs. They put the plug-in's process-wide values into the state a
// started plug-in has (host character code, host language).
#pragma once

#include "tools/ovctl/command.h"

// Removes the leading global options from words and applies them. False on a
// bad option (error says why, or is empty for a bare usage error).
bool ovctl_apply_global_options(OvctlArgs &words, std::string *error);

// Sets `_language` and `g_nHostCharset` from a "HostLanguage" value as the plug-in's
// settings reader does (`_kanji` stays 3). False with a reason for a value it
// does not know.
bool ovctl_set_host_language(const std::string &value, std::string *error);
