// SysLog: collects one message and hands it to the system logger at error
// priority when the message ends; see base/log.h.
//
// The first SysLog of the process opens the system log (facility daemon,
// flag 1 asks it to add the process id) and lets priorities emergency
// through error pass; later ones reuse that set-up.
#include "base/log.h"

#include <syslog.h>

#include <atomic>
#include <cstdio>
#include <cstring>
#include <mutex>

namespace {

const int kSysLogMask = 15;   // LOG_EMERG .. LOG_ERR

std::atomic<SysLog::Sender> g_sender{nullptr};

// openlog() keeps the ident pointer, so the text must outlive every SysLog.
char g_ident[256];
std::once_flag g_openOnce;

void open_system_log(const char *ident, int flags)
{
    snprintf(g_ident, sizeof g_ident, "%s", ident ? ident : "");
    openlog(g_ident, flags & LOG_PID, LOG_DAEMON);
    setlogmask(kSysLogMask);
}

void send_to_system_log(int priority, const char *message)
{
    const SysLog::Sender sender = g_sender.load();
    if (sender)
        sender(priority, message);
    else
        syslog(priority, "%s", message);
}

} // namespace

SysLog::SysLog(const char *ident, int flags) : Log(2, 11), m_ident(ident)
{
    m_flags = flags;
    std::call_once(g_openOnce, open_system_log, ident, flags);
}

void SysLog::set_sender(Sender sender) { g_sender.store(sender); }

// The system logger adds its own time stamp, name and process id.
void SysLog::prolog() { m_message = ""; }

Log *SysLog::dup() { return new SysLog(m_ident.c_str(), m_flags); }

SysLog &SysLog::operator<<(void *pointer)
{
    char text[32];
    snprintf(text, sizeof text, "%p", pointer);
    put_text(text);
    return *this;
}

void SysLog::put_text(const char *text) { m_message << text; }

void SysLog::end_message()
{
    send_to_system_log(LOG_ERR, m_message.c_str());
    m_message = "";
    unlock();
}
