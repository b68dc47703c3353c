#include "tools/ovmilter/daemon_start.h"

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>

namespace {

const char kReady[] = "ready";

// The parent's side: prints what the daemon reported and exits.
[[noreturn]] void wait_for_report(int fd)
{
    std::string text;
    char buffer[512];
    ssize_t got;
    while ((got = read(fd, buffer, sizeof buffer)) != 0) {
        if (got < 0) {
            if (errno == EINTR)
                continue;
            break;
        }
        text.append(buffer, static_cast<size_t>(got));
    }
    if (text == kReady)
        std::exit(0);
    std::fprintf(stderr, "ovmilter: %s\n",
                 text.empty() ? "the daemon ended before it was ready" : text.c_str());
    std::exit(1);
}

void detach_standard_files()
{
    int null = open("/dev/null", O_RDWR);
    if (null < 0)
        return;
    dup2(null, 0);
    dup2(null, 1);
    dup2(null, 2);
    if (null > 2)
        close(null);
}

} // namespace

DaemonStart::~DaemonStart()
{
    if (m_report >= 0)
        close(m_report);
}

bool DaemonStart::detach(std::string *error)
{
    int fds[2];
    if (pipe2(fds, O_CLOEXEC) != 0) {
        *error = std::string("cannot make a pipe: ") + std::strerror(errno);
        return false;
    }
    pid_t child = fork();
    if (child < 0) {
        *error = std::string("cannot fork: ") + std::strerror(errno);
        close(fds[0]);
        close(fds[1]);
        return false;
    }
    if (child > 0) {
        close(fds[1]);
        wait_for_report(fds[0]);
    }
    close(fds[0]);
    m_report = fds[1];
    setsid();
    if (chdir("/") != 0) {
        // "/" always exists; nothing to do but go on.
    }
    detach_standard_files();
    return true;
}

void DaemonStart::report(const std::string &text)
{
    if (m_report < 0)
        return;
    ssize_t written = write(m_report, text.data(), text.size());
    (void)written;   // the command may have been killed meanwhile
    close(m_report);
    m_report = -1;
}

void DaemonStart::ready()
{
    report(kReady);
}

void DaemonStart::failed(const std::string &reason)
{
    report(reason);
}

bool write_pid_file(const std::string &path, std::string *error)
{
    std::ofstream out(path, std::ios::trunc);
    out << getpid() << "\n";
    out.close();
    if (!out) {
        *error = "cannot write " + path + ": " + std::strerror(errno);
        return false;
    }
    return true;
}
