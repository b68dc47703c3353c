// The lock classes and the thread counter with real threads. A step "blocks"
// when unfinished after 100 ms; every other wait is bounded (10 s).
#include <gtest/gtest.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <ctime>
#include <functional>
#include <future>
#include <memory>
#include <thread>
#include <utility>
#include <vector>

#include "base/sync.h"
#include "base/thread_count.h"
#include "support/base_log_capture.h"

namespace {

using namespace std::chrono_literals;

const std::chrono::milliseconds kBlocked = 100ms, kBounded = 10s;

bool blocked(std::future<void> &step) { return step.wait_for(kBlocked) == std::future_status::timeout; }

bool finishes(std::future<void> &step) { return step.wait_for(kBounded) == std::future_status::ready; }

// Threads that take a step, report it, wait to be released and give back;
// all are released before any is joined.
class Crew {
public:
    struct Holder {
        std::promise<void> takenPromise, release;
        std::future<void> taken = takenPromise.get_future();
        std::thread thread;
        bool released = false;
    };
    ~Crew()
    {
        for (auto &holder : m_holders)
            release(*holder);
        for (auto &holder : m_holders)
            holder->thread.join();
    }
    Holder &spawn(std::function<void()> take, std::function<void()> give = [] {})
    {
        m_holders.push_back(std::make_unique<Holder>());
        Holder *h = m_holders.back().get();
        h->thread = std::thread([h, take, give, go = h->release.get_future()] {
            take();
            h->takenPromise.set_value();
            go.wait();
            give();
        });
        return *h;
    }
    static void release(Holder &holder)
    {
        if (!std::exchange(holder.released, true))
            holder.release.set_value();
    }
    Holder &reader(ovRWLock &rw) { return spawn([&rw] { rw.rdlock(); }, [&rw] { rw.unlock(); }); }
    Holder &writer(ovRWLock &rw) { return spawn([&rw] { rw.wrlock(); }, [&rw] { rw.unlock(); }); }

private:
    std::vector<std::unique_ptr<Holder>> m_holders;
};
using Holder = Crew::Holder;

// Spins until the lock counts the given waiters.
bool waiting(ovRWLock &rw, int readers, int writers)
{
    const auto deadline = std::chrono::steady_clock::now() + kBounded;
    while (std::chrono::steady_clock::now() < deadline) {
        const ovRWLock::State state = rw.state();
        if (state.waitingReaders == readers && state.waitingWriters == writers)
            return true;
        std::this_thread::yield();
    }
    return false;
}

} // namespace

TEST(OvRWLock, ReaderArrivingWhileWriterWaitsBlocksUntilWriterIsDone)
{
    ovRWLock rw;
    Crew crew;
    Holder &first = crew.reader(rw);
    EXPECT_TRUE(finishes(first.taken));

    Holder &w = crew.writer(rw);
    EXPECT_TRUE(waiting(rw, 0, 1));
    EXPECT_TRUE(blocked(w.taken));

    Holder &late = crew.reader(rw);
    EXPECT_TRUE(waiting(rw, 1, 1)) << "a new reader must give way to the waiting writer";
    EXPECT_TRUE(blocked(late.taken));

    Crew::release(first);
    EXPECT_TRUE(finishes(w.taken));
    EXPECT_TRUE(blocked(late.taken));

    Crew::release(w);
    EXPECT_TRUE(finishes(late.taken));
}

TEST(ReadersWriters, WritersExcludeEachOtherAndReadersShare)
{
    ReadersWriters rw(0);
    int counter = 0;
    std::vector<std::thread> threads;
    for (int t = 0; t < 8; ++t)
        threads.emplace_back([&, t] {
            for (int i = 0; i < 500; ++i)
                if (t % 2) {
                    WriteLock hold(rw);
                    ++counter;
                } else {
                    ReadLock hold(rw);
                    EXPECT_GE(counter, 0);
                }
        });
    for (std::thread &thread : threads)
        thread.join();
    EXPECT_EQ(counter, 2000);
}

