// THREAD_COUNT: the count of mail threads inside the plug-in, with the entry
// gate that lets update and cleanup wait for the count to drain to zero.
// Every step writes one debug-log line; see base/thread_count.h.
//
// Lock order: entry mutex, then count mutex, then the debug log's own lock.
#include "base/thread_count.h"

#include "base/log.h"

namespace {
const int kMaxThreads = 9999;
}

bool THREAD_COUNT::INC()
{
    ovMutexLock entry(m_entryMutex);
    ovMutexLock guard(m_countMutex);
    const int before = m_count;
    if (m_count > kMaxThreads - 1)
        ovux_log->start() << "INC: Error: Reach maximum num(" << m_count << ") = " << kMaxThreads
                          << Orvane::endl;
    else
        ++m_count;
    ovux_log->start() << "INC: num(" << before << ") => (" << m_count << ")" << Orvane::endl;
    return before < kMaxThreads;
}

void THREAD_COUNT::DEC()
{
    ovMutexLock guard(m_countMutex);
    const int before = m_count;
    if (m_count < 1)
        ovux_log->start() << "DEC: Error: Reach zero num(" << m_count << ")" << Orvane::endl;
    else
        --m_count;
    if (m_count == 0)
        m_zero.signal();
    ovux_log->start() << "DEC: num(" << before << ") => (" << m_count << ")" << Orvane::endl;
}

// Keeps the entry mutex until WaitForZero_Stop, so no new thread is counted
// in, and waits for the running ones to leave.
void THREAD_COUNT::WaitForZero_Start()
{
    m_entryMutex.lock();
    ovMutexLock guard(m_countMutex);
    ovux_log->start() << "WaitForZero_Start: Hold inc_lock. num(" << m_count << ")"
                      << Orvane::endl;
    while (m_count > 0)
        m_zero.wait(&m_countMutex);
    ovux_log->start() << "WaitForZero_Start: Zero = num(" << m_count << ")" << Orvane::endl;
}

void THREAD_COUNT::WaitForZero_Stop() { m_entryMutex.unlock(); }

int THREAD_COUNT::count()
{
    ovMutexLock guard(m_countMutex);
    return m_count;
}
