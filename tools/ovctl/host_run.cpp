#include "tools/ovctl/host_run.h"

#include <dirent.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <map>
#include <mutex>
#include <sstream>
#include <thread>

#include "base/profile.h"
#include "tools/hostkit/json_text.h"
#include "tools/hostkit/verdict_words.h"

namespace {

// The host's queue: ZWEnqueMailFn is a plain function pointer, so the outbox
// it writes to is process state.
std::mutex g_outboxMutex;
std::string g_outbox;
unsigned g_queued = 0;

// Writes `text` to `path` whole; false (and no file) when any write fails.
bool write_whole_file(const std::string &path, const std::string &text)
{
    std::ofstream out(path, std::ios::binary | std::ios::trunc);
    out << text;
    out.close();
    if (out)
        return true;
    std::remove(path.c_str());
    return false;
}

// The notification mail moved (or, across file systems, copied) to `to`.
bool move_queued_mail(const char *from, const std::string &to)
{
    if (std::rename(from, to.c_str()) == 0)
        return true;
    std::ifstream in(from, std::ios::binary);
    std::ostringstream text;
    text << in.rdbuf();
    if (!in || !write_whole_file(to, text.str()))
        return false;
    std::remove(from);
    return true;
}

// Keeps a queued notification in the outbox as notification-N.eml with its
// envelope in notification-N.env; -1 when either cannot be written, so that
// the plug-in reports the notification as not queued.
int enqueue_to_outbox(ZWEnqueRecord *record)
{
    if (!record || !record->path)
        return -1;
    std::lock_guard<std::mutex> guard(g_outboxMutex);
    ++g_queued;
    if (g_outbox.empty()) {
        std::remove(record->path);
        return 0;
    }
    const std::string base = g_outbox + "/notification-" + std::to_string(g_queued);
    std::string envelope = "from " + std::string(record->from ? record->from : "") + "\n";
    for (char **to = record->recipients; to && *to; ++to)
        envelope += "to " + std::string(*to) + "\n";
    if (!write_whole_file(base + ".env", envelope))
        return -1;
    if (!move_queued_mail(record->path, base + ".eml")) {
        std::remove((base + ".env").c_str());
        return -1;
    }
    return 0;
}

// Sizes of the event-log files before the run, so that only what this run
// appended is read back.
std::map<std::string, off_t> event_log_sizes(const std::string &dir)
{
    std::map<std::string, off_t> sizes;
    DIR *handle = opendir(dir.c_str());
    if (!handle)
        return sizes;
    while (dirent *entry = readdir(handle)) {
        if (std::strncmp(entry->d_name, "pwall.log.", 10) != 0)
            continue;
        struct stat info;
        std::string path = dir + entry->d_name;
        if (stat(path.c_str(), &info) == 0)
            sizes[path] = info.st_size;
    }
    closedir(handle);
    return sizes;
}

std::string base_name(const std::string &path)
{
    size_t slash = path.rfind('/');
    return slash == std::string::npos ? path : path.substr(slash + 1);
}

// Reads the mail records appended to the event log ("EMAIL\date time\record",
// record fields separated by backslashes: direction, action, name, sender,
// then "<dir>/<data file>") and maps data file names to rule or policy names.
std::map<std::string, std::string> names_from_event_log(const std::string &dir,
                                                        const std::map<std::string, off_t> &before)
{
    std::map<std::string, std::string> names;
    for (const auto &entry : event_log_sizes(dir)) {
        auto old = before.find(entry.first);
        off_t from = old == before.end() ? 0 : old->second;
        std::ifstream in(entry.first, std::ios::binary);
        in.seekg(from);
        std::string line;
        while (std::getline(in, line)) {
            if (line.compare(0, 6, "EMAIL\\") != 0)
                continue;
            std::vector<std::string> fields;
            size_t start = 6;
            for (size_t at; (at = line.find('\\', start)) != std::string::npos; start = at + 1)
                fields.push_back(line.substr(start, at - start));
            fields.push_back(line.substr(start));
            // fields[0] is the time stamp.
            if (fields.size() >= 6)
                names[base_name(fields.back())] = fields[3];
        }
    }
    return names;
}

// The character code of the names the installation's files hold.
const char *installation_host_code(const std::string &programDir)
{
    char language[64] = "";
    GetPrivateProfileString("Content Filter", "HostLanguage", "C", language, sizeof language,
                            (programDir + "contscan.ini").c_str());
    return host_code_name(language);
}

void show_progress(size_t done, size_t total)
{
    std::fprintf(stderr, "\rovctl: %zu/%zu mails", done, total);
    if (done == total)
        std::fputc('\n', stderr);
    std::fflush(stderr);
}

} // namespace

const char *verdict_result_word(const MailVerdict &verdict)
{
    return describe_verdict(verdict.code, verdict.result).result;
}

