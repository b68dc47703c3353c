// f_mutex: a lock shared between processes through a lock file ("<name>.lock",
// locked whole with lockf), combined with an in-process lock for the threads
// of one process. f_mutex_sentry holds it for a scope.
//
//   f_mutex lock("/var/spool/ov/queue");      // "/var/spool/ov/queue.lock"
//   { f_mutex_sentry hold(lock); ...; }
//
// Use one f_mutex object per name in a process: the record lock belongs to
// the process, so two objects on the same file would not exclude each other.
#pragma once

#include <string>

#include "base/sync.h"

class f_mutex {
public:
    // Opens (creating, mode 0600) "<name>.lock"; throws std::system_error
    // (a std::runtime_error) when the file cannot be opened.
    explicit f_mutex(const char *name);
    ~f_mutex();
    f_mutex(const f_mutex &) = delete;
    f_mutex &operator=(const f_mutex &) = delete;

    void wait_mutex();
    void release_mutex();

private:
    std::string m_path;
    int m_fd = -1;
    ReadersWriters m_threads;
};

class f_mutex_sentry {
public:
    explicit f_mutex_sentry(f_mutex &mutex) : m_mutex(mutex) { m_mutex.wait_mutex(); }
    ~f_mutex_sentry() { m_mutex.release_mutex(); }
    f_mutex_sentry(const f_mutex_sentry &) = delete;
    f_mutex_sentry &operator=(const f_mutex_sentry &) = delete;

private:
    f_mutex &m_mutex;
};
