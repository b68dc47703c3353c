// The worker pool under many session threads: each job runs once, within
// the pool's size, a throw fails alone, a stop strands no caller.
#include "tools/ovmilter/worker_pool.h"

#include <gtest/gtest.h>

#include <atomic>
#include <memory>
#include <stdexcept>

namespace {

// Runs `body(caller)` on `count` threads at once and joins them.
template <typename Body> void on_threads(int count, Body body)
{
    std::vector<std::thread> threads;
    for (int c = 0; c < count; ++c)
        threads.emplace_back(body, c);
    for (std::thread &thread : threads)
        thread.join();
}

TEST(WorkerPool, EveryJobRunsOnceNoMoreThanThePoolAtATimeAndAThrowFailsAlone)
{
    constexpr int kCallers = 16, kJobs = 50, kThreads = 4;
    WorkerPool pool(kThreads);
    std::atomic<int> running{0}, most{0}, refused{0}, threw{0};
    std::unique_ptr<std::atomic<int>[]> runs(new std::atomic<int>[kCallers * kJobs]());
    on_threads(kCallers, [&](int c) {
        for (int j = 0; j < kJobs; ++j) {
            threw += !pool.run([] { throw std::runtime_error("no memory"); });
            refused += !pool.run([&] {
                int now = ++running, seen = most.load();
                while (now > seen && !most.compare_exchange_weak(seen, now)) {
                }
                ++runs[c * kJobs + j];
                for (int k = 0; k < 50; ++k)
                    std::this_thread::yield();
                --running;
            });
        }
    });
    EXPECT_EQ(refused, 0);
    EXPECT_EQ(threw, kCallers * kJobs);
    for (int i = 0; i < kCallers * kJobs; ++i)
        EXPECT_EQ(runs[i], 1) << "job " << i;
    EXPECT_GE(most, 1);
    EXPECT_LE(most, kThreads);
}

TEST(WorkerPool, StopWhileCallersSubmit)
{
    WorkerPool pool(4);
    std::atomic<int> ran{0}, accepted{0}, lateRuns{0};
    std::atomic<bool> stopped{false};
    std::thread stopper([&] {
        while (ran < 200)
            std::this_thread::yield();
        pool.stop();
        stopped = true;
    });
    on_threads(8, [&](int) {
        // Until the pool refuses: every run() must come back.
        while (pool.run([&] {
            lateRuns += stopped;
            ++ran;
        }))
            ++accepted;
    });
    stopper.join();
    EXPECT_EQ(lateRuns, 0);
    EXPECT_EQ(accepted, ran); // true exactly for the jobs that ran
    pool.stop();              // a second stop does nothing
    EXPECT_FALSE(pool.run([&] { ++lateRuns; }));
    EXPECT_EQ(lateRuns, 0);
}

} // namespace
