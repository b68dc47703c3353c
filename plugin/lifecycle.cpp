// The exported life-cycle entry points and their internal steps.
#include "plugin/lifecycle.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cstring>
#include <memory>
#include <string>

#include "base/file_util.h"
#include "base/log.h"
#include "base/profile.h"
#include "mail/charset.h"
#include "notify/build_info.h"
#include "notify/event_log.h"
#include "mail/temp_dir.h"
#include "notify/notify_globals.h"
#include "ov/contscan.h"
#include "ov/host.h"
#include "plugin/globals.h"
#include "plugin/settings.h"
#include "plugin/text_file_pool.h"
#include "rules/rule_scan.h"
#include "sfilter/filter_config.h"

bool bInit = false;
ConfigFile *ovConfig = nullptr;
POLICYSET *m_pPolicySet = nullptr;
CRuleScan *m_pRuleScanObj = nullptr;
ReadersWriters *m_rwObj = nullptr;
THREAD_COUNT *ThreadsNum = nullptr;
bool bDebugLog = false;

t_string g_t_strCSINIFILE;
t_string g_t_strCSCONFIGFILE;
t_string g_t_strSPAMRULEDIR;
t_string g_t_strSPAMRULEFILE;
t_string g_t_strSFILTERRULEFILE;
t_string g_t_strDEBUGLOG;

namespace {

const char kHostVersion[] = "3.8_Linux_1036";
const char kDescription[] = "This plug-in does Content Management.";
const char kDescriptionFile[] = "/etc/pwall_plugins/ov.dsc";
constexpr int kLifecycleEvent = 368;
constexpr int kRootSize = 512;

struct SharedObjects {
    ReadersWriters config{0};
    ReadersWriters eventLog{0};
    THREAD_COUNT threads;
    NullLog sink;
};

SharedObjects &shared_objects()
{
    static SharedObjects objects;
    return objects;
}

void event(const char *text)
{
    WriteLogFile(text, nullptr, kLifecycleEvent, 0);
}

void debug(const char *text)
{
    ovux_log->start() << text << Orvane::endl;
}

bool file_exists(const t_string &path)
{
    struct stat info;
    return stat(path.c_str(), &info) == 0;
}

// Sets the host language globals from "HostLanguage".
void set_host_language()
{
    char language[kRootSize] = "";
    int length = GetPrivateProfileString("Content Filter", "HostLanguage", "C", language,
                                         kRootSize, g_t_strCSINIFILE.c_str());
    if (length > 0 && std::strncmp(language, "ja", 2) == 0) {
        _language = 1;
        g_nHostCharset = (std::strcmp(language, "ja_JP.sjis") == 0 ||
                          std::strcmp(language, "ja_JP.SJIS") == 0) ? 2 : 3;
    } else if (std::strncmp(language, "zh_TW", 5) == 0) {
        _language = 3;
        g_nHostCharset = 3;
    } else if (std::strncmp(language, "zh", 2) == 0) {
        _language = 2;
        g_nHostCharset = 3;
    } else {
        _language = 0;
        g_nHostCharset = 0;
    }
}

// A non-empty "TempDir" replaces the temporary directory; it is created
// either way (an existing one is fine).
void set_temp_directory()
{
    char temp[kRootSize] = "";
    GetPrivateProfileString("Advanced Options", "TempDir", "", temp, kRootSize,
                            g_t_strCSINIFILE.c_str());
    if (temp[0] != '\0')
        g_t_strTEMPDIR = temp;
    CreateDirectory(g_t_strTEMPDIR.c_str(), nullptr);
}

std::string profile_text(const char *section, const char *key, int size)
{
    std::unique_ptr<char[]> buffer(new char[static_cast<size_t>(size)]());
    GetPrivateProfileString(section, key, "", buffer.get(), size, ovConfig);
    return buffer.get();
}

void load_special_filter(const char *caller)
{
    profile_text("Specialized Filtering", "Filename", 522);   // read, not used
    std::string mimeTypes = profile_text("Specialized Filtering", "MIMEType", 522);
    ovux_log->start() << caller << ": m_pRuleScanObj->LoadSFilterSetting enter...." << Orvane::endl;
    std::string sfRuleFile = g_t_strSFILTERRULEFILE;
    m_pRuleScanObj->LoadSFilterSetting(&sfRuleFile[0], &mimeTypes[0]);
    ovux_log->start() << caller << ": m_pRuleScanObj->LoadSFilterSetting leave OK!" << Orvane::endl;
}

void fail_root_path(const char *root, const char *described, ZWHostInfo *info)
{
    g_t_strProgramDirectory = "/tmp/";
    t_string text;
    text.format("%s \r\nroot_path: (%s) and (%s) error!", kDescription, root ? root : "",
                described);
    if (info) {
        strcpy_truncate(info->version, kHostVersion, sizeof info->version);
        strcpy_truncate(info->description, text.c_str(), sizeof info->description);
    }
    t_string started;
    started.format("PLUG-IN STARTED ERROR, Version: %s $Date: %s", OV_CM_VERSION, OV_CM_BUILD_DATE);
    event(started.c_str());
    t_string rootError;
    rootError.format("root_path: (%s) and (%s) error!", root ? root : "", described);
    event(rootError.c_str());
}

} // namespace

