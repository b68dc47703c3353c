// The test host of the plug-in's end-to-end tests: libov.so loaded with
// dlopen and driven only through its exported entry points, a queue function
// that captures the notification mails, and a runner for checks that must
// happen in a child process (a plug-in left wedged, another user id).
//
//   PluginLibrary &plugin = SharedPluginLibrary();   // OV_LIBOV_PATH, loaded once
//   ZWHostInfo info{};
//   plugin.Initialize(root.c_str(), &info);
//   ZWHostCall call = PluginCall(mail.af);           // queues into PluginQueue
//   ZWMailResult result;
//   int rc = plugin.Process(&call, &result);
//   std::vector<PluginQueuedMail> mails = PluginQueue::Take();
//   plugin.Cleanup();
//
// The plug-in keeps process-wide state, so each test starts and stops it
// within itself (PluginTest does the stop in TearDown).
#pragma once

#include <functional>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "ov/host.h"
#include "support/plugin_installation.h"

// libov.so opened with dlopen (RTLD_NOW | RTLD_LOCAL), closed when the object
// goes. The entry points are null when the library or a symbol is missing.
class PluginLibrary {
public:
    explicit PluginLibrary(const std::string &path);
    ~PluginLibrary();
    PluginLibrary(const PluginLibrary &) = delete;
    PluginLibrary &operator=(const PluginLibrary &) = delete;

    bool loaded() const { return m_error.empty(); }
    const std::string &error() const { return m_error; }
    // Any symbol of the library's dynamic table; null when not exported.
    void *Symbol(const char *name) const;

    int (*Initialize)(const char *, ZWHostInfo *) = nullptr;
    int (*Process)(ZWHostCall *, ZWMailResult *) = nullptr;
    int (*ProcessReport)(ZWHostCall *, ZWMailResult *, OVMailReport *) = nullptr;
    int (*Cleanup)() = nullptr;
    int (*Update)() = nullptr;   // exported as _Z19ZWEmailPluginUpdatev
    int (*Command)(const char *) = nullptr;
    const char *(*Version)() = nullptr;
    const char *(*BuildDate)() = nullptr;

private:
    void *m_handle = nullptr;
    std::string m_error;
};

#ifdef OV_LIBOV_PATH
// The library of this build, opened once for the whole test program.
inline PluginLibrary &SharedPluginLibrary()
{
    static PluginLibrary library(OV_LIBOV_PATH);
    return library;
}
#endif

// One notification mail as the host's queue received it. The test host owns
// the file, as a gateway does: it reads and deletes it at once.
struct PluginQueuedMail {
    std::string from;
    std::vector<std::string> recipients;
    std::string path;
    bool fileExisted = false;
    std::string text;
    bool reservedNull = false;
    int flag1 = -1;
    int flag2 = -1;
};

// The process-wide capture behind the queue function.
class PluginQueue {
public:
    // The function to put into ZWHostCall::enque_mail.
    static int Enqueue(ZWEnqueRecord *record);
    // The mails queued since the last Take, in queue order.
    static std::vector<PluginQueuedMail> Take();
    // Runs inside the plug-in's call, after the mail was captured, until
    // cleared (null): lets a test act while a mail is in progress.
    static void SetHook(std::function<void(const PluginQueuedMail &)> hook);
};

// A host call record for the envelope file, queueing into PluginQueue.
ZWHostCall PluginCall(const std::string &afPath, ZWEnqueMailFn queue = &PluginQueue::Enqueue);

// Runs `body` in a forked child and returns its exit status (0-255), or -1
// when the child could not be run or did not exit normally within
// `timeoutSeconds` (it is killed then).
int PluginRunInChild(const std::function<int()> &body, int timeoutSeconds = 30);

// The lines of a text, split at "\n", without the "\r" before it.
std::vector<std::string> PluginLines(const std::string &text);

#ifdef OV_LIBOV_PATH
// The fixture of the end-to-end tests: its own installation, the shared
// library, and a stop of the plug-in after each test.
class PluginTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        ASSERT_TRUE(plugin().loaded()) << plugin().error();
        PluginQueue::Take();
    }
    void TearDown() override
    {
        PluginQueue::SetHook(nullptr);
        if (plugin().loaded())
            plugin().Cleanup();   // -9 when the test already stopped it
        PluginQueue::Take();
    }

    static PluginLibrary &plugin() { return SharedPluginLibrary(); }

    // Initialize on the installation; fails the test unless it returns 0.
    void Start() { ASSERT_EQ(0, plugin().Initialize(install.root().c_str(), &info)); }

    // Processes one mail; the result record goes to *result when given.
    int Run(const PluginSpoolMail &mail, ZWMailResult *result = nullptr)
    {
        ZWHostCall call = PluginCall(mail.af);
        ZWMailResult local{};
        return plugin().Process(&call, result ? result : &local);
    }
    // The same through OVEmailPluginProcessReport.
    int Run(const PluginSpoolMail &mail, ZWMailResult *result, OVMailReport *report)
    {
        ZWHostCall call = PluginCall(mail.af);
        return plugin().ProcessReport(&call, result, report);
    }

    PluginInstallation install;
    ZWHostInfo info{};
};
#endif
