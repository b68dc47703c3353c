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
// The plug-in's debug log is reached through the global pointer `ovux_log`.
// It is never null: until the plug-in opens a debug log it points at a
// process-lifetime NullLog, so every subsystem writes debug lines
// unconditionally, also in ovctl and in tests.
#pragma once

#include <netinet/in.h>

#include <fstream>

#include "base/base_obj.h"
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
    virtual int trylock();
    virtual int unlock();
    virtual int getfd();
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

    void stop();     // unlock()
    void getraw();   // lock() without a prolog, for continuation output
    static void register_atfork_cbs();
    static const char *syserr();   // text for errno; -1 gives "Host not found"

protected:
    // Writes the text to the stream; derived classes redirect it.
    virtual void put_text(const char *text, size_t length);
    void put_text(const std::string &text) { put_text(text.data(), text.size()); }
    // Ends the message: newline, flush, unlock.
    virtual void end_message();

    String m_appname;
    ReadersWriters m_lock;
    int m_flags = 0;
    int m_fd = -1;
    std::string m_file;   // file name when opened by name
};

class DailyLog : public Log {
public:
    DailyLog(const char *base, const char *appname, int flags);
    Log &start() override;
    Log *dup() override;

protected:
    String m_base;
};

class SysLog : public Log {
public:
    SysLog(const char *ident, int flags);
    void prolog() override;
    Log *dup() override;
    using Log::operator<<;
    virtual Log &operator<<(void *pointer);

    // Replaces syslog() for tests; null restores the real one.
    using Sender = void (*)(int priority, const char *message);
    static void set_sender(Sender sender);

protected:
    void put_text(const char *text, size_t length) override;
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
    using Log::operator<<;
    virtual Log &operator<<(sockaddr_in address);
    virtual Log &operator<<(const sockaddr_in *address);

protected:
    void put_text(const char *text, size_t length) override;
    void end_message() override;
};

// The debug log in use; never null (see above).
extern Log *ovux_log;
// The sink the plug-in points ovux_log at when the debug log is off.
extern NullLog *ovux_sink;
