#include "tools/ovctl/quarantine_release.h"

#include <fcntl.h>
#include <spawn.h>
#include <sys/file.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <ctime>

extern char **environ;

const char kDefaultSendmail[] = "/usr/sbin/sendmail -oi -f SENDER --";

namespace {

std::vector<std::string> split_words(const std::string &command)
{
    std::vector<std::string> words;
    size_t at = 0;
    while ((at = command.find_first_not_of(" \t", at)) != std::string::npos) {
        size_t end = command.find_first_of(" \t", at);
        words.push_back(command.substr(at, end == std::string::npos ? end : end - at));
        at = end;
    }
    return words;
}

bool safe_address(const std::string &address)
{
    if (address.empty() || address[0] == '-')
        return false;
    for (unsigned char c : address) {
        if (c < 0x21 || c == 0x7F)
            return false;
    }
    return true;
}

// Holds an exclusive lock on the copy for one release.
class CopyLock {
public:
    explicit CopyLock(const std::string &path) : m_fd(::open(path.c_str(), O_RDONLY | O_CLOEXEC))
    {
        m_locked = m_fd >= 0 && flock(m_fd, LOCK_EX | LOCK_NB) == 0;
    }
    ~CopyLock()
    {
        if (m_fd >= 0)
            ::close(m_fd);
    }
    CopyLock(const CopyLock &) = delete;
    CopyLock &operator=(const CopyLock &) = delete;
    bool locked() const { return m_locked; }

private:
    int m_fd;
    bool m_locked = false;
};

// The record to mark: the host's, or one made from what the copy shows.
CopyRecord record_to_mark(const StoredCopy &copy)
{
    if (copy.recordState == RecordRead::Found)
        return copy.record;
    CopyRecord record;   // no host: the envelope comes from the headers
    record.sender = copy.sender;
    record.recipients = copy.recipients;
    record.time = copy.time;
    record.trigger = copy.trigger;
    return record;
}

} // namespace

bool sendmail_arguments(const std::string &command, const std::string &sender,
                        const std::vector<std::string> &recipients,
                        std::vector<std::string> *argv, std::string *error)
{
    if (recipients.empty()) {
        *error = "no recipients: give them with --to";
        return false;
    }
    std::string envelopeSender = sender.empty() ? "<>" : sender;
    if (!sender.empty() && !safe_address(sender)) {
        *error = "unsafe sender address \"" + sender + "\"";
        return false;
    }
    *argv = split_words(command);
    if (argv->empty()) {
        *error = "empty sendmail command";
        return false;
    }
    for (std::string &word : *argv) {
        if (word == "SENDER")
            word = envelopeSender;
    }
    for (const std::string &recipient : recipients) {
        if (!safe_address(recipient)) {
            *error = "unsafe recipient address \"" + recipient + "\"";
            return false;
        }
        argv->push_back(recipient);
    }
    return true;
}

bool run_with_input(const std::vector<std::string> &argv, const std::string &inputFile,
                    std::string *error)
{
    std::vector<char *> args;
    for (const std::string &word : argv)
        args.push_back(const_cast<char *>(word.c_str()));
    args.push_back(nullptr);
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, inputFile.c_str(), O_RDONLY, 0);
    pid_t child = 0;
    int failed = posix_spawnp(&child, args[0], &actions, nullptr, args.data(), environ);
    posix_spawn_file_actions_destroy(&actions);
    if (failed != 0) {
        *error = "cannot run " + argv[0] + ": " + std::strerror(failed);
        return false;
    }
    int status = 0;
    while (waitpid(child, &status, 0) < 0) {
        if (errno != EINTR) {
            *error = std::string("cannot wait for ") + argv[0] + ": " + std::strerror(errno);
            return false;
        }
    }
    if (WIFEXITED(status) && WEXITSTATUS(status) == 0)
        return true;
    *error = argv[0] + (WIFEXITED(status) ? " exited with " + std::to_string(WEXITSTATUS(status))
                                          : std::string(" was killed"));
    return false;
}

bool release_copy(const ReleaseRequest &request, std::vector<std::string> *sentTo,
                  std::string *error)
{
    const StoredCopy &copy = request.copy;
    CopyLock lock(copy.path);
    if (!lock.locked()) {
        *error = "cannot lock " + copy.path + " (being released right now?): " + std::strerror(errno);
        return false;
    }
    // Read again under the lock: another release may have just finished.
    CopyRecord record = record_to_mark(copy);
    CopyRecord current;
    std::string readError;
    RecordRead state = read_copy_record(copy.path, &current, &readError);
    if (state == RecordRead::Broken) {
        *error = readError;
        return false;
    }
    if (state == RecordRead::Found)
        record = current;
    if (record.released) {
        *error = copy.id + " was released on " + utc_time_text(record.released);
        return false;
    }
    const std::vector<std::string> &to = request.to.empty() ? record.recipients : request.to;
    std::vector<std::string> argv;
    if (!sendmail_arguments(request.command, record.sender, to, &argv, error) ||
        !run_with_input(argv, copy.path, error))
        return false;
    *sentTo = to;
    record.released = ::time(nullptr);
    record.releasedTo = to;
    if (!write_copy_record(copy.path, record, error)) {
        *error = "sent, but not marked released: " + *error;
        return false;
    }
    return true;
}
