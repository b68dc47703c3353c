// DaemonStart: puts ovmilter into the background the usual way (fork, new
// session, working directory "/", standard files on /dev/null), while the
// starting command waits until the daemon reports that it is ready or why it
// could not start, so an administrator sees start-up errors and the exit
// status tells them apart.
//
//   DaemonStart start;
//   if (!foreground && !start.detach(&error)) ...   // only the daemon returns
//   ...
//   start.failed("cannot load libov.so: ...");      // the command prints it, exits 1
//   start.ready();                                  // the command exits 0
#pragma once

#include <string>

class DaemonStart {
public:
    DaemonStart() = default;
    ~DaemonStart();
    DaemonStart(const DaemonStart &) = delete;
    DaemonStart &operator=(const DaemonStart &) = delete;

    // In the parent: waits for the daemon's report and exits. In the daemon:
    // returns true. False with a reason when the fork fails.
    bool detach(std::string *error);

    void ready();
    void failed(const std::string &reason);

private:
    void report(const std::string &text);
    int m_report = -1;   // write end of the pipe to the waiting command
};

// Writes the process id into `path`; false with a reason.
bool write_pid_file(const std::string &path, std::string *error);