int SetFullPath(const char *root)
{
    if (!root)
        return -1;
    char buffer[kRootSize];
    strcpy_truncate(buffer, root, sizeof buffer);
    size_t length = std::strlen(buffer);
    while (length > 0 && std::strchr("\n\r /", buffer[length - 1]))
        buffer[--length] = '\0';
    if (length == 0)
        return -1;
    g_t_strProgramDirectory.format("%s%s", buffer, "/Plug-Ins/OV/");
    g_t_strCSINIFILE.format("%s%s", g_t_strProgramDirectory.c_str(), "contscan.ini");
    g_t_strCSCONFIGFILE.format("%s%s", g_t_strProgramDirectory.c_str(), "CsConfig.dat");
    g_t_strSPAMRULEDIR.format("%s%s", g_t_strProgramDirectory.c_str(), "spamrule/");
    g_t_strSPAMRULEFILE.format("%s%s", g_t_strSPAMRULEDIR.c_str(), "spamrule.txt");
    g_t_strSFILTERRULEFILE.format("%s%s", g_t_strSPAMRULEDIR.c_str(), "SFRule.txt");
    g_t_strTEMPDIR.format("%s%s", g_t_strProgramDirectory.c_str(), "tempdir");
    g_t_strDEBUGLOG.format("%sDebug-%d.log", g_t_strProgramDirectory.c_str(),
                           static_cast<int>(getpid()));
    return ConfigFilesExist() ? 0 : -2;
}

bool ConfigFilesExist()
{
    return file_exists(g_t_strCSINIFILE) && file_exists(g_t_strCSCONFIGFILE) &&
           file_exists(g_t_strSPAMRULEFILE) && file_exists(g_t_strSFILTERRULEFILE);
}

// The shared objects live in static storage and are only unhooked by
// GlobalObject_CleanUp, so a mail thread that read ThreadsNum just before
// Cleanup still finds a working counter. ThreadsNum is stored and read with
// release/acquire order: a mail thread that sees it null (or that enters
// through it) also sees everything the start or the stop did before.
void GlobalObject_Initialize()
{
    CleanupDebugLog();   // a debug log left open by a failed start
    SharedObjects &objects = shared_objects();
    ovux_sink = &objects.sink;
    ovux_log = ovux_sink;
    m_rwObj = &objects.config;
    logFile_rwObj = &objects.eventLog;
    __atomic_store_n(&ThreadsNum, &objects.threads, __ATOMIC_RELEASE);
}

void GlobalObject_CleanUp()
{
    m_rwObj = nullptr;
    logFile_rwObj = nullptr;
    if (ovux_log == ovux_sink)
        ovux_log = ovux_default_log();
    ovux_sink = nullptr;
    __atomic_store_n(&ThreadsNum, static_cast<THREAD_COUNT *>(nullptr), __ATOMIC_RELEASE);
}

int InitialDebugLog(const char *path)
{
    CleanupDebugLog();
    if (!path || !*path)
        return -1;
    auto *log = new Log(path, "OVUX", 11);
    if (!log->is_open()) {
        delete log;
        return -2;
    }
    ovux_log = log;
    return 0;
}

void CleanupDebugLog()
{
    Log *sink = ovux_sink ? static_cast<Log *>(ovux_sink) : ovux_default_log();
    if (ovux_log != sink && ovux_log != ovux_default_log()) {
        Log *log = ovux_log;
        ovux_log = sink;
        delete log;
    }
    bDebugLog = false;
}

