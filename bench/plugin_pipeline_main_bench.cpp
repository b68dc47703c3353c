// Mails per second through ZWEmailPluginProcess, beside the time to copy the
// same files (the floor of any per-mail file work).
//
//   bench_plugin_pipeline_main [MAILS] [RUNS]     (defaults 300 and 5)
//
// Runs in $TMPDIR (default /tmp); point it at a tmpfs (TMPDIR=/dev/shm) to
// see the plug-in's own cost rather than the disk's.
//
// Builds an installation in a scratch directory (two rules, two keyword
// policies, a special-filter rule that removes .exe attachments, quarantine
// and archive copies, notifications to a queue that drops them) and a
// seeded corpus of realistic mails: plain mails, multipart mails with PDF
// and .exe attachments, Japanese ISO-2022-JP mails, junk and confidential
// mails. The spool is restored before every run, since the plug-in rewrites
// the mails whose attachments it removes. Each figure is the median of RUNS
// runs in wall time. The baselines: reading every AF and DF file whole (one
// thread), and copying both into a scratch directory (read, create, write,
// close) on one and on two threads; the plug-in's times are given as
// multiples of the one-thread copy, and the copy's own scaling shows what
// two threads can gain on the machine at that moment. A last line gives the
// median CPU times of the copy and the plug-in runs, the steadier figure when
// the machine is shared.
// The plug-in is called directly, as a host would after dlopen.
#include <dirent.h>
#include <fcntl.h>
#include <ftw.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <functional>
#include <map>
#include <string>
#include <thread>
#include <vector>

#include "bench/bench_timing.h"
#include "ov/host.h"
#include "tests/support/plugin_mail_corpus.h"

