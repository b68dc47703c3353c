// Thin wrappers over the POSIX thread primitives, and the locks built on them.
//
//   ovMutex        one pthread mutex; lock/trylock/unlock return the POSIX result
//   ovCondVar      one condition variable; timedwait's deadline is time(0) +
//                  seconds with the nanosecond field set to `nanoseconds` itself
//   ovSemaphore    counting semaphore from a mutex, a condition and a count
//   ovRWLock       readers-writers lock: new readers give way to waiting
//                  writers; a leaving writer wakes waiting readers first
//                  (it is not recursive: a thread that holds it must not
//                  take it again)
//   ReadersWriters an ovRWLock with named operations
//
// None of them can be copied. The ovRWLock counters change only under its mutex.
#pragma once

#include <pthread.h>

class ovMutex {
public:
    ovMutex();
    ~ovMutex();
    ovMutex(const ovMutex &) = delete;
    ovMutex &operator=(const ovMutex &) = delete;

    int lock();
    int trylock();
    int unlock();
    pthread_mutex_t *native() { return &m_mutex; }

private:
    pthread_mutex_t m_mutex;
};

// Scope guard for an ovMutex.
class ovMutexLock {
public:
    explicit ovMutexLock(ovMutex &mutex) : m_mutex(mutex) { m_mutex.lock(); }
    ~ovMutexLock() { m_mutex.unlock(); }
    ovMutexLock(const ovMutexLock &) = delete;
    ovMutexLock &operator=(const ovMutexLock &) = delete;

private:
    ovMutex &m_mutex;
};

class ovCondVar {
public:
    ovCondVar();
    ~ovCondVar();
    ovCondVar(const ovCondVar &) = delete;
    ovCondVar &operator=(const ovCondVar &) = delete;

    int signal();
    int broadcast();
    int wait(ovMutex *mutex);
    int timedwait(ovMutex *mutex, int seconds, int nanoseconds);

private:
    pthread_cond_t m_cond;
};

class ovSemaphore {
public:
    ovSemaphore(int initial, int unused = 0);
    int wait();
    int trywait();   // 0 when taken, -1 when the count is 0
    int post();

private:
    ovMutex m_mutex;
    ovCondVar m_cond;
    int m_count;
};

class ovRWLock {
public:
    ovRWLock() = default;
    ovRWLock(const ovRWLock &) = delete;
    ovRWLock &operator=(const ovRWLock &) = delete;

    int rdlock();
    int wrlock();
    int tryrdlock();   // 0 or -1
    int trywrlock();   // 0 or -1
    int unlock();      // releases the reader or writer side; -1 when not held

    // The counters at one moment, read under the mutex (for diagnostics and
    // for tests that must know a thread is already waiting).
    struct State {
        int activeReaders;
        int activeWriters;
        int waitingReaders;
        int waitingWriters;
    };
    State state();

private:
    int m_activeReaders = 0;
    int m_activeWriters = 0;
    int m_waitingReaders = 0;
    int m_waitingWriters = 0;
    ovMutex m_mutex;
    ovCondVar m_readersCond;
    ovCondVar m_writersCond;
    // Counts the writers that have left; a waiting reader enters only after
    // a writer left, so a spurious wake-up cannot let it pass a waiting writer.
    unsigned long m_writerReleases = 0;
};

class ReadersWriters {
public:
    explicit ReadersWriters(int unused = 0);
    void StartReading();
    void StopReading();
    void StartWriting();
    void StopWriting();

private:
    ovRWLock m_lock;
};

// Scope guards for ReadersWriters.
class ReadLock {
public:
    explicit ReadLock(ReadersWriters &rw) : m_rw(rw) { m_rw.StartReading(); }
    ~ReadLock() { m_rw.StopReading(); }
    ReadLock(const ReadLock &) = delete;
    ReadLock &operator=(const ReadLock &) = delete;

private:
    ReadersWriters &m_rw;
};

class WriteLock {
public:
    explicit WriteLock(ReadersWriters &rw) : m_rw(rw) { m_rw.StartWriting(); }
    ~WriteLock() { m_rw.StopWriting(); }
    WriteLock(const WriteLock &) = delete;
    WriteLock &operator=(const WriteLock &) = delete;

private:
    ReadersWriters &m_rw;
};