const char *verdict_action_word(const MailVerdict &verdict)
{
    return describe_verdict(verdict.code, verdict.result).action;
}

bool run_host(const HostRunOptions &options, std::vector<MailVerdict> &mails, std::string *error,
              int *startCode)
{
    PluginHost host;
    if (!host.load(options.plugin, error))
        return false;
    {
        std::lock_guard<std::mutex> guard(g_outboxMutex);
        g_outbox = options.outbox;
    }
    ZWHostInfo info{};
    int code = host.initialize(options.root.c_str(), &info);
    if (startCode)
        *startCode = code;
    if (code != 0) {
        *error = "cannot start the plug-in on " + options.root + ": " + describe_plugin_code(code);
        return false;
    }

    const std::string programDir = program_directory(options.root);
    const auto logBefore = event_log_sizes(programDir);
    std::atomic<size_t> next{0}, done{0};
    std::mutex progressMutex;
    std::atomic<bool> prepareFailed{false};
    std::string prepareError;
    auto worker = [&]() {
        for (size_t i; !prepareFailed && (i = next++) < mails.size();) {
            MailVerdict &mail = mails[i];
            std::string reason;
            if (options.prepare && !options.prepare(i, mail, &reason)) {
                std::lock_guard<std::mutex> guard(progressMutex);
                if (!prepareFailed.exchange(true))
                    prepareError = reason;
                break;
            }
            ZWHostCall call{};
            call.enque_mail = enqueue_to_outbox;
            std::snprintf(call.af_path, sizeof call.af_path, "%s", mail.pair.afPath.c_str());
            mail.code = host.process(&call, &mail.result, &mail.report);
            size_t finished = ++done;
            if (options.progress) {
                std::lock_guard<std::mutex> guard(progressMutex);
                show_progress(finished, mails.size());
            }
        }
    };
    std::vector<std::thread> threads;
    for (int t = 0; t < std::max(1, options.threads); ++t)
        threads.emplace_back(worker);
    for (std::thread &thread : threads)
        thread.join();
    host.cleanup();
    if (prepareFailed) {
        *error = prepareError;
        return false;
    }

    const auto names = names_from_event_log(programDir, logBefore);
    const char *nameCode = installation_host_code(programDir);
    for (MailVerdict &mail : mails) {
        mail.nameCode = nameCode;
        auto found = names.find(base_name(mail.pair.dfPath));
        if (found != names.end())
            mail.name = found->second;
    }
    return true;
}

namespace {

// ["copy", "temp"] from "copy,temp"; [] from "-".
std::string json_array(const std::string &words)
{
    std::string out = "[";
    size_t start = 0;
    while (words != "-" && start <= words.size()) {
        size_t comma = std::min(words.find(',', start), words.size());
        out += (out.size() > 1 ? ", " : "") + json_string(words.substr(start, comma - start));
        start = comma + 1;
    }
    return out + "]";
}

} // namespace

int print_verdicts(const std::vector<MailVerdict> &mails, bool json)
{
    std::map<std::string, int> counts;
    int failures = 0, faulted = 0;
    if (json)
        std::printf("[\n");
    for (size_t i = 0; i < mails.size(); ++i) {
        const MailVerdict &mail = mails[i];
        const char *result = verdict_result_word(mail);
        const char *action = verdict_action_word(mail);
        if (mail.code < 0) {
            ++failures;
            ++counts["error"];
        } else {
            ++counts[describe_verdict(mail.code, mail.result).word];
        }
        const std::string faults = fault_words(mail.report.faults);
        faulted += mail.report.faults != 0;
        if (json) {
            std::printf("  {\"mail\": %s, \"result\": \"%s\", \"code\": %d, \"action\": \"%s\", "
                        "\"name\": %s, \"faults\": %s, \"copy\": %s}%s\n",
                        json_string(mail.label).c_str(), result, mail.code, action,
                        json_string(mail.name, mail.nameCode.c_str()).c_str(), json_array(faults).c_str(),
                        json_string(mail.report.copy_path).c_str(),
                        i + 1 < mails.size() ? "," : "");
        } else {
            std::string shown = mail.code < 0 ? describe_plugin_code(mail.code) : mail.name;
            std::printf("%s\t%s\t%s\t%s\t%s\n", mail.label.c_str(), result, action, shown.c_str(),
                        faults.c_str());
        }
    }
    if (json) {
        std::printf("]\n");
    } else {
        std::string summary;
        for (const auto &count : counts)
            summary += (summary.empty() ? "" : ", ") + std::to_string(count.second) + " " +
                       count.first;
        if (faulted)
            summary += (summary.empty() ? "" : ", ") + std::to_string(faulted) + " faulted";
        std::fprintf(stderr, "ovctl: %zu mails: %s\n", mails.size(),
                     summary.empty() ? "none" : summary.c_str());
    }
    return failures || faulted ? 1 : 0;
}
