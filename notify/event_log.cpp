// WriteLogFile: appends one event (and optionally one mail line) to the day's
// event log file.
//
// The file is opened and closed for every call under the process-wide writer
// lock logFile_rwObj, so lines of different threads never mix and the daily
// roll-over needs nothing else. Before the plug-in has created that lock (or
// after it destroyed it) a lock of this file is used instead.
#include "notify/event_log.h"

#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <memory>
#include <string>

#include "mail/charset.h"
#include "notify/build_info.h"
#include "notify/notify_globals.h"

namespace {

// Date and time of one log call, as the log viewer expects them.
struct LogStamp {
    std::string date; // "MM/DD/YYYY"
    std::string time; // "HH:MM:SS"
    int year = 0;
    int month = 0;
    int day = 0;
};

LogStamp make_stamp(time_t now)
{
    LogStamp stamp;
    struct tm local {
    };
    localtime_r(&now, &local);
    char text[64];
    if (strftime(text, sizeof text, "%T", &local) > 0)
        stamp.time = text;
    if (strftime(text, sizeof text, "%D", &local) > 0)
        stamp.date = std::string(text).substr(0, 6); // "MM/DD/", the year follows
    stamp.year = local.tm_year + 1900;
    stamp.month = local.tm_mon + 1;
    stamp.day = local.tm_mday;
    stamp.date += std::to_string(stamp.year);
    return stamp;
}

std::string log_file_name(const LogStamp &stamp)
{
    char name[64];
    std::snprintf(name, sizeof name, "pwall.log.%d.%02d.%02d", stamp.year, stamp.month, stamp.day);
    return g_t_strProgramDirectory + name;
}

// The text as it goes into the log: converted to the code `charset` unless
// that is 0 (plain) or 3 (EUC, written as it is); the raw text when the
// conversion yields nothing.
std::string log_text(const char *text, int charset)
{
    if (charset == 0 || charset == 3)
        return text;
    std::string copy = text;
    char *converted = fromANY(copy.data(), charset);
    if (!converted)
        return text;
    std::string result = converted;
    std::free(converted);
    return result;
}

// The writer lock around the file: the plug-in's, or ours when it has none.
class LogFileLock {
public:
    LogFileLock() : m_rw(logFile_rwObj ? *logFile_rwObj : fallback()) { m_rw.StartWriting(); }
    ~LogFileLock() { m_rw.StopWriting(); }
    LogFileLock(const LogFileLock &) = delete;
    LogFileLock &operator=(const LogFileLock &) = delete;

private:
    static ReadersWriters &fallback()
    {
        static ReadersWriters lock(0);
        return lock;
    }
    ReadersWriters &m_rw;
};

void append_lines(FILE *file, bool header, const LogStamp &stamp, int pid, const std::string &event,
                  const char *mailLine)
{
    const char *date = stamp.date.c_str();
    const char *clock = stamp.time.c_str();
    if (header)
        std::fprintf(file, "%s %s CONTENT_MANAGEMENT[%d]: Daily Log, Version: %s $Date: %s\n", date,
                     clock, pid, OV_CM_VERSION, OV_CM_BUILD_DATE);
    std::fprintf(file, "%s %s CONTENT_MANAGEMENT[%d]: %s\n", date, clock, pid, event.c_str());
    if (mailLine)
        std::fprintf(file, "EMAIL\\%s %s\\%s\n", date, clock, mailLine);
}

} // namespace

void WriteLogFile(const char *text, const char *mailText, int eventId, int charset)
{
    (void)eventId; // the caller's event number is not part of the line
    if (!text)
        return;
    try {
        const LogStamp stamp = make_stamp(time(nullptr));
        const std::string path = log_file_name(stamp);
        const int pid = static_cast<int>(getpid());
        const std::string event = log_text(text, charset);
        const std::string mail = mailText ? log_text(mailText, charset) : std::string();

        LogFileLock lock;
        const bool header = access(path.c_str(), F_OK) != 0;
        std::unique_ptr<FILE, int (*)(FILE *)> file(std::fopen(path.c_str(), "a"), &std::fclose);
        if (!file)
            return;
        append_lines(file.get(), header, stamp, pid, event, mailText ? mail.c_str() : nullptr);
    } catch (...) {
        // Out of memory: the event is lost, the mail processing goes on.
    }
}
