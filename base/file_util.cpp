// File, path, time and string utilities shared by the whole plug-in:
// bounded copies, file copy/delete, temporary names, Win32-style path
// splitting, reentrant time helpers and simple line reading and writing.
#include "base/file_util.h"

#include <fcntl.h>
#include <pthread.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <charconv>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <memory>

#include "base/log.h"

namespace {

constexpr size_t kCopyBlock = 64 * 1024;   // a mail of usual size in one read

// strerror_r comes in two flavours (GNU returns the text, XSI an int).
[[maybe_unused]] const char *error_text_of(char *result, const char *) { return result; }
[[maybe_unused]] const char *error_text_of(int, const char *buffer) { return buffer; }

std::string error_text(int error)
{
    char buffer[128] = "";
    return error_text_of(strerror_r(error, buffer, sizeof buffer), buffer);
}

struct FreeDeleter {
    void operator()(void *memory) const { std::free(memory); }
};

// Appends text to out (OV_MAX_PATH bytes), truncating; out stays terminated.
void append_bounded(char *out, const char *text)
{
    size_t used = std::strlen(out);
    if (text && used < OV_MAX_PATH)
        strcpy_truncate(out + used, text, OV_MAX_PATH - used);
}

bool is_separator(char c) { return c == '/' || c == '\\'; }

unsigned long thread_number() { return static_cast<unsigned long>(pthread_self()); }

// Appends text to out (OV_MAX_PATH bytes) at *used as snprintf would,
// truncating; false once it no longer fits.
bool put_bounded(char *out, size_t *used, const char *text, size_t length)
{
    const size_t room = *used < OV_MAX_PATH - 1 ? OV_MAX_PATH - 1 - *used : 0;
    const size_t take = std::min(length, room);
    std::memcpy(out + *used, text, take);
    *used += take;
    out[*used] = '\0';
    return take == length;
}

// "<dir>/<prefix><pid>_<tid>_<n><extension>" into out; false when too long
// (out then holds as much as fits).
bool build_temp_name(const char *dir, const char *prefix, const char *extension, unsigned n,
                     char *out)
{
    char pid[24], tid[24], number[16];
    const char *pidEnd = std::to_chars(pid, pid + sizeof pid, ProcessId()).ptr;
    const char *tidEnd = std::to_chars(tid, tid + sizeof tid, thread_number()).ptr;
    const char *numberEnd = std::to_chars(number, number + sizeof number, n).ptr;
    dir = dir ? dir : "";
    const size_t dirLength = std::strlen(dir);
    const char *slash = dirLength && !is_separator(dir[dirLength - 1]) ? "/" : "";
    prefix = prefix ? prefix : "";
    extension = extension ? extension : "";
    size_t used = 0;
    out[0] = '\0';
    return put_bounded(out, &used, dir, dirLength) &&
           put_bounded(out, &used, slash, std::strlen(slash)) &&
           put_bounded(out, &used, prefix, std::strlen(prefix)) &&
           put_bounded(out, &used, pid, static_cast<size_t>(pidEnd - pid)) &&
           put_bounded(out, &used, "_", 1) &&
           put_bounded(out, &used, tid, static_cast<size_t>(tidEnd - tid)) &&
           put_bounded(out, &used, "_", 1) &&
           put_bounded(out, &used, number, static_cast<size_t>(numberEnd - number)) &&
           put_bounded(out, &used, extension, std::strlen(extension));
}

} // namespace

unsigned NextTempNumber()
{
    static std::atomic<unsigned> counter{0};
    unsigned n;
    do
        n = ++counter;
    while (n == 0);
    return n;
}

namespace {

std::atomic<long> g_processId{0};

void forget_process_id() { g_processId.store(0, std::memory_order_relaxed); }

} // namespace

long ProcessId()
{
    long pid = g_processId.load(std::memory_order_relaxed);
    if (pid == 0) {
        static const int registered = pthread_atfork(nullptr, nullptr, forget_process_id);
        (void)registered;
        pid = static_cast<long>(getpid());
        g_processId.store(pid, std::memory_order_relaxed);
    }
    return pid;
}

