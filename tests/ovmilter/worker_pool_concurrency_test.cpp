// The pool of threads that call the plug-in, under many session threads at
// once: every job runs exactly once, never more at a time than the pool
// has threads, a stop leaves no caller waiting and runs nothing afterwards,
// and a job that throws does not take a worker with it.
#include "tools/ovmilter/worker_pool.h"

#include <gtest/gtest.h>

#include <atomic>
#include <memory>
#include <stdexcept>

namespace {

// Counts the jobs running at the same time and remembers the most.
struct Overlap {
    std::atomic<int> running{0};
    std::atomic<int> most{0};
    void enter()
    {
        int now = ++running;
        int seen = most.load();
        while (now > seen && !most.compare_exchange_weak(seen, now)) {
        }
    }
    void leave() { --running; }
};

TEST(WorkerPool, EveryJobRunsOnceAndNoMoreThanThePoolAtATime)
{
    constexpr int kCallers = 16, kJobs = 50, kThreads = 4;
    WorkerPool pool(kThreads);
    Overlap overlap;
    std::unique_ptr<std::atomic<int>[]> runs(new std::atomic<int>[kCallers * kJobs]());
    std::atomic<int> refused{0};
    std::vector<std::thread> callers;
    for (int c = 0; c < kCallers; ++c) {
        callers.emplace_back([&, c] {
            for (int j = 0; j < kJobs; ++j) {
                refused += !pool.run([&] {
                    overlap.enter();
                    ++runs[c * kJobs + j];
                    for (int k = 0; k < 50; ++k)
                        std::this_thread::yield();
                    overlap.leave();
                });
            }
        });
    }
    for (std::thread &caller : callers)
        caller.join();
    EXPECT_EQ(refused, 0);
    for (int i = 0; i < kCallers * kJobs; ++i)
        EXPECT_EQ(runs[i], 1) << "job " << i;
    EXPECT_GE(overlap.most, 1);
    EXPECT_LE(overlap.most, kThreads);
}

TEST(WorkerPool, StopWhileCallersSubmit)
{
    constexpr int kCallers = 8;
    WorkerPool pool(4);
    std::atomic<int> ran{0}, accepted{0}, lateRuns{0};
    std::atomic<bool> stopped{false};
    std::vector<std::thread> callers;
    for (int c = 0; c < kCallers; ++c) {
        callers.emplace_back([&] {
            // Until the pool refuses: every run() must come back.
            while (pool.run([&] {
                if (stopped)
                    ++lateRuns;
                ++ran;
            }))
                ++accepted;
        });
    }
    while (ran < 200)
        std::this_thread::yield();
    pool.stop();
    stopped = true;
    for (std::thread &caller : callers)
        caller.join();
    EXPECT_EQ(lateRuns, 0);
    EXPECT_EQ(accepted, ran); // true exactly for the jobs that ran
    pool.stop();              // a second stop does nothing
    EXPECT_FALSE(pool.run([&] { ++lateRuns; }));
    EXPECT_EQ(lateRuns, 0);
}

TEST(WorkerPool, AThrowingJobFailsAloneAndThePoolGoesOn)
{
    WorkerPool pool(2);
    std::atomic<int> ran{0};
    std::vector<std::thread> callers;
    for (int c = 0; c < 4; ++c) {
        callers.emplace_back([&] {
            for (int j = 0; j < 20; ++j) {
                EXPECT_FALSE(pool.run([] { throw std::runtime_error("no memory"); }));
                EXPECT_TRUE(pool.run([&] { ++ran; }));
            }
        });
    }
    for (std::thread &caller : callers)
        caller.join();
    EXPECT_EQ(ran, 80);
}

// A caller waiting for a slow job keeps doing its own small work meanwhile
// (telling the MTA the mail is still being judged), on its own thread.
TEST(WorkerPool, TheCallerKeepsBusyWhileItsJobRuns)
{
    WorkerPool pool(1);
    std::atomic<bool> release{false};
    const std::thread::id caller = std::this_thread::get_id();
    int calls = 0;
    bool onCaller = true;
    EXPECT_TRUE(pool.run([&] { while (!release) std::this_thread::yield(); },
                         [&] {
                             onCaller = onCaller && std::this_thread::get_id() == caller;
                             if (++calls == 3)
                                 release = true;
                         },
                         std::chrono::milliseconds(1)));
    EXPECT_GE(calls, 3);   // more when the job's thread is slow to see the release
    EXPECT_TRUE(onCaller);
}

} // namespace
