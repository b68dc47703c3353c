// ovctl scan | spool | update: ovctl as a host of the plug-in.
//
//   ovctl scan --root ROOT [--spool DIR] [--outbox DIR] [--outbound] [--json]
//              [--threads N] [--plugin PATH] MAIL...
//       turns each RFC 822 file (a directory stands for the files in it) into
//       an AF/DF pair in a spool directory (a fresh one, removed afterwards
//       however the command ends, unless --spool is given) and has the
//       plug-in judge them; the original files are never modified.
//   ovctl spool --root ROOT [--outbox DIR] [--json] [--threads N] [--plugin PATH] DIR
//       judges the AF*/DF* pairs already in DIR, in place.
//   ovctl update --root ROOT [--plugin PATH]
//       starts the plug-in, reloads its settings as the gateway's "update"
//       command does, and stops it.
#include <dirent.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <fstream>
#include <set>
#include <string>

#include "tools/hostkit/spool.h"
#include "tools/hostkit/spool_id.h"
#include "tools/ovctl/command.h"
#include "tools/ovctl/host_run.h"
#include "tools/ovctl/scan_copy_records.h"
#include "tools/ovctl/scan_spool.h"

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

// The pair of an input file is named after the file, so that the event log
// and the records of quarantined copies name it too; a name already in the
// spool or in this batch gets a number.
std::string spool_id_for_input(const std::string &spool, const std::string &input,
                               std::set<std::string> *taken)
{
    const std::string base = spool_id_from_name(input.substr(input.rfind('/') + 1));
    for (int attempt = 1;; ++attempt) {
        std::string id = spool_id_candidate(base, attempt);
        bool inSpool = false;
        for (const char *prefix : {"/AFI", "/AFO", "/DFI", "/DFO"})
            inSpool = inSpool || access((spool + prefix + id).c_str(), F_OK) == 0;
        if (!inSpool && taken->insert(id).second)
            return id;
    }
}

// True when the file begins as a mail does: a header field ("Name:") or an
// mbox "From " line.
bool looks_like_mail(const std::string &path)
{
    std::ifstream in(path, std::ios::binary);
    std::string line;
    if (!in || !std::getline(in, line))
        return false;
    if (line.rfind("From ", 0) == 0)
        return true;
    size_t colon = line.find(':');
    if (colon == 0 || colon == std::string::npos)
        return false;
    for (size_t i = 0; i < colon; ++i) {
        const unsigned char c = static_cast<unsigned char>(line[i]);
        if (c <= ' ' || c >= 0x7F)
            return false;
    }
    return true;
}

// The mail files named: a directory stands for the regular files in it
// that look like mail (not those whose names begin with "."), in name order;
// the others are named on stderr. False, with the reason, for a directory
// that holds none.
bool mail_files(const std::vector<std::string> &operands, std::vector<std::string> *files,
                std::string *error)
{
    for (const std::string &operand : operands) {
        struct stat info;
        if (stat(operand.c_str(), &info) != 0 || !S_ISDIR(info.st_mode)) {
            files->push_back(operand);
            continue;
        }
        std::vector<std::string> found;
        if (DIR *dir = opendir(operand.c_str())) {
            while (const dirent *entry = readdir(dir)) {
                const std::string path = operand + (operand.back() == '/' ? "" : "/") +
                                         entry->d_name;
                if (entry->d_name[0] == '.' || stat(path.c_str(), &info) != 0 ||
                    !S_ISREG(info.st_mode))
                    continue;
                if (looks_like_mail(path))
                    found.push_back(path);
                else
                    std::fprintf(stderr, "ovctl: %s is not a mail file: skipped\n", path.c_str());
            }
            closedir(dir);
        }
        if (found.empty()) {
            *error = operand + " holds no mail files: give RFC 822 mail files, or a directory "
                               "of them";
            return false;
        }
        std::sort(found.begin(), found.end());
        files->insert(files->end(), found.begin(), found.end());
    }
    return true;
}

