#include "tools/ovmilter/worker_pool.h"

struct WorkerPool::Job {
    const std::function<void()> *task = nullptr;
    bool done = false;
    bool failed = false;
    std::condition_variable finished;
};

WorkerPool::WorkerPool(int threads)
{
    for (int i = 0; i < threads; ++i)
        m_threads.emplace_back([this] { work(); });
}

WorkerPool::~WorkerPool()
{
    stop();
}

bool WorkerPool::run(const std::function<void()> &job, const std::function<void()> &whileWaiting,
                     std::chrono::milliseconds interval)
{
    Job entry;
    entry.task = &job;
    std::unique_lock<std::mutex> lock(m_mutex);
    if (m_stopping)
        return false;
    m_queue.push_back(&entry);
    m_wake.notify_one();
    auto done = [&entry] { return entry.done; };
    while (!done()) {
        if (!whileWaiting) {
            entry.finished.wait(lock, done);
        } else if (!entry.finished.wait_for(lock, interval, done)) {
            lock.unlock();
            whileWaiting();
            lock.lock();
        }
    }
    return !entry.failed;
}

void WorkerPool::stop()
{
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        m_stopping = true;
    }
    m_wake.notify_all();
    for (std::thread &thread : m_threads) {
        if (thread.joinable())
            thread.join();
    }
}

void WorkerPool::work()
{
    std::unique_lock<std::mutex> lock(m_mutex);
    for (;;) {
        m_wake.wait(lock, [this] { return m_stopping || !m_queue.empty(); });
        if (m_queue.empty())
            return;   // stopping, and nothing left to run
        Job *job = m_queue.front();
        m_queue.pop_front();
        lock.unlock();
        bool failed = false;
        try {
            (*job->task)();
        } catch (...) {
            failed = true;   // e.g. out of memory: the mail gets a tempfail
        }
        lock.lock();
        job->failed = failed;
        job->done = true;
        job->finished.notify_one();
    }
}
