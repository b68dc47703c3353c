// FdStreamBuf: the stream buffer behind every Log. It writes to a file
// descriptor, owned (opened by name, closed here) or borrowed (given by the
// caller, left open). Output is collected and written with write(2) when the
// buffer fills or on sync(), so a short debug line reaches the file in one
// write. Without a descriptor everything is discarded.
//
// Not thread-safe by itself: a Log uses it only while holding its lock.
#pragma once

#include <streambuf>

class FdStreamBuf : public std::streambuf {
public:
    FdStreamBuf();
    ~FdStreamBuf() override;
    FdStreamBuf(const FdStreamBuf &) = delete;
    FdStreamBuf &operator=(const FdStreamBuf &) = delete;

    // Flushes and lets go of the current descriptor, then uses `fd`.
    void attach(int fd, bool owned);
    // Flushes and lets go of the current descriptor (closing it if owned).
    void detach();
    int fd() const { return m_fd; }

protected:
    int_type overflow(int_type c) override;
    int sync() override;

private:
    bool write_pending();

    int m_fd = -1;
    bool m_owned = false;
    char m_buffer[4096];
};
