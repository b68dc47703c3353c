// DailyLog: a Log whose file carries the local date, "<base>.YYYY.MM.DD".
// Every message reopens the file, so the log rolls over at midnight with no
// further logic; see base/log.h.
#include "base/log.h"

#include <cstdio>

DailyLog::DailyLog(const char *base, const char *appname, int flags)
    : Log(nullptr), m_base(base)
{
    m_appname = String(appname);
    m_flags = flags;
}

std::string DailyLog::file_name(const char *base, const struct tm &day)
{
    char suffix[48];
    snprintf(suffix, sizeof suffix, ".%04d.%02d.%02d", day.tm_year + 1900, day.tm_mon + 1,
             day.tm_mday);
    return std::string(base ? base : "") + suffix;
}

// Under the lock: close yesterday's (or the last message's) file, open
// today's for appending, write the prolog.
Log &DailyLog::start()
{
    lock();
    close_target();
    const time_t now = time(nullptr);
    struct tm local {};
    localtime_r(&now, &local);
    open_append(file_name(m_base.c_str(), local).c_str());
    prolog();
    return *this;
}

Log *DailyLog::dup() { return new DailyLog(m_base.c_str(), m_appname.c_str(), m_flags); }
