#include "tools/ovmilter/signal_relay.h"

#include <fcntl.h>
#include <signal.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

namespace {

int g_pipe[2] = {-1, -1};

const int kSignals[] = {SIGHUP, SIGTERM, SIGINT};

void relay_signal(int signal)
{
    int saved = errno;
    char byte = signal == SIGHUP ? 'R' : 'S';
    ssize_t written = write(g_pipe[1], &byte, 1);
    (void)written;   // a full pipe already holds an event of this kind
    errno = saved;
}

sigset_t relayed_signals()
{
    sigset_t set;
    sigemptyset(&set);
    for (int signal : kSignals)
        sigaddset(&set, signal);
    return set;
}

} // namespace

SignalRelay::~SignalRelay()
{
    for (int &fd : g_pipe) {
        if (fd >= 0)
            close(fd);
        fd = -1;
    }
}

void SignalRelay::block_in_this_thread()
{
    sigset_t set = relayed_signals();
    pthread_sigmask(SIG_BLOCK, &set, nullptr);
    signal(SIGPIPE, SIG_IGN);
}

bool SignalRelay::start(std::string *error)
{
    if (pipe2(g_pipe, O_CLOEXEC) != 0) {
        *error = std::string("cannot make a pipe: ") + std::strerror(errno);
        return false;
    }
    fcntl(g_pipe[1], F_SETFL, O_NONBLOCK);
    struct sigaction action {};
    action.sa_handler = relay_signal;
    // SA_NODEFER keeps the signal unblocked here while the handler runs, so
    // that a second one cannot go to libmilter's thread meanwhile.
    action.sa_flags = SA_RESTART | SA_NODEFER;
    sigemptyset(&action.sa_mask);
    for (int signal : kSignals)
        sigaction(signal, &action, nullptr);
    sigset_t set = relayed_signals();
    pthread_sigmask(SIG_UNBLOCK, &set, nullptr);
    return true;
}

SignalRelay::Event SignalRelay::wait()
{
    for (;;) {
        char byte = 0;
        ssize_t got = read(g_pipe[0], &byte, 1);
        if (got == 1) {
            if (byte == 'R')
                return Reload;
            if (byte == 'E')
                return MilterEnded;
            return Stop;
        }
        if (got < 0 && errno == EINTR)
            continue;
        return Stop;   // the pipe is gone: nothing more can arrive
    }
}

void SignalRelay::post(Event event)
{
    char byte = event == Reload ? 'R' : event == MilterEnded ? 'E' : 'S';
    ssize_t written = write(g_pipe[1], &byte, 1);
    (void)written;
}
