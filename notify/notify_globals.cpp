// Definitions of the process-wide state declared in notify_globals.h. The
// defaults are what the plug-in uses before its settings are read: the
// program directory "/tmp/", no host queue and no event-log lock yet
// (WriteLogFile then serialises on a lock of its own).
#include "notify/notify_globals.h"

t_string g_t_strProgramDirectory = "/tmp/";
ZWEnqueMailFn Enque_Mail = nullptr;
ReadersWriters *logFile_rwObj = nullptr;
