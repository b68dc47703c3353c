// ovmilter's wrappers of accept, read and close: the executable is linked
// with -Wl,--wrap for each against the static libmilter, so libmilter's own
// calls come here (and so do ovmilter's own, which pass straight through).
// A connection accepted from the milter's TCP listener is remembered, and
// after each read from it TCP_QUICKACK is set again, so the MTA's next
// short write is not held back waiting for our acknowledgement (see
// tcp_nodelay.h). The plug-in and the C++ library are not affected.
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>

#include "tools/ovmilter/tcp_nodelay.h"

extern "C" {

int __real_accept(int fd, sockaddr *address, socklen_t *length);
ssize_t __real_read(int fd, void *buffer, size_t size);
int __real_close(int fd);

int __wrap_accept(int fd, sockaddr *address, socklen_t *length)
{
    int accepted = __real_accept(fd, address, length);
    if (accepted >= 0)
        MilterConnections::accepted(fd, accepted);
    return accepted;
}

ssize_t __wrap_read(int fd, void *buffer, size_t size)
{
    ssize_t got = __real_read(fd, buffer, size);
    if (got > 0 && MilterConnections::is_connection(fd)) {
        int saved = errno;
        set_tcp_quickack(fd);
        errno = saved;
    }
    return got;
}

int __wrap_close(int fd)
{
    MilterConnections::closed(fd);
    return __real_close(fd);
}

} // extern "C"
