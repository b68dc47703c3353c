// The plug-in's process-wide objects, exported under these names so that a
// host can reach them. GlobalObject_Initialize makes the shared locks and the
// thread counter; ZWEmailPluginInitialize fills the rest; Cleanup tears them
// down again (see lifecycle.cpp).
//
// Also global, but owned elsewhere: ovux_log / ovux_sink (base/log.h), the
// event-log lock logFile_rwObj, the program directory and Enque_Mail
// (notify/notify_globals.h), the temporary directory (mail/temp_dir.h),
// _kanji / _language / g_nHostCharset (mail/charset.h).
#pragma once

#include "base/config_file.h"
#include "base/ov_string.h"
#include "base/sync.h"
#include "base/thread_count.h"
#include "ov/contscan.h"

class CRuleScan;

extern bool bInit;                   // between a successful start and Cleanup
extern ConfigFile *ovConfig;         // contscan.ini; replaced whole on update
extern POLICYSET *m_pPolicySet;      // keyword policies; replaced whole on update
extern CRuleScan *m_pRuleScanObj;    // rule filter; reloaded in place on update
extern ReadersWriters *m_rwObj;      // guards ovConfig and m_pPolicySet
extern THREAD_COUNT *ThreadsNum;     // threads inside ZWEmailPluginProcess
extern bool bDebugLog;               // the debug log file is open

// Paths derived from the root by SetFullPath.
extern t_string g_t_strCSINIFILE;
extern t_string g_t_strCSCONFIGFILE;
extern t_string g_t_strSPAMRULEDIR;
extern t_string g_t_strSPAMRULEFILE;
extern t_string g_t_strSFILTERRULEFILE;
extern t_string g_t_strDEBUGLOG;
