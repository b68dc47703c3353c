// f_mutex between two processes and between two threads of one process.
#include <gtest/gtest.h>

#include <poll.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <future>
#include <stdexcept>

#include "base/file_mutex.h"
#include "support/base_temp_dir.h"

namespace {

using namespace std::chrono_literals;

const int kBlockedMs = 100, kBoundedMs = 10000;

bool byte_arrives(int fd, int ms)
{
    pollfd entry{fd, POLLIN, 0};
    char byte = 0;
    return poll(&entry, 1, ms) == 1 && read(fd, &byte, 1) == 1;
}

struct Pipe {
    Pipe() { EXPECT_EQ(pipe(fds), 0); }
    ~Pipe() { close(fds[0]), close(fds[1]); }
    int fds[2] = {-1, -1};
};

} // namespace

TEST(FMutex, CreatesPrivateLockFileAndThrowsWhenItCannot)
{
    BaseTempDir tmp;
    {
        f_mutex lock(tmp.path("queue").c_str());
        struct stat info {};
        ASSERT_EQ(stat(tmp.path("queue.lock").c_str(), &info), 0);
        EXPECT_EQ(info.st_mode & 0077, 0u) << "only the owner may use the lock file";
    }
    EXPECT_TRUE(FileExists(tmp.path("queue.lock"))) << "the lock file stays";
    EXPECT_THROW(f_mutex(tmp.path("missing/queue").c_str()), std::runtime_error);
}

TEST(FMutex, ChildProcessWaitsWhileParentHoldsTheLock)
{
    BaseTempDir tmp;
    const std::string name = tmp.path("spool");
    f_mutex lock(name.c_str());
    Pipe got;

    pid_t child = -1;
    {
        f_mutex_sentry hold(lock);
        child = fork();
        ASSERT_GE(child, 0);
        if (child == 0) {
            f_mutex own(name.c_str());
            own.wait_mutex();
            const bool sent = write(got.fds[1], "x", 1) == 1;
            own.release_mutex();
            _exit(sent ? 0 : 1);
        }
        EXPECT_FALSE(byte_arrives(got.fds[0], kBlockedMs)) << "the child must wait";
    }
    EXPECT_TRUE(byte_arrives(got.fds[0], kBoundedMs));
    int status = -1;
    waitpid(child, &status, 0);
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0);
}

TEST(FMutex, ThreadsOfOneProcessExcludeEachOther)
{
    BaseTempDir tmp;
    f_mutex lock(tmp.path("spool").c_str());
    std::promise<void> release, holding;
    auto first = std::async(std::launch::async, [&] {
        f_mutex_sentry hold(lock);
        holding.set_value();
        release.get_future().wait();
    });
    ASSERT_EQ(holding.get_future().wait_for(10s), std::future_status::ready);
    auto second = std::async(std::launch::async, [&] { f_mutex_sentry hold(lock); });
    EXPECT_EQ(second.wait_for(std::chrono::milliseconds(kBlockedMs)), std::future_status::timeout);
    release.set_value();
    EXPECT_EQ(second.wait_for(10s), std::future_status::ready);
}