extern "C" int ZWEmailPluginInitialize(const char *root, ZWHostInfo *info)
{
    if (bInit)
        return 0;
    GlobalObject_Initialize();
    _kanji = 3;
    if (info) {
        info->version[0] = '\0';
        info->description[0] = '\0';
        info->config_program[0] = '\0';
        info->config_url[0] = '\0';
        info->interface_version[0] = '\0';
    }
    g_t_strProgramDirectory = "/tmp/";

    if (SetFullPath(root) != 0) {
        char described[kRootSize] = "";
        GetPrivateProfileString("plug-in", "root_path", "", described, kRootSize, kDescriptionFile);
        if (SetFullPath(described) != 0) {
            fail_root_path(root, described, info);
            return -8;
        }
    }

    set_temp_directory();
    set_host_language();

    char debugSwitch[kRootSize] = "";
    GetPrivateProfileString("Content Filter", "DebugLog", "no", debugSwitch, kRootSize,
                            g_t_strCSINIFILE.c_str());
    if (std::strstr(debugSwitch, "yes")) {
        if (InitialDebugLog(g_t_strDEBUGLOG.c_str()) == 0) {
            bDebugLog = true;
        } else {
            t_string text;
            text.format("InitialDebugLog(%s) fail!", g_t_strDEBUGLOG.c_str());
            event(text.c_str());
        }
    }

    debug("ZWEmailPluginInitialize: Starting.....");
    ovux_log->start() << "ProgramDirectory=" << g_t_strProgramDirectory << Orvane::endl;
    ovux_log->start() << "contscan.ini=" << g_t_strCSINIFILE << Orvane::endl;
    ovux_log->start() << "CsConfig.dat=" << g_t_strCSCONFIGFILE << Orvane::endl;
    ovux_log->start() << "spamrule_dir=" << g_t_strSPAMRULEDIR << Orvane::endl;
    ovux_log->start() << "spamrule.txt=" << g_t_strSPAMRULEFILE << Orvane::endl;
    ovux_log->start() << "Zelto$RF=" << "Zelto$RF" << Orvane::endl;
    ovux_log->start() << "temp_dir=" << g_t_strTEMPDIR << Orvane::endl;
    ovux_log->start() << "Debug.log=" << g_t_strDEBUGLOG << Orvane::endl;

    delete ovConfig;
    ovConfig = new ConfigFile(g_t_strCSINIFILE.c_str(), 0);
    // The rule and special filters read their settings (the vendor action,
    // "DECODETNEF", "SkipSpecialChars"...) through this pointer, so they
    // follow every update's new object.
    SetFilterConfigSource(&ovConfig);
    if (!ovConfig->ok()) {
        debug("ZWEmailPluginInitialize: Reading Config Error!");
        return -10;
    }
    debug("ZWEmailPluginInitialize: Reading Config OK!");
    if (info) {
        info->interface_flags = 16;
        GetPrivateProfileString("Content Filter", "ConfigEXE", "", info->config_program,
                                sizeof info->config_program, ovConfig);
        GetPrivateProfileString("Content Filter", "ConfigURL", "", info->config_url,
                                sizeof info->config_url, ovConfig);
        strcpy_truncate(info->interface_version, "1.0", sizeof info->interface_version);
        strcpy_truncate(info->version, kHostVersion, sizeof info->version);
        strcpy_truncate(info->description, kDescription, sizeof info->description);
    }

    {
        WriteLock lock(*m_rwObj);
        if (m_pPolicySet)
            ZWContScanCleanUp(m_pPolicySet);
        m_pPolicySet = ZWContScanInit(g_t_strCSCONFIGFILE.c_str(), g_t_strCSINIFILE.c_str());
        if (!m_pPolicySet) {
            debug("ZWEmailPluginInitialize: ZWContScanInit() failed!");
            debug("ZWEmailPluginInitialize: fail!!");
            return -7;
        }
        debug("ZWEmailPluginInitialize: ZWContScanInit() OK!");
    }

    delete m_pRuleScanObj;
    m_pRuleScanObj = new CRuleScan;
    std::string ruleFile = g_t_strSPAMRULEFILE;
    bool started = m_pRuleScanObj->Initialize(&ruleFile[0]);
    if (!started) {
        ovux_log->start() << "ZWEmailPluginInitialize: m_pRuleScanObj->Initialize failed!:"
                          << static_cast<int>(started) << Orvane::endl;
        debug("ZWEmailPluginInitialize: fail!!");
        return -6;
    }
    debug("ZWEmailPluginInitialize: m_pRuleScanObj->Initialize OK!");
    LoadAntiSpamVendorRuleFile(m_pRuleScanObj, "ZWEmailPluginInitialize", ovConfig);
    load_special_filter("ZWEmailPluginInitialize");
    LoadPluginSettings();

    t_string text;
    text.format("PLUG-IN STARTED BY %s, Version: %s $Date: %s", g_t_strProgramDirectory.c_str(),
                OV_CM_VERSION, OV_CM_BUILD_DATE);
    event(text.c_str());
    debug("ZWEmailPluginInitialize: OK!!");
    __atomic_store_n(&bInit, true, __ATOMIC_RELEASE);
    return 0;
}

