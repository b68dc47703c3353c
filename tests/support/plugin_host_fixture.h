// The test host of the plug-in's end-to-end tests: the built libov.so driven
// through PluginHost, a queue function that captures the notification mails,
// and a runner for checks in a child process (a plug-in left wedged, another
// user id). Each test starts and stops the plug-in itself.
#pragma once

#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstring>
#include <functional>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "ov/host.h"
#include "support/plugin_installation.h"
#include "tools/hostkit/plugin_host.h"

// A notification mail as the host's queue received (and deleted) it.
struct PluginQueuedMail {
    std::string from, text;
    std::vector<std::string> recipients;
};

// The capture behind the queue function. A hook, set until cleared, runs
// inside the plug-in's call after each capture, while the mail is in progress.
struct PluginQueue {
    using Hook = std::function<void(const PluginQueuedMail &)>;
    static int Enqueue(ZWEnqueRecord *record)
    {
        if (!record)
            return -1;
        const std::string path = record->path ? record->path : "";
        PluginQueuedMail mail{record->from ? record->from : "", ReadFile(path), {}};
        std::remove(path.c_str());
        for (char **to = record->recipients; to && *to; ++to)
            mail.recipients.push_back(*to);
        Hook hook;
        {
            std::lock_guard<std::mutex> guard(s_mutex);
            s_mails.push_back(mail);
            hook = s_hook;
        }
        if (hook)
            hook(mail);
        return 0;
    }
    static std::vector<PluginQueuedMail> Take()
    {
        std::lock_guard<std::mutex> guard(s_mutex);
        return std::exchange(s_mails, {});
    }
    static void SetHook(Hook hook)
    {
        std::lock_guard<std::mutex> guard(s_mutex);
        s_hook = std::move(hook);
    }
    static inline std::mutex s_mutex;
    static inline std::vector<PluginQueuedMail> s_mails;
    static inline Hook s_hook;
};

// A host call record for the envelope file, queueing into PluginQueue.
inline ZWHostCall PluginCall(const std::string &afPath, ZWEnqueMailFn queue = &PluginQueue::Enqueue)
{
    ZWHostCall call;
    std::memset(&call, 0, sizeof call);
    call.enque_mail = queue;
    std::snprintf(call.af_path, sizeof call.af_path, "%s", afPath.c_str());
    return call;
}

// Runs `body` in a forked child and returns its exit status (0-255), or -1
// when it did not exit normally, as when it ran past `timeoutSeconds`.
inline int PluginRunInChild(const std::function<int()> &body, int timeoutSeconds = 30)
{
    std::fflush(nullptr);
    const pid_t child = fork();
    if (child == 0) {
        alarm(static_cast<unsigned>(timeoutSeconds)); // a wedged child dies of SIGALRM
        const int code = body();
        std::fflush(nullptr);
        _exit(code);
    }
    int status = 0;
    const bool exited = child > 0 && waitpid(child, &status, 0) == child && WIFEXITED(status);
    return exited ? WEXITSTATUS(status) : -1;
}

#ifdef OV_LIBOV_PATH
using PluginVerdict = std::pair<int, int>; // result code, action code

// The fixture of the end-to-end tests: its own installation, the library of
// this build (loaded once for the whole program), and a stop of the plug-in
// after each test.
class PluginTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        ASSERT_TRUE(LoadError().empty()) << LoadError();
        PluginQueue::Take();
    }
    void TearDown() override
    {
        PluginQueue::SetHook(nullptr);
        if (LoadError().empty())
            plugin().cleanup(); // -9 when the test already stopped it
        PluginQueue::Take();
    }

    static PluginHost &plugin()
    {
        static PluginHost host;
        return host;
    }
    static const std::string &LoadError()
    {
        static std::string error;
        [[maybe_unused]] static const bool loaded = plugin().load(OV_LIBOV_PATH, &error);
        return error;
    }

    void Start(const PluginInstallation *on = nullptr)
    {
        ASSERT_EQ(0, plugin().initialize((on ? *on : install).root().c_str(), &info));
    }
    // Processes one mail, through the report entry point when `report` is given.
    int Run(const PluginSpoolMail &mail, ZWMailResult *result = nullptr,
            OVMailReport *report = nullptr)
    {
        ZWHostCall call = PluginCall(mail.af);
        ZWMailResult local{};
        result = result ? result : &local;
        return report ? plugin().process(&call, result, report) : plugin().process(&call, result);
    }
    PluginVerdict Verdict(const PluginSpoolMail &mail)
    {
        ZWMailResult result{};
        const int code = Run(mail, &result);
        return {code, result.action};
    }
    // Start on another installation, one mail, stop.
    int RunOnce(const PluginInstallation &local, const PluginSpoolMail &mail,
                ZWMailResult *result = nullptr)
    {
        Start(&local);
        const int code = Run(mail, result);
        EXPECT_EQ(0, plugin().cleanup());
        return code;
    }
    static bool HasEvent(const PluginInstallation &install, const std::string &prefix)
    {
        for (const PluginEvent &event : PluginEvents(install.EventLog()))
            if (event.text.rfind(prefix, 0) == 0)
                return true;
        return false;
    }

    PluginInstallation install;
    ZWHostInfo info{};
};
#endif
