// ovctl scan | spool | update: ovctl as a host of the plug-in.
//
//   ovctl scan --root ROOT [--spool DIR] [--outbox DIR] [--outbound] [--json]
//              [--threads N] [--plugin PATH] MAIL...
//       turns each RFC 822 file into an AF/DF pair in a spool directory (a
//       fresh one, removed afterwards, unless --spool is given) and has the
//       plug-in judge them; the original files are never modified.
//   ovctl spool --root ROOT [--outbox DIR] [--json] [--threads N] [--plugin PATH] DIR
//       judges the AF*/DF* pairs already in DIR, in place.
//   ovctl update --root ROOT [--plugin PATH]
//       starts the plug-in, reloads its settings as the gateway's "update"
//       command does, and stops it.
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <string>

#include "tools/hostkit/spool.h"
#include "tools/ovctl/command.h"
#include "tools/ovctl/host_run.h"

namespace {

struct HostArgs {
    HostRunOptions run;
    std::string spool;
    bool outbound = false;
    bool json = false;
    std::vector<std::string> operands;
};

// Parses the options shared by the host commands; false on a usage error.
bool parse_host_args(const OvctlArgs &args, bool allowMailOptions, HostArgs *out,
                     std::string *error)
{
    out->run.plugin = default_plugin_path();
    for (size_t i = 0; i < args.size(); ++i) {
        const std::string &word = args[i];
        auto value = [&](std::string *target) {
            if (i + 1 >= args.size()) {
                *error = word + " needs a value";
                return false;
            }
            *target = args[++i];
            return true;
        };
        std::string number;
        if (word == "--root") {
            if (!value(&out->run.root))
                return false;
        } else if (word == "--plugin") {
            if (!value(&out->run.plugin))
                return false;
        } else if (allowMailOptions && word == "--outbox") {
            if (!value(&out->run.outbox))
                return false;
        } else if (allowMailOptions && word == "--spool") {
            if (!value(&out->spool))
                return false;
        } else if (allowMailOptions && word == "--threads") {
            if (!value(&number))
                return false;
            out->run.threads = std::atoi(number.c_str());
            if (out->run.threads < 1 || out->run.threads > 256) {
                *error = "--threads takes 1 to 256";
                return false;
            }
        } else if (allowMailOptions && word == "--json") {
            out->json = true;
        } else if (allowMailOptions && word == "--outbound") {
            out->outbound = true;
        } else if (word.size() > 1 && word[0] == '-') {
            *error = "unknown option " + word;
            return false;
        } else {
            out->operands.push_back(word);
        }
    }
    if (out->run.root.empty()) {
        *error = "--root is required";
        return false;
    }
    out->run.progress = !out->json && isatty(STDERR_FILENO);
    return true;
}

int usage_error(const char *command, const std::string &error)
{
    if (!error.empty())
        std::fprintf(stderr, "ovctl: %s\n", error.c_str());
    return ovctl_usage(command);
}

bool make_directory(const std::string &dir, std::string *error)
{
    if (mkdir(dir.c_str(), 0755) == 0 || errno == EEXIST)
        return true;
    *error = "cannot create " + dir + ": " + std::strerror(errno);
    return false;
}

bool names_stdin(const std::string &operand)
{
    return operand.empty() || operand == "-";
}

void remove_spool_directory(const std::string &dir)
{
    if (!dir.empty())
        rmdir(dir.c_str());
}

// The pairs written for the mails (those a failed run did not reach have
// none), and the directory unless it is empty.
void remove_spool(const std::vector<MailVerdict> &mails, const std::string &dir)
{
    for (const MailVerdict &mail : mails) {
        if (mail.pair.afPath.empty())
            continue;
        std::remove(mail.pair.afPath.c_str());
        std::remove(mail.pair.dfPath.c_str());
    }
    remove_spool_directory(dir);
}

int run_scan(const OvctlArgs &args)
{
    HostArgs host;
    std::string error;
    if (!parse_host_args(args, true, &host, &error))
        return usage_error("scan", error);
    if (host.operands.empty())
        return usage_error("scan", "no mail given");

    const bool keepSpool = !host.spool.empty();
    if (keepSpool) {
        if (!make_directory(host.spool, &error))
            return ovctl_fail(error);
    } else {
        char pattern[] = "/tmp/ovctl-spool-XXXXXX";
        if (!mkdtemp(pattern))
            return ovctl_fail(std::string("cannot create a spool directory: ") +
                              std::strerror(errno));
        host.spool = pattern;
    }
    if (!host.run.outbox.empty() && !make_directory(host.run.outbox, &error))
        return ovctl_fail(error);

    // Standard input is read here, once; the files are read and their
    // spool pairs written by the workers, each mail just before it is judged.
    std::vector<MailVerdict> mails(host.operands.size());
    std::vector<std::string> fromStdin(host.operands.size());
    for (size_t i = 0; i < host.operands.size(); ++i) {
        const std::string &operand = host.operands[i];
        mails[i].label = operand;
        bool isStdin = names_stdin(operand);
        if (isStdin ? !ovctl_read_input(operand, &fromStdin[i], &error)
                    : access(operand.c_str(), R_OK) != 0) {
            if (!isStdin)
                error = "cannot open " + operand + ": " + std::strerror(errno);
            remove_spool_directory(keepSpool ? "" : host.spool);
            return ovctl_fail(error);
        }
    }
    const std::string stamp = std::to_string(getpid());
    const time_t now = time(nullptr);
    host.run.prepare = [&](size_t i, MailVerdict &mail, std::string *reason) {
        std::string read;
        const std::string &operand = host.operands[i];
        bool isStdin = names_stdin(operand);
        if (!isStdin && !read_file(operand, &read, reason))
            return false;
        const std::string &message = isStdin ? fromStdin[i] : read;
        MailEnvelope envelope = envelope_from_message(message, now);
        std::string id = stamp + "_" + std::to_string(i + 1);
        return write_spool_pair(host.spool, id, host.outbound, envelope, message, &mail.pair,
                                reason);
    };

    bool started = run_host(host.run, mails, &error);
    if (!keepSpool)
        remove_spool(mails, host.spool);
    if (!started)
        return ovctl_fail(error);
    return print_verdicts(mails, host.json);
}

int run_spool(const OvctlArgs &args)
{
    HostArgs host;
    std::string error;
    if (!parse_host_args(args, true, &host, &error))
        return usage_error("spool", error);
    if (host.operands.size() != 1)
        return usage_error("spool", "give exactly one spool directory");
    std::vector<MailVerdict> mails;
    for (const SpoolPair &pair : list_spool_pairs(host.operands[0])) {
        MailVerdict mail;
        mail.label = pair.afPath;
        mail.pair = pair;
        mails.push_back(mail);
    }
    if (mails.empty())
        return ovctl_fail("no AF files in " + host.operands[0]);
    if (!host.run.outbox.empty() && !make_directory(host.run.outbox, &error))
        return ovctl_fail(error);
    if (!run_host(host.run, mails, &error))
        return ovctl_fail(error);
    return print_verdicts(mails, host.json);
}

int run_update(const OvctlArgs &args)
{
    HostArgs host;
    std::string error;
    if (!parse_host_args(args, false, &host, &error) || !host.operands.empty())
        return usage_error("update", error);
    PluginHost plugin;
    if (!plugin.load(host.run.plugin, &error))
        return ovctl_fail(error);
    ZWHostInfo info{};
    int code = plugin.initialize(host.run.root.c_str(), &info);
    if (code != 0)
        return ovctl_fail("cannot start the plug-in on " + host.run.root + ": " +
                          describe_plugin_code(code));
    code = plugin.command("update");
    // After -10 or -7 the plug-in keeps mail held and Cleanup would wait
    // for ever: leave it to the end of the process.
    if (code != -10 && code != -7)
        plugin.cleanup();
    if (code != 0)
        return ovctl_fail("update failed: " + describe_plugin_code(code));
    std::printf("update: ok\n");
    return 0;
}

const OvctlCommand scanCommand{
    "scan",
    "scan --root ROOT [--spool DIR] [--outbox DIR] [--outbound] [--json] [--threads N] "
    "[--plugin PATH] MAIL...",
    run_scan};
const OvctlCommand spoolCommand{
    "spool", "spool --root ROOT [--outbox DIR] [--json] [--threads N] [--plugin PATH] DIR",
    run_spool};
const OvctlCommand updateCommand{"update", "update --root ROOT [--plugin PATH]", run_update};

} // namespace