size_t strcpy_truncate(char *dst, const char *src, size_t size)
{
    if (!dst || size == 0)
        return 0;
    size_t count = 0;
    if (src)
        while (count + 1 < size && src[count] != '\0') {
            dst[count] = src[count];
            ++count;
        }
    dst[count] = '\0';
    return count;
}

namespace {

std::string directory_part(const std::string &path)
{
    size_t slash = path.rfind('/');
    if (slash == std::string::npos)
        return ".";
    return slash == 0 ? "/" : path.substr(0, slash);
}

// Creates "<dir of dst>/.<pid>_<tid>_<n>.part" exclusively, with the mode of
// an existing dst (else 0666 less the umask); -1 with errno on failure.
int open_part_file(const char *dst, std::string *partPath)
{
    const std::string dir = directory_part(dst);
    struct stat existing;
    const bool replaces = ::stat(dst, &existing) == 0;
    char name[OV_MAX_PATH];
    for (int attempt = 0; attempt < 100; ++attempt) {
        if (!build_temp_name(dir.c_str(), ".", ".part", NextTempNumber(), name)) {
            errno = ENAMETOOLONG;
            return -1;
        }
        int fd = ::open(name, O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
        if (fd >= 0) {
            if (replaces)
                ::fchmod(fd, existing.st_mode & 07777);
            *partPath = name;
            return fd;
        }
        if (errno != EEXIST)
            return -1;
    }
    return -1;
}

// Puts the finished part file in dst's place: rename, or link when dst must
// not be replaced (atomically refused when it exists).
bool move_into_place(const std::string &part, const char *dst, bool failIfExists)
{
    if (!failIfExists)
        return std::rename(part.c_str(), dst) == 0;
    if (::link(part.c_str(), dst) != 0)
        return false;
    ::unlink(part.c_str());
    return true;
}

// Copies the open source into fd; false at the first failed read or write.
bool copy_blocks(int in, int fd, char *buffer, const char *src, const char *dst)
{
    for (;;) {
        const ssize_t read = ::read(in, buffer, kCopyBlock);
        if (read < 0 && errno == EINTR)
            continue;
        if (read < 0) {
            ovux_log->start() << "CopyFile(): fread(" << src << ") error: " << error_text(errno)
                              << Orvane::endl;
            return false;
        }
        if (read == 0)
            return true;
        const size_t got = static_cast<size_t>(read);
        if (!WriteAll(fd, buffer, got)) {
            ovux_log->start() << "CopyFile(): fwrite(" << dst << ","
                              << static_cast<unsigned long>(got) << ") error: "
                              << error_text(errno) << Orvane::endl;
            return false;
        }
    }
}

// Closes a descriptor when it goes out of scope.
class FdCloser {
public:
    explicit FdCloser(int fd) : m_fd(fd) {}
    ~FdCloser()
    {
        if (m_fd >= 0)
            ::close(m_fd);
    }
    FdCloser(const FdCloser &) = delete;
    FdCloser &operator=(const FdCloser &) = delete;
    int get() const { return m_fd; }

private:
    int m_fd;
};

} // namespace

bool WriteAll(int fd, const void *data, size_t size)
{
    const char *bytes = static_cast<const char *>(data);
    for (size_t done = 0; done < size;) {
        const ssize_t put = ::write(fd, bytes + done, size - done);
        if (put < 0 && errno == EINTR)
            continue;
        if (put <= 0) {
            if (put == 0)
                errno = ENOSPC;
            return false;
        }
        done += static_cast<size_t>(put);
    }
    return true;
}

bool CopyFile(const char *src, const char *dst, bool failIfExists)
{
    if (!src || !dst)
        return false;
    if (failIfExists && ::access(dst, F_OK) == 0) {
        ovux_log->start() << "CopyFile(): destination file(" << dst << ") already exist."
                          << Orvane::endl;
        errno = EEXIST;
        return false;
    }
    std::unique_ptr<char, FreeDeleter> buffer(static_cast<char *>(std::malloc(kCopyBlock)));
    if (!buffer) {
        ovux_log->start() << "CopyFile(): malloc " << static_cast<unsigned long>(kCopyBlock)
                          << " bytes error: " << error_text(errno) << Orvane::endl;
        return false;
    }
    const FdCloser in(::open(src, O_RDONLY | O_CLOEXEC));
    if (in.get() < 0) {
        ovux_log->start() << "CopyFile(): fopen (" << src << ") \"rt\" mode error: "
                          << error_text(errno) << Orvane::endl;
        return false;
    }
    std::string part;
    int fd = open_part_file(dst, &part);
    if (fd < 0) {
        ovux_log->start() << "CopyFile(): fopen (" << dst << ") \"w+t\" mode error: "
                          << error_text(errno) << Orvane::endl;
        return false;
    }
    bool copied = copy_blocks(in.get(), fd, buffer.get(), src, dst);
    if (copied && ::fsync(fd) != 0) {
        ovux_log->start() << "CopyFile(): fsync(" << dst << ") error: " << error_text(errno)
                          << Orvane::endl;
        copied = false;
    }
    if (::close(fd) != 0 && copied) {
        ovux_log->start() << "CopyFile(): fwrite(" << dst << ",0) error: " << error_text(errno)
                          << Orvane::endl;
        copied = false;
    }
    if (copied && !move_into_place(part, dst, failIfExists)) {
        const int error = errno;
        ovux_log->start() << "CopyFile(): rename(" << part << "," << dst
                          << ") error: " << error_text(error) << Orvane::endl;
        copied = false;
        errno = error;
    }
    if (!copied) {
        const int error = errno;
        ::unlink(part.c_str());
        errno = error;
    }
    return copied;
}

bool DeleteFile(const char *path) { return path && std::remove(path) == 0; }

bool CreateDirectory(const char *path, void *)
{
    return path && ::mkdir(path, 0755) == 0;
}

int CreateTempFile(const char *dir, const char *prefix, const char *extension, char *out,
                   unsigned *number)
{
    if (!out)
        return -1;
    out[0] = '\0';
    // A clash takes the next number.
    for (int attempt = 0; attempt < 100; ++attempt) {
        unsigned n = NextTempNumber();
        if (!build_temp_name(dir, prefix, extension, n, out))
            break;
        int fd = ::open(out, O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, 0600);
        if (fd >= 0) {
            if (number)
                *number = n;
            return fd;
        }
        if (errno != EEXIST)
            break;
    }
    out[0] = '\0';
    return -1;
}

unsigned GetTempFileNameEx(const char *dir, const char *prefix, const char *extension,
                           unsigned unique, char *out)
{
    if (!out)
        return 0;
    out[0] = '\0';
    if (unique != 0)
        return build_temp_name(dir, prefix, extension, unique, out) ? unique : 0;
    // Create the file so that the name stays ours.
    unsigned n = 0;
    int fd = CreateTempFile(dir, prefix, extension, out, &n);
    if (fd < 0)
        return 0;
    ::close(fd);
    return n;
}

unsigned GetTempFileName(const char *dir, const char *prefix, unsigned unique, char *out)
{
    return GetTempFileNameEx(dir, prefix, ".tmp", unique, out);
}

void make_path_name_pid_tid(const char *dir, const char *name, char *out)
{
    if (!out)
        return;
    std::snprintf(out, OV_MAX_PATH, "%s%s.%ld.%lu", dir ? dir : "", name ? name : "",
                  ProcessId(), thread_number());
}

std::string get_temp_name_without_path(const char *prefix)
{
    char name[OV_MAX_PATH];
    std::snprintf(name, sizeof name, "%s%ld_%lu_%u", prefix ? prefix : "",
                  ProcessId(), thread_number(), NextTempNumber());
    return name;
}

void _splitpath(const char *path, char *drive, char *dir, char *fname, char *ext)
{
    const char *rest = path ? path : "";
    size_t driveLength = 0;
    if (((rest[0] >= 'A' && rest[0] <= 'Z') || (rest[0] >= 'a' && rest[0] <= 'z')) &&
        rest[1] == ':')
        driveLength = 2;
    if (drive)
        strcpy_truncate(drive, rest, driveLength + 1);
    rest += driveLength;

    const char *name = rest;
    for (const char *p = rest; *p; ++p)
        if (is_separator(*p))
            name = p + 1;
    const char *dot = std::strrchr(name, '.');
    const char *nameEnd = dot ? dot : name + std::strlen(name);

    if (dir)
        strcpy_truncate(dir, rest, std::min<size_t>(name - rest + 1, OV_MAX_PATH));
    if (fname)
        strcpy_truncate(fname, name, std::min<size_t>(nameEnd - name + 1, OV_MAX_PATH));
    if (ext)
        strcpy_truncate(ext, dot ? dot : "", OV_MAX_PATH);
}

void _makepath(char *path, const char *drive, const char *dir, const char *fname, const char *ext)
{
    if (!path)
        return;
    path[0] = '\0';
    if (drive && *drive) {
        char letter[3] = {drive[0], ':', '\0'};
        append_bounded(path, letter);
    }
    if (dir && *dir) {
        append_bounded(path, dir);
        if (!is_separator(dir[std::strlen(dir) - 1]))
            append_bounded(path, "/");
    }
    append_bounded(path, fname);
    if (ext && *ext) {
        if (*ext != '.')
            append_bounded(path, ".");
        append_bounded(path, ext);
    }
}

char *_strlwr(char *text)
{
    for (char *p = text; p && *p; ++p)
        if (*p >= 'A' && *p <= 'Z')
            *p = static_cast<char>(*p - 'A' + 'a');
    return text;
}

struct tm *Localtime(const time_t *when, struct tm *out)
{
    return when && out ? localtime_r(when, out) : nullptr;
}

char *Asctime(const struct tm *when, char *buffer)
{
    return when && buffer ? asctime_r(when, buffer) : nullptr;
}

char *Strtok(char *text, const char *separators, char **save)
{
    return separators && save ? strtok_r(text, separators, save) : nullptr;
}

// ---- line reading and writing ----

f_read_text_file::f_read_text_file(const char *path) : m_file(path ? std::fopen(path, "r") : nullptr)
{
}

f_read_text_file::f_read_text_file(const char *text, size_t length)
    : m_text(text), m_textEnd(text ? text + length : nullptr)
{
}

f_read_text_file::~f_read_text_file()
{
    if (m_file)
        std::fclose(m_file);
}

bool f_read_text_file::read_a_line(std::string &line)
{
    line.clear();
    if (m_text)
        return read_a_text_line(line);
    if (!m_file)
        return false;
    int c;
    bool any = false;
    while ((c = getc_unlocked(m_file)) != EOF) {
        any = true;
        if (c == '\n')
            break;
        line.push_back(static_cast<char>(c));
    }
    if (!line.empty() && line.back() == '\r' && c == '\n')
        line.pop_back();
    return any;
}

bool f_read_text_file::read_a_text_line(std::string &line)
{
    if (m_text == m_textEnd)
        return false;
    const char *end = static_cast<const char *>(std::memchr(m_text, '\n', m_textEnd - m_text));
    line.assign(m_text, end ? end : m_textEnd);
    m_text = end ? end + 1 : m_textEnd;
    if (end && !line.empty() && line.back() == '\r')
        line.pop_back();
    return true;
}

f_write_text_file::f_write_text_file(const char *path, const char *mode)
    : m_file(path && mode ? std::fopen(path, mode) : nullptr)
{
}

f_write_text_file::~f_write_text_file()
{
    if (m_file)
        std::fclose(m_file);
}

bool output_a_line(f_write_text_file &file, const char *format, ...)
{
    if (!file.is_open() || !format)
        return false;
    va_list args;
    va_start(args, format);
    int written = std::vfprintf(file.handle(), format, args);
    va_end(args);
    return written >= 0;
}
