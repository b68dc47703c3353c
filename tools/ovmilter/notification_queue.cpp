#include "tools/ovmilter/notification_queue.h"

#include <fcntl.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstring>
#include <mutex>
#include <thread>

#include "tools/ovmilter/milter_log.h"

extern char **environ;

namespace {

std::mutex g_commandMutex;
std::vector<std::string> g_command{"/usr/sbin/sendmail", "-oi"};

const int kSendmailTimeoutSeconds = 120;

std::string exit_text(int status)
{
    if (WIFEXITED(status))
        return "exit status " + std::to_string(WEXITSTATUS(status));
    if (WIFSIGNALED(status))
        return "killed by signal " + std::to_string(WTERMSIG(status));
    return "status " + std::to_string(status);
}

// Waits for the child at most `timeoutSeconds`, then kills it.
bool wait_for_child(pid_t child, int timeoutSeconds, int *status)
{
    auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(timeoutSeconds);
    for (;;) {
        pid_t done = waitpid(child, status, WNOHANG);
        if (done == child)
            return true;
        if (done < 0 && errno != EINTR)
            return false;
        if (std::chrono::steady_clock::now() >= deadline) {
            kill(child, SIGKILL);
            waitpid(child, status, 0);
            return false;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
}

} // namespace

void set_notification_command(const std::vector<std::string> &command)
{
    std::lock_guard<std::mutex> lock(g_commandMutex);
    g_command = command;
}

std::vector<std::string> sendmail_arguments(const std::vector<std::string> &command,
                                            const char *from, char *const *recipients,
                                            std::vector<std::string> *refused)
{
    std::vector<std::string> words = command;
    words.push_back("-f");
    words.push_back(from && *from ? from : "<>");
    for (char *const *recipient = recipients; recipient && *recipient; ++recipient) {
        std::string address = *recipient;
        if (address.empty())
            continue;
        if (address[0] == '-')
            refused->push_back(address);
        else
            words.push_back(address);
    }
    return words;
}

bool run_with_input(const std::vector<std::string> &words, const std::string &inputPath,
                    int timeoutSeconds, std::string *error)
{
    std::vector<char *> argv;
    for (const std::string &word : words)
        argv.push_back(const_cast<char *>(word.c_str()));
    argv.push_back(nullptr);

    posix_spawn_file_actions_t files;
    posix_spawn_file_actions_init(&files);
    posix_spawn_file_actions_addopen(&files, 0, inputPath.c_str(), O_RDONLY, 0);
    // The child starts with no signal blocked and the usual dispositions,
    // whatever this daemon's threads block or ignore.
    posix_spawnattr_t attributes;
    posix_spawnattr_init(&attributes);
    sigset_t none, defaults;
    sigemptyset(&none);
    sigemptyset(&defaults);
    for (int signal : {SIGPIPE, SIGHUP, SIGTERM, SIGINT})
        sigaddset(&defaults, signal);
    posix_spawnattr_setsigmask(&attributes, &none);
    posix_spawnattr_setsigdefault(&attributes, &defaults);
    posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF);

    pid_t child = 0;
    int rc = posix_spawnp(&child, argv[0], &files, &attributes, argv.data(), environ);
    posix_spawn_file_actions_destroy(&files);
    posix_spawnattr_destroy(&attributes);
    if (rc != 0) {
        *error = "cannot run " + words[0] + ": " + std::strerror(rc);
        return false;
    }
    int status = 0;
    if (!wait_for_child(child, timeoutSeconds, &status)) {
        *error = words[0] + " did not finish within " + std::to_string(timeoutSeconds) + " s";
        return false;
    }
    if (!WIFEXITED(status) || WEXITSTATUS(status) != 0) {
        *error = words[0] + " failed: " + exit_text(status);
        return false;
    }
    return true;
}

extern "C" int ovmilter_enque_mail(ZWEnqueRecord *record)
{
    if (!record || !record->path)
        return -1;
    std::vector<std::string> command;
    {
        std::lock_guard<std::mutex> lock(g_commandMutex);
        command = g_command;
    }
    std::vector<std::string> refused;
    std::vector<std::string> words =
        sendmail_arguments(command, record->from, record->recipients, &refused);
    for (const std::string &address : refused)
        milter_log(LOG_WARNING, "notification %s: recipient \"%s\" left out (looks like an option)",
                   record->path, address.c_str());
    if (words.size() == command.size() + 2) {
        milter_log(LOG_WARNING, "notification %s has no recipient; kept", record->path);
        return -1;
    }
    std::string error;
    if (!run_with_input(words, record->path, kSendmailTimeoutSeconds, &error)) {
        milter_log(LOG_ERR, "notification %s not sent (%s); kept", record->path, error.c_str());
        return -1;
    }
    std::remove(record->path);
    milter_log(LOG_INFO, "notification from %s handed to %s", words[command.size() + 1].c_str(),
               command[0].c_str());
    return 0;
}