namespace {

const char kSettings[] =
    "[Content Filter]\nHostLanguage=C\nDebugLog=no\nNotificationSender=postmaster@corp.example\n"
    "UserSubject=Mail blocked\nDeleteTempFile=yes\n\n"
    "[Advanced Options]\nQuarantineDirectory=Quarantine\nArchiveDirectory=Archive\n"
    "NotificationAttachment=Header\n\n"
    "[Specialized Filtering]\nRemoveAttachment=yes\nIOMail=both\nQuarantine=no\nWarnAdmin=yes\n"
    "IOAdmin=both\nAdmin=postmaster@corp.example\nReplaceText=The attachment was removed.\n\n"
    "[Anti-Spam]\nWarningAdmin=no\n\n"
    "[Confidential]\nAction=Quarantine\nWarningSender=yes\nMessageSender=Your mail was held.\n\n"
    "[Japanese]\nAction=Archive\n";

void write_file(const std::string &path, const std::string &bytes)
{
    std::ofstream out(path, std::ios::binary | std::ios::trunc);
    out.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
    if (!out) {
        std::fprintf(stderr, "bench: cannot write %s\n", path.c_str());
        std::exit(1);
    }
}

int remove_entry(const char *path, const struct stat *, int, struct FTW *)
{
    std::remove(path);
    return 0;
}

void remove_tree(const std::string &path) { nftw(path.c_str(), remove_entry, 16, FTW_DEPTH | FTW_PHYS); }

std::string make_installation(const std::string &root)
{
    const std::string program = root + "/Plug-Ins/OV/";
    mkdir((root + "/Plug-Ins").c_str(), 0755);
    mkdir(program.c_str(), 0755);
    mkdir((program + "spamrule").c_str(), 0755);
    write_file(program + "contscan.ini", kSettings);
    write_file(program + "CsConfig.dat",
               "CsConfig.dat2\tshConfidential\tpe=t\twh" + std::string(PluginConfidentialWord()) +
                   "\tshJapanese\tpe=t\twh" + PluginConvert(u8"会議", "EUC-JP") + "\t");
    write_file(program + "spamrule/spamrule.txt",
               "Free offers\\C\\SUBJ=IS\"*free offer*\"\\DEL\nBig mails\\C\\SIZE>3000000\\QUAR\n");
    write_file(program + "spamrule/SFRule.txt",
               "<ENABLE>yes</ENABLE><RULE NAME>Executables</RULE NAME><MAIL TYPE>C</MAIL TYPE>"
               "<ATTACH><NAME>*.exe</NAME><I></I><S></S></ATTACH>"
               "<ATTR><NAME>INCLUDE</NAME><I></I><S></S></ATTR>\r\n");
    return program;
}

struct Spool {
    std::vector<std::string> afs, dfs, messages;
    size_t bytes = 0;
};

Spool make_spool(const std::string &dir, const std::vector<PluginCorpusMail> &corpus)
{
    mkdir(dir.c_str(), 0755);
    Spool spool;
    for (size_t i = 0; i < corpus.size(); ++i) {
        const std::string id = std::string(i % 4 == 3 ? "O" : "I") + std::to_string(i);
        const std::string subject =
            corpus[i].kind == PluginCorpusMail::kJunk ? PluginJunkSubject() : "Status report";
        const std::string af = "F<sender@partner.example>\nT<bob@corp.example>\n"
                               "Obob@partner.example\nDbob@corp.example\nS" + subject +
                               "\nR1054599164\n";
        spool.afs.push_back(dir + "/AF" + id);
        spool.dfs.push_back(dir + "/DF" + id);
        spool.messages.push_back(corpus[i].text);
        write_file(spool.afs.back(), af);
        spool.bytes += af.size() + corpus[i].text.size();
    }
    return spool;
}

void restore(const Spool &spool)
{
    for (size_t i = 0; i < spool.dfs.size(); ++i)
        write_file(spool.dfs[i], spool.messages[i]);
}

size_t read_whole(const std::string &path)
{
    static thread_local std::vector<char> buffer(1 << 16);
    FILE *file = std::fopen(path.c_str(), "rb");
    if (!file)
        return 0;
    size_t total = 0;
    for (size_t got; (got = std::fread(buffer.data(), 1, buffer.size(), file)) > 0;)
        total += got;
    std::fclose(file);
    return total;
}

int drop_queued_mail(ZWEnqueRecord *record)
{
    if (record && record->path)
        std::remove(record->path);
    return 0;
}

double seconds_of(const std::function<void()> &work)
{
    const auto start = std::chrono::steady_clock::now();
    work();
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

// The median wall time of RUNS runs; *cpu, when given, the median of their
// process CPU times (user and system), which a busy machine disturbs less.
double median_of(int runs, const std::function<void()> &prepare, const std::function<void()> &work,
                 double *cpu = nullptr)
{
    std::vector<double> times, cpuTimes;
    for (int i = 0; i < runs; ++i) {
        prepare();
        const double cpuStart = CpuSeconds();
        times.push_back(seconds_of(work));
        cpuTimes.push_back(CpuSeconds() - cpuStart);
    }
    std::sort(times.begin(), times.end());
    std::sort(cpuTimes.begin(), cpuTimes.end());
    if (cpu)
        *cpu = cpuTimes[cpuTimes.size() / 2];
    return times[times.size() / 2];
}

// Copies a file into dir under the same base name; the bytes copied.
size_t copy_into(const std::string &path, const std::string &dir)
{
    static thread_local std::vector<char> buffer(1 << 16);
    const int in = open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (in < 0)
        return 0;
    const std::string target = dir + path.substr(path.rfind('/'));
    const int out = open(target.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
    size_t total = 0;
    for (ssize_t got; out >= 0 && (got = read(in, buffer.data(), buffer.size())) > 0;) {
        if (write(out, buffer.data(), static_cast<size_t>(got)) != got)
            break;
        total += static_cast<size_t>(got);
    }
    close(in);
    if (out < 0 || close(out) != 0)
        return 0;
    return total;
}

// Calls work(thread, mail) for every mail of the spool, on `threads` threads.
void for_each_mail(const Spool &spool, int threads, const std::function<void(int, size_t)> &work)
{
    std::atomic<size_t> next{0};
    std::vector<std::thread> workers;
    for (int t = 0; t < threads; ++t) {
        workers.emplace_back([&, t] {
            for (size_t i; (i = next++) < spool.afs.size();)
                work(t, i);
        });
    }
    for (std::thread &worker : workers)
        worker.join();
}

// Processes every mail of the spool on `threads` threads; counts the action codes.
void process_all(const Spool &spool, int threads, std::map<int, int> *actions)
{
    std::vector<std::map<int, int>> counts(static_cast<size_t>(threads));
    for_each_mail(spool, threads, [&](int t, size_t i) {
        ZWHostCall call;
        std::memset(&call, 0, sizeof call);
        call.enque_mail = drop_queued_mail;
        std::snprintf(call.af_path, sizeof call.af_path, "%s", spool.afs[i].c_str());
        ZWMailResult result{};
        int code = ZWEmailPluginProcess(&call, &result);
        counts[static_cast<size_t>(t)][code < 0 ? code : result.action]++;
    });
    actions->clear();
    for (const auto &perThread : counts)
        for (const auto &entry : perThread)
            (*actions)[entry.first] += entry.second;
}

// Copies both files of every mail into dir on `threads` threads; the bytes copied.
size_t copy_all(const Spool &spool, int threads, const std::string &dir)
{
    std::atomic<size_t> bytes{0};
    for_each_mail(spool, threads, [&](int, size_t i) {
        bytes += copy_into(spool.afs[i], dir) + copy_into(spool.dfs[i], dir);
    });
    return bytes;
}

} // namespace

int main(int argc, char **argv)
{
    const size_t count = argc > 1 ? std::strtoul(argv[1], nullptr, 10) : 300;
    const int runs = argc > 2 ? std::max(1, std::atoi(argv[2])) : 5;
    const char *tmp = std::getenv("TMPDIR");
    std::string pattern = std::string(tmp && *tmp ? tmp : "/tmp") + "/ov_bench_pipeline_XXXXXX";
    if (!mkdtemp(&pattern[0])) {
        std::perror("mkdtemp");
        return 1;
    }
    const std::string root = pattern;
    const std::string program = make_installation(root);
    const std::vector<PluginCorpusMail> corpus = PluginCorpus(count, 2003);
    const Spool spool = make_spool(root + "/spool", corpus);
    restore(spool);

    ZWHostInfo info{};
    if (int code = ZWEmailPluginInitialize(root.c_str(), &info); code != 0) {
        std::fprintf(stderr, "bench: ZWEmailPluginInitialize: %d\n", code);
        return 1;
    }
    auto fresh = [&] {
        restore(spool);
        remove_tree(program + "Quarantine");
        remove_tree(program + "Archive");
    };
    std::map<int, int> actions;
    size_t readBytes = 0, copyBytes = 0;
    const double read = median_of(
        runs, [] {},
        [&] {
            readBytes = 0;
            for (size_t i = 0; i < spool.afs.size(); ++i)
                readBytes += read_whole(spool.afs[i]) + read_whole(spool.dfs[i]);
        });
    const std::string copies = root + "/copies";
    auto noCopies = [&] {
        remove_tree(copies);
        mkdir(copies.c_str(), 0755);
    };
    double copyCpu = 0, oneCpu = 0, twoCpu = 0;
    const double copy =
        median_of(runs, noCopies, [&] { copyBytes = copy_all(spool, 1, copies); }, &copyCpu);
    const double copyTwo = median_of(runs, noCopies, [&] { copy_all(spool, 2, copies); });
    const double one = median_of(runs, fresh, [&] { process_all(spool, 1, &actions); }, &oneCpu);
    const double two = median_of(runs, fresh, [&] { process_all(spool, 2, &actions); }, &twoCpu);
    ZWEmailPluginCleanup();
    remove_tree(root);

    const double mails = static_cast<double>(spool.afs.size());
    const double megabytes = static_cast<double>(spool.bytes) / 1e6;
    std::printf("corpus: %zu mails, %.2f MB (plain, PDF and .exe attachments, Japanese, junk, "
                "confidential)\n", spool.afs.size(), megabytes);
    std::printf("verdicts: none %d, deleted %d, quarantined %d, archived %d, replaced %d, errors %d\n",
                actions[0], actions[1], actions[2], actions[3], actions[4],
                static_cast<int>(spool.afs.size()) - actions[0] - actions[1] - actions[2] -
                    actions[3] - actions[4]);
    std::printf("medians of %d runs in %s\n", runs, root.substr(0, root.rfind('/')).c_str());
    std::printf("%-26s %9.1f ms %10.0f mails/s %8.1f MB/s\n", "read AF+DF files", read * 1e3,
                mails / read, megabytes / read);
    std::printf("%-26s %9.1f ms %10.0f mails/s %8.1f MB/s\n", "copy AF+DF files x1", copy * 1e3,
                mails / copy, megabytes / copy);
    std::printf("%-26s %9.1f ms %10.0f mails/s %8.1f MB/s   %26s %.2fx one thread\n",
                "copy AF+DF files x2", copyTwo * 1e3, mails / copyTwo, megabytes / copyTwo, "",
                copy / copyTwo);
    std::printf("%-26s %9.1f ms %10.0f mails/s %8.1f MB/s   %6.2fx the copy time\n",
                "ZWEmailPluginProcess x1", one * 1e3, mails / one, megabytes / one, one / copy);
    std::printf(
        "%-26s %9.1f ms %10.0f mails/s %8.1f MB/s   %6.2fx the copy time, %.2fx one thread\n",
        "ZWEmailPluginProcess x2", two * 1e3, mails / two, megabytes / two, two / copy, one / two);
    std::printf("CPU time (user+system): copy x1 %.1f ms, ZWEmailPluginProcess x1 %.1f ms "
                "(%.2fx the copy's), x2 %.1f ms (%.2fx)\n",
                copyCpu * 1e3, oneCpu * 1e3, oneCpu / copyCpu, twoCpu * 1e3, twoCpu / copyCpu);
    return readBytes > 0 && copyBytes == readBytes ? 0 : 1;
}
