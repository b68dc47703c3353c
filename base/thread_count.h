// THREAD_COUNT: counts the threads inside the plug-in so that a reload or a
// shutdown can wait until no mail is in progress.
//
//   mail thread:      if (!ThreadsNum.INC()) refuse;  ... ;  ThreadsNum.DEC();
//   update/cleanup:   ThreadsNum.WaitForZero_Start(); ... ; ThreadsNum.WaitForZero_Stop();
//
// While WaitForZero_Start holds the entry mutex no thread can enter; at most
// 9999 threads are counted. Every step writes a debug-log line.
#pragma once

#include "base/sync.h"

class THREAD_COUNT {
public:
    THREAD_COUNT() = default;
    bool INC();
    void DEC();
    void WaitForZero_Start();
    void WaitForZero_Stop();
    int count();   // current count, read under the count mutex

private:
    int m_count = 0;
    ovMutex m_countMutex;
    ovMutex m_entryMutex;
    ovCondVar m_zero;
};
