// f_mutex: a lock between processes through "<name>.lock" (lockf over the
// whole file) plus a ReadersWriters for the threads of this process, since
// a record lock belongs to the process, not to the thread; see
// base/file_mutex.h.
//
// Taken in-process lock first, then the file lock; released in reverse.
#include "base/file_mutex.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <system_error>

namespace {

// lockf() over the whole file from offset 0, retried when a signal
// interrupts the wait.
void lock_whole_file(int fd, int command)
{
    lseek(fd, 0, SEEK_SET);
    while (lockf(fd, command, 0) != 0 && errno == EINTR) {
    }
}

} // namespace

f_mutex::f_mutex(const char *name) : m_path(std::string(name ? name : "") + ".lock")
{
    m_fd = open(m_path.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0600);
    if (m_fd < 0)
        throw std::system_error(errno, std::generic_category(), "f_mutex: cannot open " + m_path);
}

f_mutex::~f_mutex() { close(m_fd); }

void f_mutex::wait_mutex()
{
    m_threads.StartWriting();
    lock_whole_file(m_fd, F_LOCK);
}

void f_mutex::release_mutex()
{
    lock_whole_file(m_fd, F_ULOCK);
    m_threads.StopWriting();
}