int ZWEmailPluginUpdate()
{
    if (!bInit) {
        debug("ZWEmailPluginUpdate: Not Initialize yet!!");
        debug("ZWEmailPluginUpdate: fail!!");
        return -9;
    }
    debug("ZWEmailPluginUpdate: Starting.....");
    ThreadsNum->WaitForZero_Start();

    // On the failures of the next two steps the wait-for-zero is not ended,
    // as the gateway has always had it: new mail, later updates and Cleanup
    // then wait for good, and only a restart of the host process lets mail
    // through again. The host must not call Cleanup after -10 or -7.
    auto config = std::make_unique<ConfigFile>(g_t_strCSINIFILE.c_str(), 0);
    if (!config->ok()) {
        debug("ZWEmailPluginUpdate: Reading Config Error!");
        debug("ZWEmailPluginUpdate: fail!!");
        return -10;
    }
    debug("ZWEmailPluginUpdate: Reading Config OK!");
    POLICYSET *policies = ZWContScanInit(g_t_strCSCONFIGFILE.c_str(), g_t_strCSINIFILE.c_str());
    if (!policies) {
        debug("ZWEmailPluginUpdate: ZWContScanInit() failed!");
        debug("ZWEmailPluginUpdate: fail!!");
        return -7;
    }
    debug("ZWEmailPluginUpdate: ZWContScanInit() OK!");

    {
        WriteLock lock(*m_rwObj);
        delete ovConfig;
        ovConfig = config.release();
        debug("ZWEmailPluginUpdate: ZWContScanCleanUp() enter....");
        ZWContScanCleanUp(m_pPolicySet);
        debug("ZWEmailPluginUpdate: ZWContScanCleanUp() leave OK!");
        m_pPolicySet = policies;
    }

    std::string ruleFile = g_t_strSPAMRULEFILE;
    if (!m_pRuleScanObj->LoadRuleFile(&ruleFile[0])) {
        debug("ZWEmailPluginUpdate: m_pRuleScanObj->LoadRuleFile fail!");
        debug("ZWEmailPluginUpdate: fail!!");
        ThreadsNum->WaitForZero_Stop();
        return -6;
    }
    debug("ZWEmailPluginUpdate: m_pRuleScanObj->LoadRuleFile OK!");
    LoadAntiSpamVendorRuleFile(m_pRuleScanObj, "ZWEmailPluginUpdate", ovConfig);
    load_special_filter("ZWEmailPluginUpdate");
    set_temp_directory();
    LoadPluginSettings();
    ThreadsNum->WaitForZero_Stop();

    t_string text;
    text.format("PLUG-IN UPDATE BY %s", g_t_strProgramDirectory.c_str());
    event(text.c_str());
    debug("ZWEmailPluginUpdate: OK!!");
    return 0;
}

extern "C" int ZWEmailPluginCleanup(void)
{
    if (!bInit) {
        debug("ZWEmailPluginCleanup: Not Initialize yet!!");
        debug("ZWEmailPluginCleanup: fail!!");
        return -9;
    }
    debug("ZWEmailPluginCleanup: Starting.....");
    THREAD_COUNT *threads = ThreadsNum;
    threads->WaitForZero_Start();
    {
        WriteLock lock(*m_rwObj);
        delete m_pRuleScanObj;
        m_pRuleScanObj = nullptr;
        debug("ZWEmailPluginCleanup: delete m_pRuleScanObj OK!");
        debug("ZWEmailPluginCleanup: ZWContScanCleanUp() enter....");
        ZWContScanCleanUp(m_pPolicySet);
        m_pPolicySet = nullptr;
        debug("ZWEmailPluginCleanup: ZWContScanCleanUp() leave OK!");
        delete ovConfig;
        ovConfig = nullptr;
        debug("ZWEmailPluginCleanup: delete ovConfig OK!");
        __atomic_store_n(&bInit, false, __ATOMIC_RELEASE);
    }
    // Mail threads may still be calling in (they get -9). The debug log is
    // closed and the globals unhooked while the entry gate is still shut, so
    // that none of them is inside, writing to the log being deleted.
    debug("ZWEmailPluginCleanup: OK!!");
    CleanupDebugLog();
    g_textFiles.Clear();
    event("PLUG-IN STOPPED");
    GlobalObject_CleanUp();
    threads->WaitForZero_Stop();
    return 0;
}

extern "C" int ZWEmailPluginCommand(const char *command)
{
    if (!command) {
        debug("ZWEmailPluginCommand: Command=NULL Error!");
        return -99;
    }
    ovux_log->start() << "ZWEmailPluginCommand: Command=" << command << Orvane::endl;
    if (std::strcmp(command, "update") == 0)
        return ZWEmailPluginUpdate();
    ovux_log->start() << "ZWEmailPluginCommand: Command(" << command << ") Error!" << Orvane::endl;
    return -99;
}

extern "C" const char *ZWEmailPluginGetCMVersion(void)
{
    return OV_CM_VERSION;
}

extern "C" const char *ZWEmailPluginGetCMBuildDate(void)
{
    return OV_CM_BUILD_DATE;
}
