// WorkerPool: a fixed number of threads that call the plug-in, so that no
// more mails are judged at once than the administrator allowed, however many
// SMTP sessions the MTA opens. The session thread hands its job over and
// waits for it.
//
//   WorkerPool pool(4);
//   if (!pool.run([&] { code = plugin.process(&call, &result); },
//                 [&] { smfi_progress(context); }))   // every 10 s of waiting
//       ...the pool is stopping: answer tempfail...
//   pool.stop();   // runs what is queued, refuses new jobs, joins
#pragma once

#include <chrono>
#include <condition_variable>
#include <deque>
#include <functional>
#include <mutex>
#include <thread>
#include <vector>

class WorkerPool {
public:
    explicit WorkerPool(int threads);
    ~WorkerPool();
    WorkerPool(const WorkerPool &) = delete;
    WorkerPool &operator=(const WorkerPool &) = delete;

    // Runs the job on a worker and returns once it has run; false when the
    // pool is stopping (the job not run) or the job threw. While it waits,
    // the caller's thread runs `whileWaiting` once per interval (to tell the
    // MTA that the mail is still being worked on).
    bool run(const std::function<void()> &job, const std::function<void()> &whileWaiting = {},
             std::chrono::milliseconds interval = std::chrono::seconds(10));

    // Lets the queued jobs finish, then ends the threads. Idempotent.
    void stop();

private:
    struct Job;
    void work();

    std::mutex m_mutex;
    std::condition_variable m_wake;
    std::deque<Job *> m_queue;
    bool m_stopping = false;
    std::vector<std::thread> m_threads;
};
