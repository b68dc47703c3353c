// ScanSpool: the spool directory made for one ovctl scan. It is removed with
// everything in it (the envelope/data pairs written for the batch) when the
// object goes, however the command ends, and also when the command is
// stopped by SIGINT,
// SIGTERM, SIGHUP or SIGQUIT: while the object lives those signals are
// blocked in every thread started after it and taken by a watcher thread,
// which removes the files and then ends the process with the same signal.
//
//   ScanSpool spool(keep);        // keep: a --spool directory, left alone
//   spool.make(tmpdir, &dir);     // a fresh directory for this scan
#pragma once

#include <signal.h>

#include <atomic>
#include <mutex>
#include <string>
#include <thread>

class ScanSpool
{
public:
    explicit ScanSpool(bool keep);
    ~ScanSpool();
    ScanSpool(const ScanSpool &) = delete;
    ScanSpool &operator=(const ScanSpool &) = delete;

    // Makes a fresh spool directory in `parent` and takes it in charge.
    bool make(const std::string &parent, std::string *dir);

private:
    void watch();
    void remove_all();

    const bool m_keep;
    std::mutex m_mutex;
    std::string m_dir;
    sigset_t m_signals;
    sigset_t m_oldMask;
    std::atomic<bool> m_done{false};
    std::thread m_watcher;
};
