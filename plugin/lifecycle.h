// Start, reload and stop of the plug-in: the internal steps behind
// ZWEmailPluginInitialize, ZWEmailPluginUpdate and ZWEmailPluginCleanup.
//
// The directory layout under a root:
//   <root>/Plug-Ins/OV/                 program directory (event and debug logs)
//   <root>/Plug-Ins/OV/contscan.ini     settings
//   <root>/Plug-Ins/OV/CsConfig.dat     keyword policies
//   <root>/Plug-Ins/OV/spamrule/spamrule.txt, SFRule.txt   rule files
//   <root>/Plug-Ins/OV/tempdir          temporary files (unless "TempDir")
#pragma once

// Reloads the settings, the keyword policies and the rules; C++ linkage, as
// hosts look it up under its decorated name. Also reached through
// ZWEmailPluginCommand("update").
int ZWEmailPluginUpdate();

// Builds every path global from the root: 0; -1 for a null or empty root
// (after trailing newlines, CRs, blanks and slashes are cut); -2 when one of
// the four configuration files is missing.
int SetFullPath(const char *root);
// contscan.ini, CsConfig.dat, spamrule.txt and SFRule.txt all exist.
bool ConfigFilesExist();

// Make and destroy the shared locks, the thread counter and the log sink.
// The objects live in static storage, so a thread that is still waiting on
// one when Cleanup runs never touches freed memory; the pointers are null
// outside Initialize..Cleanup.
void GlobalObject_Initialize();
void GlobalObject_CleanUp();

// Opens the debug log "OVUX" with flags 11 on path: 0; -1 for no path; -2 when
// it cannot be opened (ovux_log then stays at the sink).
int InitialDebugLog(const char *path);
void CleanupDebugLog();