int run_scan(const OvctlArgs &args)
{
    HostArgs host;
    std::string error;
    if (!parse_host_args(args, true, &host, &error))
        return usage_error("scan", error);
    if (host.operands.empty())
        return usage_error("scan", "no mail given");

    std::vector<std::string> files;
    if (!mail_files(host.operands, &files, &error))
        return ovctl_fail(error);

    const bool keepSpool = !host.spool.empty();
    ScanSpool spool(keepSpool);
    if (keepSpool) {
        if (!make_directory(host.spool, &error))
            return ovctl_fail(error);
    } else {
        const char *tmp = std::getenv("TMPDIR");
        if (!spool.make(tmp && *tmp ? tmp : "/tmp", &host.spool))
            return ovctl_fail(std::string("cannot create a spool directory: ") +
                              std::strerror(errno));
    }
    if (!host.run.outbox.empty() && !make_directory(host.run.outbox, &error))
        return ovctl_fail(error);

    // Standard input is read here, once, and every spool name chosen; the
    // files are read and their spool pairs written by the workers, each mail
    // just before it is judged.
    std::vector<MailVerdict> mails(files.size());
    std::vector<std::string> fromStdin(files.size());
    std::vector<std::string> spoolIds(files.size());
    std::set<std::string> takenIds;
    for (size_t i = 0; i < files.size(); ++i) {
        const std::string &file = files[i];
        mails[i].label = file;
        const bool isStdin = names_stdin(file);
        spoolIds[i] = spool_id_for_input(host.spool, isStdin ? "stdin" : file, &takenIds);
        if (isStdin ? !ovctl_read_input(file, &fromStdin[i], &error)
                    : access(file.c_str(), R_OK) != 0) {
            if (!isStdin)
                error = "cannot open " + file + ": " + std::strerror(errno);
            return ovctl_fail(error);
        }
    }
    const time_t now = time(nullptr);
    std::vector<MailEnvelope> envelopes(files.size());
    host.run.prepare = [&](size_t i, MailVerdict &mail, std::string *reason) {
        std::string read;
        const std::string &file = files[i];
        bool isStdin = names_stdin(file);
        if (!isStdin && !read_file(file, &read, reason))
            return false;
        const std::string &message = isStdin ? fromStdin[i] : read;
        envelopes[i] = envelope_from_message(message, now);
        return write_spool_pair(host.spool, spoolIds[i], host.outbound, envelopes[i], message,
                                &mail.pair, reason);
    };

    if (!run_host(host.run, mails, &error))
        return ovctl_fail(error);
    const int unrecorded = keep_copy_records(mails, envelopes);
    return print_verdicts(mails, host.json) | (unrecorded ? 1 : 0);
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

const char kScanHelp[] =
    "Has the plug-in of installation ROOT judge mail files, as the gateway would.\n"
    "Each MAIL (an RFC 822 file; a directory stands for the mail files in it) is\n"
    "written as an envelope/data pair into a spool directory (a fresh one, removed\n"
    "afterwards, unless --spool DIR is given); the files themselves are never changed.\n"
    "Output, one line per mail, tab-separated:\n"
    "  MAIL  RESULT  ACTION  NAME  FAULTS\n"
    "RESULT  pass (the mail goes on), blocked (it does not), or error (the plug-in\n"
    "        could not judge it; NAME then gives the code)\n"
    "ACTION  none, deleted, quarantined, archived (a rule or keyword policy blocked\n"
    "        the mail: these come with blocked), or replaced (attachments were\n"
    "        replaced by a text; the mail goes on)\n"
    "NAME    the rule, keyword policy or removed attachment that acted\n"
    "FAULTS  - or, comma-separated: copy (the quarantine or archive copy failed),\n"
    "        replace (the attachments were not replaced; the mail is as it was),\n"
    "        temp (no temporary file: filters were skipped), notify (a notification\n"
    "        was not queued)\n"
    "ovmilter logs the same words as verdict=. A summary goes to stderr.\n"
    "  --outbox DIR   keeps the notification mails there (notification-N.eml and .env)\n"
    "  --outbound     the mails are outbound (default inbound)\n"
    "  --json         one JSON object per mail (mail, result, code, action, name,\n"
    "                 faults, copy), in UTF-8; bytes that do not convert are written\n"
    "                 as \\u00NN\n"
    "  --threads N    judge N mails at once (1 to 256)\n"
    "  --plugin PATH  the libov.so to load (default: the one beside ovctl)\n"
    "Exit 1 when a mail could not be judged or had a fault, or the plug-in does not\n"
    "start.\n";
const char kSpoolHelp[] =
    "Has the plug-in judge the AF*/DF* pairs already in a spool directory, in place.\n"
    "The pairs are changed as the gateway would change them (attachments replaced).\n"
    "Output and options as for \"ovctl scan --help\".\n";
const char kUpdateHelp[] =
    "Reloads the settings of installation ROOT as the gateway's \"update\" does.\n"
    "Starts the plug-in on ROOT, reloads its settings and stops it; prints \"update: ok\"\n"
    "or why the reload failed.\n";
const OvctlCommand scanCommand{
    "scan",
    "scan --root ROOT [--spool DIR] [--outbox DIR] [--outbound] [--json] [--threads N] "
    "[--plugin PATH] MAIL...",
    run_scan, kScanHelp};
const OvctlCommand spoolCommand{
    "spool", "spool --root ROOT [--outbox DIR] [--json] [--threads N] [--plugin PATH] DIR",
    run_spool, kSpoolHelp};
const OvctlCommand updateCommand{"update", "update --root ROOT [--plugin PATH]", run_update,
                                 kUpdateHelp};

} // namespace
