#include "tools/hostkit/plugin_host.h"

#include <dlfcn.h>
#include <limits.h>
#include <unistd.h>

#include <cstring>

namespace {

template <typename Fn>
bool resolve(void *handle, const char *symbol, Fn *out, std::string *error)
{
    void *address = dlsym(handle, symbol);
    if (!address) {
        *error = std::string("entry point ") + symbol + " not found";
        return false;
    }
    *out = reinterpret_cast<Fn>(address);
    return true;
}

} // namespace

PluginHost::~PluginHost()
{
    if (m_handle)
        dlclose(m_handle);
}

bool PluginHost::load(const std::string &path, std::string *error)
{
    m_handle = dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
    if (!m_handle) {
        const char *reason = dlerror();
        *error = "cannot load " + path + ": " + (reason ? reason : "unknown error");
        return false;
    }
    // The update entry point keeps its C++ name, as hosts look it up.
    return resolve(m_handle, "ZWEmailPluginInitialize", &m_initialize, error) &&
           resolve(m_handle, "ZWEmailPluginProcess", &m_process, error) &&
           resolve(m_handle, "OVEmailPluginProcessReport", &m_processReport, error) &&
           resolve(m_handle, "ZWEmailPluginCleanup", &m_cleanup, error) &&
           resolve(m_handle, "_Z19ZWEmailPluginUpdatev", &m_update, error) &&
           resolve(m_handle, "ZWEmailPluginCommand", &m_command, error) &&
           resolve(m_handle, "ZWEmailPluginGetCMVersion", &m_version, error) &&
           resolve(m_handle, "ZWEmailPluginGetCMBuildDate", &m_buildDate, error) &&
           resolve(m_handle, "ZWContScanInit", &m_contScanInit, error) &&
           resolve(m_handle, "ZWContScanCleanUp", &m_contScanCleanUp, error);
}

bool PluginHost::policies_load(const char *policyFile, const char *settingsFile) const
{
    POLICYSET *policies = m_contScanInit(policyFile, settingsFile);
    if (!policies)
        return false;
    m_contScanCleanUp(policies);
    return true;
}

std::string default_plugin_path()
{
    char self[PATH_MAX];
    ssize_t length = readlink("/proc/self/exe", self, sizeof self - 1);
    if (length <= 0)
        return "libov.so";
    std::string directory(self, static_cast<size_t>(length));
    directory.erase(directory.rfind('/') + 1);
    std::string beside = directory + "libov.so";
#ifdef OV_PLUGIN_DIR_FROM_BINDIR
    std::string installed = directory + OV_PLUGIN_DIR_FROM_BINDIR "/libov.so";
    if (access(beside.c_str(), F_OK) != 0 && access(installed.c_str(), F_OK) == 0)
        return installed;
#endif
    return beside;
}

std::string program_directory(const std::string &root)
{
    std::string base = root;
    while (!base.empty() && std::strchr("\r\n /", base.back()))
        base.pop_back();
    return base + "/Plug-Ins/OV/";
}

std::string fault_words(uint32_t faults)
{
    static const struct {
        uint32_t bit;
        const char *word;
    } kWords[] = {{OV_FAULT_COPY, "copy"},
                  {OV_FAULT_REPLACE, "replace"},
                  {OV_FAULT_TEMP, "temp"},
                  {OV_FAULT_NOTIFY, "notify"}};
    std::string words;
    for (const auto &entry : kWords) {
        if (faults & entry.bit)
            words += (words.empty() ? "" : ",") + std::string(entry.word);
    }
    return words.empty() ? "-" : words;
}

bool faults_hold_mail(uint32_t faults)
{
    return (faults & (OV_FAULT_COPY | OV_FAULT_REPLACE | OV_FAULT_TEMP)) != 0;
}

std::string describe_plugin_code(int code)
{
    const char *meaning = nullptr;
    switch (code) {
    case 0: meaning = "ok"; break;
    case 2: meaning = "blocked"; break;
    case -6: meaning = "envelope or message file unusable, or rule filter failed"; break;
    case -7: meaning = "keyword policies could not be loaded"; break;
    case -8: meaning = "root path unusable, or message could not be prepared"; break;
    case -9: meaning = "plug-in not initialised"; break;
    case -10: meaning = "contscan.ini unreadable"; break;
    case -99: meaning = "unknown command"; break;
    default: break;
    }
    std::string text = std::to_string(code);
    if (meaning)
        text += std::string(" (") + meaning + ")";
    return text;
}
