// PluginHost: loads libov.so with dlopen and drives it through its exported
// C entry points, exactly as a mail gateway does. Used by the ovctl commands
// that act as a host (scan, spool, update) and by ovmilter.
//
//   PluginHost host;
//   if (!host.load(path, &error)) ...
//   int rc = host.initialize(root, &info);   // 0 or a negative code
//   rc = host.process(&call, &result);        // from many threads at once
//   rc = host.process(&call, &result, &report);   // with the fault report
//   host.command("update");
//   host.cleanup();
//
// The library stays loaded until the object is destroyed.
#pragma once

#include <string>

#include "ov/contscan.h"
#include "ov/host.h"

class PluginHost {
public:
    PluginHost() = default;
    ~PluginHost();
    PluginHost(const PluginHost &) = delete;
    PluginHost &operator=(const PluginHost &) = delete;

    // Loads the library and resolves every entry point; false with a reason
    // when the file cannot be loaded or lacks an entry point.
    bool load(const std::string &path, std::string *error);

    int initialize(const char *root, ZWHostInfo *info) const { return m_initialize(root, info); }
    int process(ZWHostCall *call, ZWMailResult *result) const { return m_process(call, result); }
    int process(ZWHostCall *call, ZWMailResult *result, OVMailReport *report) const
    {
        return m_processReport(call, result, report);
    }
    int cleanup() const { return m_cleanup(); }
    int update() const { return m_update(); }
    int command(const char *text) const { return m_command(text); }
    const char *version() const { return m_version(); }
    const char *build_date() const { return m_buildDate(); }
    // True when the keyword policies of these files load (they are freed
    // again at once): what a reload of the settings will need.
    bool policies_load(const char *policyFile, const char *settingsFile) const;

private:
    void *m_handle = nullptr;
    int (*m_initialize)(const char *, ZWHostInfo *) = nullptr;
    int (*m_process)(ZWHostCall *, ZWMailResult *) = nullptr;
    int (*m_processReport)(ZWHostCall *, ZWMailResult *, OVMailReport *) = nullptr;
    int (*m_cleanup)() = nullptr;
    int (*m_update)() = nullptr;
    int (*m_command)(const char *) = nullptr;
    const char *(*m_version)() = nullptr;
    const char *(*m_buildDate)() = nullptr;
    POLICYSET *(*m_contScanInit)(const char *, const char *) = nullptr;
    int (*m_contScanCleanUp)(POLICYSET *) = nullptr;
};

// The libov.so that lies beside the running binary (ovctl, ovmilter) or,
// when there is none, the one in the package's own library folder as
// installed (OV_PLUGIN_DIR_FROM_BINDIR, relative to the binary's folder).
std::string default_plugin_path();

// The faults of a report as comma-separated words from copy, replace, temp,
// notify; "-" when there are none.
std::string fault_words(uint32_t faults);

// True for the faults after which a host cannot be sure the mail was judged
// and kept as the verdict says (copy, replace, temp): it holds the mail.
bool faults_hold_mail(uint32_t faults);

// The plug-in's program directory under an installation root, with the
// trailing slash: "/opt/gw//\n" gives "/opt/gw/Plug-Ins/OV/".
std::string program_directory(const std::string &root);

// Text for an entry point's result code, e.g. "-6 (envelope or message file unusable)".
std::string describe_plugin_code(int code);
