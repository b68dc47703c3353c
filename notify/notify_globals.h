// Process-wide state that the event log and the notification mail read.
//
// These globals belong to the plug-in's start-up code, which fills them in
// ZWEmailPluginInitialize and at every ZWEmailPluginProcess call:
//   g_t_strProgramDirectory  the plug-in's directory, ending in "/"; the daily
//                            event log files are written there
//   Enque_Mail               the host's mail queue function; null until a host
//                            call record provided one (no notification is sent)
//   logFile_rwObj            writer lock around every append to the event log
//
// They are defined in notify_globals.cpp for now so that the event log and the
// notification code link on their own (tests, ovctl). The temporary directory
// g_t_strTEMPDIR, where notification mails are written, comes from
// mail/temp_dir.h.
#pragma once

#include "base/ov_string.h"
#include "base/sync.h"
#include "ov/host.h"

extern t_string g_t_strProgramDirectory;
extern ZWEnqueMailFn Enque_Mail;
extern ReadersWriters *logFile_rwObj;
