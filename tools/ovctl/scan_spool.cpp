// The spool of one ovctl scan and its removal (see scan_spool.h).
#include "tools/ovctl/scan_spool.h"

#include <dirent.h>
#include <pthread.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <ctime>

ScanSpool::ScanSpool(bool keep) : m_keep(keep)
{
    if (m_keep)
        return;
    sigemptyset(&m_signals);
    for (int signal : {SIGINT, SIGTERM, SIGHUP, SIGQUIT})
        sigaddset(&m_signals, signal);
    pthread_sigmask(SIG_BLOCK, &m_signals, &m_oldMask);
    m_watcher = std::thread([this] { watch(); });
}

ScanSpool::~ScanSpool()
{
    if (m_keep)
        return;
    m_done = true;
    m_watcher.join();
    remove_all();
    pthread_sigmask(SIG_SETMASK, &m_oldMask, nullptr);
}

bool ScanSpool::make(const std::string &parent, std::string *dir)
{
    // Made under the lock, so that a stopping signal either finds no
    // directory yet or finds it recorded.
    std::lock_guard<std::mutex> guard(m_mutex);
    std::string pattern = parent + "/ovctl-spool-XXXXXX";
    if (!mkdtemp(&pattern[0]))
        return false;
    m_dir = *dir = pattern;
    return true;
}

void ScanSpool::remove_all()
{
    std::lock_guard<std::mutex> guard(m_mutex);
    if (m_dir.empty())
        return;
    // Workers may still be writing pairs while a signal stops the scan: go
    // over the directory again until it can be removed.
    for (int attempt = 0; attempt < 200; ++attempt) {
        if (DIR *dir = opendir(m_dir.c_str())) {
            while (const dirent *entry = readdir(dir)) {
                const std::string name = entry->d_name;
                if (name != "." && name != "..")
                    std::remove((m_dir + "/" + name).c_str());
            }
            closedir(dir);
        }
        if (rmdir(m_dir.c_str()) == 0 || errno != ENOTEMPTY)
            break;
        const timespec pause{0, 5 * 1000 * 1000};
        nanosleep(&pause, nullptr);
    }
    m_dir.clear();
}

// Waits for a stopping signal in short slices, so that the destructor can end
// the wait; on one, cleans up and lets the signal end the process.
void ScanSpool::watch()
{
    const timespec slice{0, 100 * 1000 * 1000};
    while (!m_done) {
        const int signal = sigtimedwait(&m_signals, nullptr, &slice);
        if (signal <= 0)
            continue;
        remove_all();
        std::signal(signal, SIG_DFL);
        sigset_t one;
        sigemptyset(&one);
        sigaddset(&one, signal);
        pthread_sigmask(SIG_UNBLOCK, &one, nullptr);
        raise(signal);
        _exit(128 + signal); // SIG_DFL of these signals ends the process first
    }
}
