// SignalRelay: how ovmilter takes its signals. libmilter starts a thread of
// its own that waits for SIGHUP, SIGTERM and SIGINT and stops the milter on
// any of them; a SIGHUP there would end the daemon instead of reloading the
// settings. So every thread, libmilter's included, is born with the three
// signals blocked, and only the main thread unblocks them, with handlers
// that write one byte into a pipe. Linux offers a signal sent to the process
// first to its main thread when that thread does not block it, so the main
// thread gets them and libmilter's thread does not. The one exception: a
// second, different signal that arrives while the main thread has the first
// pending and has not run yet may go to libmilter, which then ends its loop;
// the daemon notices the loop ended unasked, finishes the open mails and
// exits with status 1.
//
//   SignalRelay::block_in_this_thread();     // first thing, before any thread
//   ... start threads ...
//   SignalRelay relay;
//   if (!relay.start(&error)) ...            // in the main thread
//   for (;;) switch (relay.wait()) { ... }
//   relay.post(SignalRelay::MilterEnded);    // from any thread
#pragma once

#include <string>

class SignalRelay {
public:
    enum Event { Reload, Stop, MilterEnded };

    SignalRelay() = default;
    ~SignalRelay();
    SignalRelay(const SignalRelay &) = delete;
    SignalRelay &operator=(const SignalRelay &) = delete;

    // Blocks SIGHUP, SIGTERM and SIGINT in the calling thread (threads it
    // starts later inherit that) and ignores SIGPIPE.
    static void block_in_this_thread();

    // Makes the pipe, installs the handlers and unblocks the signals in the
    // calling thread; false with a reason.
    bool start(std::string *error);

    // The next event; waits for it.
    Event wait();

    void post(Event event);
};
