// FdStreamBuf: buffered output to a file descriptor for the log classes;
// see base/fd_streambuf.h.
#include "base/fd_streambuf.h"

#include <unistd.h>

#include <cerrno>

FdStreamBuf::FdStreamBuf() { setp(m_buffer, m_buffer + sizeof m_buffer); }

FdStreamBuf::~FdStreamBuf() { detach(); }

void FdStreamBuf::attach(int fd, bool owned)
{
    detach();
    m_fd = fd;
    m_owned = owned && fd >= 0;
}

void FdStreamBuf::detach()
{
    write_pending();
    if (m_owned)
        close(m_fd);
    m_fd = -1;
    m_owned = false;
}

FdStreamBuf::int_type FdStreamBuf::overflow(int_type c)
{
    const bool written = write_pending();
    if (traits_type::eq_int_type(c, traits_type::eof()))
        return written ? traits_type::not_eof(c) : traits_type::eof();
    *pptr() = traits_type::to_char_type(c);
    pbump(1);
    return c;
}

int FdStreamBuf::sync() { return write_pending() ? 0 : -1; }

// Writes what the buffer holds and empties it. Text that cannot be written
// (no descriptor, disk full) is dropped: a log never blocks the mail.
bool FdStreamBuf::write_pending()
{
    const char *data = pbase();
    size_t left = static_cast<size_t>(pptr() - pbase());
    setp(m_buffer, m_buffer + sizeof m_buffer);
    if (m_fd < 0)
        return left == 0;
    while (left > 0) {
        const ssize_t written = write(m_fd, data, left);
        if (written < 0 && errno == EINTR)
            continue;
        if (written <= 0)
            return false;
        data += written;
        left -= static_cast<size_t>(written);
    }
    return true;
}
