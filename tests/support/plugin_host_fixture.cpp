// The test host of the plug-in's end-to-end tests; see plugin_host_fixture.h.
#include "support/plugin_host_fixture.h"

#include <dlfcn.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <cstring>
#include <mutex>
#include <thread>

namespace {

template <typename Fn>
void resolve(void *handle, const char *name, Fn *out, std::string *error)
{
    *out = reinterpret_cast<Fn>(dlsym(handle, name));
    if (!*out && error->empty())
        *error = std::string("symbol ") + name + " not exported";
}

struct QueueState {
    std::mutex mutex;
    std::vector<PluginQueuedMail> mails;
    std::function<void(const PluginQueuedMail &)> hook;
};

QueueState &queue_state()
{
    static QueueState state;
    return state;
}

} // namespace

PluginLibrary::PluginLibrary(const std::string &path)
{
    m_handle = dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
    if (!m_handle) {
        const char *reason = dlerror();
        m_error = "cannot load " + path + ": " + (reason ? reason : "?");
        return;
    }
    resolve(m_handle, "ZWEmailPluginInitialize", &Initialize, &m_error);
    resolve(m_handle, "ZWEmailPluginProcess", &Process, &m_error);
    resolve(m_handle, "OVEmailPluginProcessReport", &ProcessReport, &m_error);
    resolve(m_handle, "ZWEmailPluginCleanup", &Cleanup, &m_error);
    resolve(m_handle, "_Z19ZWEmailPluginUpdatev", &Update, &m_error);
    resolve(m_handle, "ZWEmailPluginCommand", &Command, &m_error);
    resolve(m_handle, "ZWEmailPluginGetCMVersion", &Version, &m_error);
    resolve(m_handle, "ZWEmailPluginGetCMBuildDate", &BuildDate, &m_error);
}

PluginLibrary::~PluginLibrary()
{
    if (m_handle)
        dlclose(m_handle);
}

void *PluginLibrary::Symbol(const char *name) const
{
    return m_handle ? dlsym(m_handle, name) : nullptr;
}

int PluginQueue::Enqueue(ZWEnqueRecord *record)
{
    if (!record)
        return -1;
    PluginQueuedMail mail;
    mail.from = record->from ? record->from : "";
    for (char **to = record->recipients; to && *to; ++to)
        mail.recipients.push_back(*to);
    mail.path = record->path ? record->path : "";
    mail.fileExisted = !mail.path.empty() && PluginFileExists(mail.path);
    mail.text = PluginReadFile(mail.path);
    mail.reservedNull = !record->reserved1 && !record->reserved2;
    mail.flag1 = record->flag1;
    mail.flag2 = record->flag2;
    if (!mail.path.empty())
        std::remove(mail.path.c_str());   // the host owns the queued file
    std::function<void(const PluginQueuedMail &)> hook;
    {
        QueueState &state = queue_state();
        std::lock_guard<std::mutex> guard(state.mutex);
        state.mails.push_back(mail);
        hook = state.hook;
    }
    if (hook)
        hook(mail);
    return 0;
}

std::vector<PluginQueuedMail> PluginQueue::Take()
{
    QueueState &state = queue_state();
    std::lock_guard<std::mutex> guard(state.mutex);
    std::vector<PluginQueuedMail> mails;
    mails.swap(state.mails);
    return mails;
}

void PluginQueue::SetHook(std::function<void(const PluginQueuedMail &)> hook)
{
    QueueState &state = queue_state();
    std::lock_guard<std::mutex> guard(state.mutex);
    state.hook = std::move(hook);
}

ZWHostCall PluginCall(const std::string &afPath, ZWEnqueMailFn queue)
{
    ZWHostCall call;
    std::memset(&call, 0, sizeof call);
    call.enque_mail = queue;
    std::snprintf(call.af_path, sizeof call.af_path, "%s", afPath.c_str());
    return call;
}

int PluginRunInChild(const std::function<int()> &body, int timeoutSeconds)
{
    std::fflush(nullptr);
    pid_t child = fork();
    if (child < 0)
        return -1;
    if (child == 0) {
        int code = body();
        std::fflush(nullptr);
        _exit(code);
    }
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(timeoutSeconds);
    int status = 0;
    while (waitpid(child, &status, WNOHANG) == 0) {
        if (std::chrono::steady_clock::now() > deadline) {
            kill(child, SIGKILL);
            waitpid(child, &status, 0);
            return -1;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

std::vector<std::string> PluginLines(const std::string &text)
{
    std::vector<std::string> lines;
    size_t start = 0;
    while (start < text.size()) {
        size_t end = text.find('\n', start);
        if (end == std::string::npos)
            end = text.size();
        std::string line = text.substr(start, end - start);
        if (!line.empty() && line.back() == '\r')
            line.pop_back();
        lines.push_back(line);
        start = end + 1;
    }
    return lines;
}
