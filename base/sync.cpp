// POSIX thread wrappers (ovMutex, ovCondVar), the counting semaphore and the
// readers-writers lock built on them (ovSemaphore, ovRWLock, ReadersWriters).
// Every lock of the plug-in goes through these classes; see base/sync.h.
#include "base/sync.h"

#include <ctime>

// ---- ovMutex ---------------------------------------------------------------

ovMutex::ovMutex() { pthread_mutex_init(&m_mutex, nullptr); }

ovMutex::~ovMutex() { pthread_mutex_destroy(&m_mutex); }

int ovMutex::lock() { return pthread_mutex_lock(&m_mutex); }

int ovMutex::trylock() { return pthread_mutex_trylock(&m_mutex); }

int ovMutex::unlock() { return pthread_mutex_unlock(&m_mutex); }

// ---- ovCondVar -------------------------------------------------------------

ovCondVar::ovCondVar() { pthread_cond_init(&m_cond, nullptr); }

ovCondVar::~ovCondVar() { pthread_cond_destroy(&m_cond); }

int ovCondVar::signal() { return pthread_cond_signal(&m_cond); }

int ovCondVar::broadcast() { return pthread_cond_broadcast(&m_cond); }

int ovCondVar::wait(ovMutex *mutex) { return pthread_cond_wait(&m_cond, mutex->native()); }

// The deadline counts from the current whole second; the nanosecond field is
// the argument itself, not added to the current time.
int ovCondVar::timedwait(ovMutex *mutex, int seconds, int nanoseconds)
{
    timespec deadline{};
    deadline.tv_sec = time(nullptr) + seconds;
    deadline.tv_nsec = nanoseconds;
    return pthread_cond_timedwait(&m_cond, mutex->native(), &deadline);
}

// ---- ovSemaphore -----------------------------------------------------------

ovSemaphore::ovSemaphore(int initial, int /*unused*/) : m_count(initial) {}

int ovSemaphore::wait()
{
    ovMutexLock guard(m_mutex);
    while (m_count < 1)
        m_cond.wait(&m_mutex);
    --m_count;
    return 0;
}

int ovSemaphore::trywait()
{
    ovMutexLock guard(m_mutex);
    if (m_count <= 0)
        return -1;
    --m_count;
    return 0;
}

int ovSemaphore::post()
{
    ovMutexLock guard(m_mutex);
    ++m_count;
    if (m_count > 0)
        m_cond.signal();
    return 0;
}

// ---- ovRWLock --------------------------------------------------------------

// A reader gives way to an active or waiting writer: it waits until a writer
// has left and none is active.
int ovRWLock::rdlock()
{
    ovMutexLock guard(m_mutex);
    if (m_activeWriters > 0 || m_waitingWriters > 0) {
        const unsigned long releasesSeen = m_writerReleases;
        ++m_waitingReaders;
        while (m_activeWriters > 0 || m_writerReleases == releasesSeen)
            m_readersCond.wait(&m_mutex);
        --m_waitingReaders;
    }
    ++m_activeReaders;
    return 0;
}

int ovRWLock::wrlock()
{
    ovMutexLock guard(m_mutex);
    if (m_activeWriters > 0 || m_activeReaders > 0) {
        ++m_waitingWriters;
        while (m_activeWriters > 0 || m_activeReaders > 0)
            m_writersCond.wait(&m_mutex);
        --m_waitingWriters;
    }
    m_activeWriters = 1;
    return 0;
}

int ovRWLock::tryrdlock()
{
    ovMutexLock guard(m_mutex);
    if (m_activeWriters > 0 || m_waitingWriters > 0)
        return -1;
    ++m_activeReaders;
    return 0;
}

int ovRWLock::trywrlock()
{
    ovMutexLock guard(m_mutex);
    if (m_activeWriters > 0 || m_activeReaders > 0)
        return -1;
    m_activeWriters = 1;
    return 0;
}

// The last reader hands over to one writer; a leaving writer hands over to
// all waiting readers first, and only to a writer when no reader waits.
int ovRWLock::unlock()
{
    ovMutexLock guard(m_mutex);
    if (m_activeReaders > 0 && m_activeWriters == 0) {
        --m_activeReaders;
        if (m_activeReaders == 0 && m_waitingWriters > 0)
            m_writersCond.signal();
        return 0;
    }
    if (m_activeWriters > 0) {
        m_activeWriters = 0;
        ++m_writerReleases;
        if (m_waitingReaders > 0)
            m_readersCond.broadcast();
        else if (m_waitingWriters > 0)
            m_writersCond.signal();
        return 0;
    }
    return -1;
}

ovRWLock::State ovRWLock::state()
{
    ovMutexLock guard(m_mutex);
    return {m_activeReaders, m_activeWriters, m_waitingReaders, m_waitingWriters};
}

// ---- ReadersWriters --------------------------------------------------------

ReadersWriters::ReadersWriters(int /*unused*/) {}

void ReadersWriters::StartReading() { m_lock.rdlock(); }

void ReadersWriters::StopReading() { m_lock.unlock(); }

void ReadersWriters::StartWriting() { m_lock.wrlock(); }

void ReadersWriters::StopWriting() { m_lock.unlock(); }
