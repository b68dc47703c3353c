// Log: the debug log writing to a file or an open descriptor, and the
// end-of-message manipulators. A message is start(), insertions, then
// Orvane::endl; see base/log.h.
#include "base/log.h"

#include <fcntl.h>
#include <pthread.h>
#include <unistd.h>

#include <cerrno>
#include <charconv>
#include <cstdio>
#include <cstring>

namespace Orvane {
// Only their addresses matter: a log compares the manipulator it is given
// with them.
void endl() {}
void flush() {}
} // namespace Orvane

namespace {

const int kFlagPid = 1;
const int kFlagTime = 2;
const int kFlagThread = 8;

// Decimal text of an integer in a small stack buffer.
template <typename Number> struct DecimalText {
    explicit DecimalText(Number value)
    {
        const auto result = std::to_chars(text, text + sizeof text - 1, value);
        *result.ptr = '\0';
    }
    char text[24];
};

std::string time_stamp()
{
    const time_t now = time(nullptr);
    struct tm local {};
    localtime_r(&now, &local);
    char text[32];
    const size_t length = strftime(text, sizeof text, "%m/%d/%Y %T", &local);
    return std::string(text, length);
}

} // namespace

// ---- construction ----------------------------------------------------------

Log::Log(void *) { std::ios::rdbuf(&m_buf); }

Log::Log(const char *appname, int fd, int flags) : m_appname(appname), m_flags(flags)
{
    std::ios::rdbuf(&m_buf);
    m_buf.attach(fd, false);
    if (fd < 0)
        setstate(std::ios::failbit);
}

Log::Log(const char *file, const char *appname, int flags) : m_appname(appname), m_flags(flags)
{
    std::ios::rdbuf(&m_buf);
    if (file)
        m_file = file;
    if (!open_append(file))
        setstate(std::ios::failbit);
}

Log::Log(int fd, int flags) : Log("", fd, flags) {}

Log::~Log() { close_target(); }

bool Log::open_append(const char *file)
{
    if (!file)
        return false;
    const int fd = ::open(file, O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0664);
    m_buf.attach(fd, true);
    return fd >= 0;
}

void Log::close_target() { m_buf.detach(); }

// A Log opened by name gets its own descriptor on the same file, so that it
// stays valid whichever of the two is destroyed first.
Log *Log::dup()
{
    if (!m_file.empty())
        return new Log(m_file.c_str(), m_appname.c_str(), m_flags);
    return new Log(m_appname.c_str(), m_buf.fd(), m_flags);
}

// ---- locking and messages --------------------------------------------------

int Log::lock()
{
    m_lock.StartWriting();
    return 0;
}

int Log::trylock() { return 0; }

int Log::unlock()
{
    m_lock.StopWriting();
    return 0;
}

int Log::getfd() { return m_buf.fd(); }

const char *Log::getappname() { return m_appname.c_str(); }

Log &Log::start()
{
    lock();
    prolog();
    return *this;
}

void Log::stop() { unlock(); }

void Log::getraw() { lock(); }

void Log::prolog()
{
    std::string text;
    if (m_flags & kFlagTime)
        text += time_stamp() + " ";
    text += m_appname.c_str();
    if (m_flags & kFlagPid)
        text += std::string("[") + DecimalText<long>(getpid()).text + "]";
    if (m_flags & kFlagThread)
        text += std::string("[") + DecimalText<unsigned long>(pthread_self()).text + "]";
    text += ": ";
    put_text(text.c_str());
}

void Log::put_text(const char *text) { m_buf.sputn(text, static_cast<std::streamsize>(strlen(text))); }

void Log::end_message()
{
    m_buf.sputc('\n');
    m_buf.pubsync();
    unlock();
}

// ---- insertions ------------------------------------------------------------

Log &Log::operator<<(char value)
{
    const char text[2] = {value, '\0'};
    put_text(text);
    return *this;
}

Log &Log::operator<<(unsigned char value) { return *this << static_cast<char>(value); }

Log &Log::operator<<(short value) { return *this << static_cast<long>(value); }

Log &Log::operator<<(unsigned short value) { return *this << static_cast<unsigned long>(value); }

Log &Log::operator<<(int value) { return *this << static_cast<long>(value); }

Log &Log::operator<<(unsigned int value) { return *this << static_cast<unsigned long>(value); }

Log &Log::operator<<(long value)
{
    put_text(DecimalText<long>(value).text);
    return *this;
}

Log &Log::operator<<(unsigned long value)
{
    put_text(DecimalText<unsigned long>(value).text);
    return *this;
}

Log &Log::operator<<(long long value)
{
    put_text(DecimalText<long long>(value).text);
    return *this;
}

Log &Log::operator<<(unsigned long long value)
{
    put_text(DecimalText<unsigned long long>(value).text);
    return *this;
}

// Floating values as a stream shows them by default: six significant digits.
Log &Log::operator<<(long double value)
{
    char text[64];
    snprintf(text, sizeof text, "%Lg", value);
    put_text(text);
    return *this;
}

Log &Log::operator<<(float value) { return *this << static_cast<double>(value); }

Log &Log::operator<<(double value)
{
    char text[64];
    snprintf(text, sizeof text, "%g", value);
    put_text(text);
    return *this;
}

Log &Log::operator<<(const char *text)
{
    put_text(text ? text : "(null)");
    return *this;
}

// Only the two end-of-message manipulators mean anything; other functions
// are ignored.
Log &Log::operator<<(Manipulator manipulator)
{
    if (manipulator == Orvane::endl || manipulator == Orvane::flush)
        end_message();
    return *this;
}

// ---- helpers ---------------------------------------------------------------

void Log::register_atfork_cbs() {}

const char *Log::syserr()
{
    const int error = errno;
    if (error == -1)
        return "Host not found";
    thread_local char text[256];
    return strerror_r(error, text, sizeof text);
}
