// Debug and diagnostic logging: stream-like log objects that keep each
// message whole.
//
//   ovux_log->start() << "CopyFile(): fopen (" << name << ") failed" << Orvane::endl;
//
// start() takes the log's lock and writes the prolog, insertions follow, and
// Orvane::endl (or Orvane::flush) ends the line, flushes and releases the lock,
// so lines of different threads never interleave.
//
//   Log       writes to a file (appending) or an open descriptor
//   DailyLog  a Log whose file "<base>.YYYY.MM.DD" is reopened for each message
//   SysLog    collects a message and hands it to syslog(LOG_ERR)
//   NullLog   accepts everything, writes nothing
//
// Prolog flags: 2 time stamp "%m/%d/%Y %T ", then the application name,
// 1 "[pid]", 8 "[thread id]", then ": ".
//
// The lock is held from start() to Orvane::endl and is not recursive: do not
// write to the same log while building one of its messages (for example in a
// function called inside the << chain). A message never ended keeps the lock.
//
// A Log is an ofstream whose buffer is an FdStreamBuf on the log's descriptor
// (files are opened with open(2) so that a new file gets mode 0664); use
// is_open()/getfd() rather than the ofstream's own open/close. The insertions
// that only SysLog (void *) and NullLog (sockaddr_in) add are reached on the
// object itself, not through the Log & that start() returns.
//
// The plug-in's debug log is reached through the global pointer `ovux_log`.
// It is never null: until the plug-in opens a debug log it points at a
// process-lifetime NullLog (ovux_default_log()), so every subsystem writes
// debug lines unconditionally, also in ovctl and in tests. Whoever points
// ovux_log at another log points it back before destroying that log.
#pragma once

#include <netinet/in.h>

#include <ctime>
#include <fstream>
#include <string>

#include "base/base_obj.h"
#include "base/fd_streambuf.h"
#include "base/ov_string.h"
#include "base/sync.h"

namespace Orvane {
// End-of-message manipulators; both end the line, flush and unlock.
void endl();
void flush();
} // namespace Orvane

class Log : public std::ofstream {
public:
    using Manipulator = void (*)();

    explicit Log(void *);                                    // no target, empty name
    Log(const char *appname, int fd, int flags);             // open descriptor
    Log(const char *file, const char *appname, int flags);   // file, appended
    Log(int fd, int flags);                                  // descriptor, empty name
    virtual ~Log();

    Log(const Log &) = delete;
    Log &operator=(const Log &) = delete;

    virtual int lock();
    virtual int trylock();   // does nothing, returns 0
    virtual int unlock();
    virtual int getfd();     // -1 without a target
    virtual const char *getappname();
    virtual Log &start();
    virtual void prolog();
    virtual Log *dup();   // same class and target; the caller owns it

    virtual Log &operator<<(char value);
    virtual Log &operator<<(unsigned char value);
    virtual Log &operator<<(short value);
    virtual Log &operator<<(unsigned short value);
    virtual Log &operator<<(int value);
    virtual Log &operator<<(unsigned int value);
    virtual Log &operator<<(long value);
    virtual Log &operator<<(unsigned long value);
    virtual Log &operator<<(long long value);
    virtual Log &operator<<(unsigned long long value);
    virtual Log &operator<<(long double value);
    virtual Log &operator<<(float value);
    virtual Log &operator<<(double value);
    virtual Log &operator<<(const char *text);   // null writes "(null)"
    virtual Log &operator<<(Manipulator manipulator);

    // Convenience insertions for the own and standard strings.
    Log &operator<<(const std::string &text) { return *this << text.c_str(); }
    Log &operator<<(const String &text) { return *this << text.c_str(); }

    // True when the log has a descriptor to write to (a file log whose file
    // could not be opened has none; its stream state is then failed too).
    bool is_open() const { return m_buf.fd() >= 0; }
    void stop();     // unlock()
    void getraw();   // lock() without a prolog, for continuation output
    static void register_atfork_cbs();
    static const char *syserr();   // text for errno; -1 gives "Host not found"

protected:
    // Appends the text to the message; derived classes redirect it.
    virtual void put_text(const char *text);
    // Ends the message: newline, flush, unlock.
    virtual void end_message();
    // Opens `file` for appending (mode 0664 when created) as the target.
    bool open_append(const char *file);
    // Flushes and closes the current target.
    void close_target();

    String m_appname;
    ReadersWriters m_lock;
    int m_flags = 0;
    std::string m_file;   // file name when opened by name
    FdStreamBuf m_buf;
};

class DailyLog : public Log {
public:
    DailyLog(const char *base, const char *appname, int flags);
    Log &start() override;   // reopens "<base>.YYYY.MM.DD" for each message
    Log *dup() override;

    // "<base>.YYYY.MM.DD" for the given local day.
    static std::string file_name(const char *base, const struct tm &day);

protected:
    String m_base;
};

class SysLog : public Log {
public:
    SysLog(const char *ident, int flags);
    void prolog() override;
    Log *dup() override;
    using Log::operator<<;
    virtual SysLog &operator<<(void *pointer);   // as "%p"

    // Replaces syslog() for tests; null restores the real one.
    using Sender = void (*)(int priority, const char *message);
    static void set_sender(Sender sender);

protected:
    void put_text(const char *text) override;
    void end_message() override;

private:
    String m_ident;
    String m_message;
};

class NullLog : public Log {
public:
    NullLog();
    int lock() override;
    int trylock() override;
    int unlock() override;
    int getfd() override;
    Log &start() override;
    Log *dup() override;

    Log &operator<<(char) override { return *this; }
    Log &operator<<(unsigned char) override { return *this; }
    Log &operator<<(short) override { return *this; }
    Log &operator<<(unsigned short) override { return *this; }
    Log &operator<<(int) override { return *this; }
    Log &operator<<(unsigned int) override { return *this; }
    Log &operator<<(long) override { return *this; }
    Log &operator<<(unsigned long) override { return *this; }
    Log &operator<<(long long) override { return *this; }
    Log &operator<<(unsigned long long) override { return *this; }
    Log &operator<<(long double) override { return *this; }
    Log &operator<<(float) override { return *this; }
    Log &operator<<(double) override { return *this; }
    Log &operator<<(const char *) override { return *this; }
    Log &operator<<(Manipulator) override { return *this; }
    using Log::operator<<;
    virtual NullLog &operator<<(sockaddr_in address);
    virtual NullLog &operator<<(const sockaddr_in *address);

protected:
    void put_text(const char *text) override;
    void end_message() override;
};

// The debug log in use; never null (see above).
extern Log *ovux_log;
// The sink the plug-in points ovux_log at when the debug log is off; the
// plug-in creates and destroys it (null until then).
extern NullLog *ovux_sink;
// The process-lifetime NullLog ovux_log points at by default; never destroyed.
Log *ovux_default_log();