TEST(OvSemaphore, CountsAndWakesOneWaiterPerPost)
{
    ovSemaphore semaphore(2, 0);
    EXPECT_EQ(semaphore.trywait(), 0);
    EXPECT_EQ(semaphore.trywait(), 0);
    EXPECT_EQ(semaphore.trywait(), -1);

    Crew crew;
    std::future<void> &first = crew.spawn([&] { semaphore.wait(); }).taken,
                      &second = crew.spawn([&] { semaphore.wait(); }).taken;
    EXPECT_TRUE(blocked(first));
    EXPECT_TRUE(blocked(second));

    semaphore.post();
    const auto deadline = std::chrono::steady_clock::now() + kBounded;
    int woken = 0;
    while (woken == 0 && std::chrono::steady_clock::now() < deadline)
        woken = (first.wait_for(1ms) == std::future_status::ready) +
                (second.wait_for(1ms) == std::future_status::ready);
    EXPECT_EQ(woken, 1) << "one post wakes one waiter";
    semaphore.post();
    EXPECT_TRUE(finishes(first));
    EXPECT_TRUE(finishes(second));
    EXPECT_EQ(semaphore.trywait(), -1);
}

TEST(OvCondVar, TimedwaitDeadlineIsWholeSecondsPlusGivenNanoseconds)
{
    const struct {   // the deadline is time(0) + seconds, the nanoseconds its fraction
        int seconds, nanoseconds, result;
    } rows[] = {{-5, 999999999, ETIMEDOUT}, {0, 1000000000, EINVAL}, {1, 0, ETIMEDOUT}};
    ovMutex mutex;
    ovCondVar cond;
    for (const auto &row : rows) {
        SCOPED_TRACE(row.seconds);
        ovMutexLock guard(mutex);
        const time_t before = time(nullptr);
        EXPECT_EQ(cond.timedwait(&mutex, row.seconds, row.nanoseconds), row.result);
        timespec now{};
        clock_gettime(CLOCK_REALTIME, &now);
        EXPECT_GE(now.tv_sec, before + std::max(row.seconds, 0));
    }
}

TEST(ThreadCount, CountsInAndOutWithDebugLinesAndRefusesAtLimits)
{
    THREAD_COUNT counter;
    std::unique_ptr<BaseLogCapture> capture(new BaseLogCapture);
    EXPECT_TRUE(counter.INC());
    counter.DEC();
    counter.DEC();
    EXPECT_EQ(counter.count(), 0);
    EXPECT_EQ(capture->lines(), (std::vector<std::string>{"INC: num(0) => (1)", "DEC: num(1) => (0)",
                                                          "DEC: Error: Reach zero num(0)", "DEC: num(0) => (0)"}));
    capture.reset();
    for (int i = 1; i < 9999; ++i)
        counter.INC();
    capture.reset(new BaseLogCapture);
    EXPECT_TRUE(counter.INC()) << "the 9999th thread is still counted";
    EXPECT_FALSE(counter.INC());
    EXPECT_EQ(counter.count(), 9999);
    EXPECT_EQ(capture->lines(), (std::vector<std::string>{"INC: num(9998) => (9999)",
                                                          "INC: Error: Reach maximum num(9999) = 9999", "INC: num(9999) => (9999)"}));
}

TEST(ThreadCount, WaitForZeroDrainsRunningThreadsAndHoldsNewOnesBack)
{
    BaseLogCapture capture;
    THREAD_COUNT counter;
    EXPECT_TRUE(counter.INC());

    Crew crew;
    Holder &update =
        crew.spawn([&] { counter.WaitForZero_Start(); }, [&] { counter.WaitForZero_Stop(); });
    EXPECT_TRUE(capture.wait_for("WaitForZero_Start: Hold inc_lock. num(1)"));
    EXPECT_TRUE(blocked(update.taken)) << "a running mail thread is still counted";

    std::future<void> &newcomer = crew.spawn([&] { EXPECT_TRUE(counter.INC()); }).taken;
    EXPECT_TRUE(blocked(newcomer));

    counter.DEC();
    EXPECT_TRUE(finishes(update.taken));
    EXPECT_TRUE(capture.wait_for("WaitForZero_Start: Zero = num(0)"));
    EXPECT_TRUE(blocked(newcomer)) << "no thread enters until WaitForZero_Stop";
    EXPECT_EQ(counter.count(), 0);

    Crew::release(update);
    EXPECT_TRUE(finishes(newcomer));
    EXPECT_EQ(counter.count(), 1);
}
