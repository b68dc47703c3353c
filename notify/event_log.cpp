// WriteLogFile: appends one event (and optionally one mail line) to the day's
// event log file.
//
// The file is opened and closed for every call under the process-wide writer
// lock logFile_rwObj, so lines of different threads never mix and the daily
// roll-over needs nothing else; the lines of a call go out in one write, and
// the call that creates the file starts it with the header line. Before the
// plug-in has created that lock (or after it destroyed it) a lock of this file
// is used instead.
#include "notify/event_log.h"

#include <fcntl.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <string>

#include "base/file_util.h"
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

// The lines of one call, as one piece of text.
std::string log_lines(bool header, const LogStamp &stamp, long pid, const std::string &event,
                      const char *mailLine)
{
    const std::string prefix = stamp.date + " " + stamp.time + " CONTENT_MANAGEMENT[" +
                               std::to_string(pid) + "]: ";
    std::string lines;
    lines.reserve(2 * prefix.size() + event.size() + 160);
    if (header)
        lines += prefix + "Daily Log, Version: " + OV_CM_VERSION + " $Date: " + OV_CM_BUILD_DATE +
                 "\n";
    lines += prefix + event + "\n";
    if (mailLine)
        lines += "EMAIL\\" + stamp.date + " " + stamp.time + "\\" + mailLine + "\n";
    return lines;
}

// Opens the log file for appending; *created tells whether this call made it.
int open_log(const std::string &path, bool *created)
{
    const int flags = O_WRONLY | O_APPEND | O_CLOEXEC;
    for (int attempt = 0; attempt < 2; ++attempt) {
        const int fd = open(path.c_str(), flags);
        if (fd >= 0 || errno != ENOENT) {
            *created = false;
            return fd;
        }
        const int made = open(path.c_str(), flags | O_CREAT | O_EXCL, 0666);
        if (made >= 0 || errno != EEXIST) {
            *created = made >= 0;
            return made;
        }
    }
    return -1;
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
        const long pid = static_cast<int>(ProcessId());   // printed as an int
        const std::string event = log_text(text, charset);
        const std::string mail = mailText ? log_text(mailText, charset) : std::string();

        LogFileLock lock;
        bool created = false;
        const int fd = open_log(path, &created);
        if (fd < 0)
            return;
        const std::string lines =
            log_lines(created, stamp, pid, event, mailText ? mail.c_str() : nullptr);
        WriteAll(fd, lines.data(), lines.size());   // a lost line does not stop the mail
        close(fd);
    } catch (...) {
        // Out of memory: the event is lost, the mail processing goes on.
    }
}
