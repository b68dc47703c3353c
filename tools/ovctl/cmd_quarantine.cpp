// ovctl quarantine: the quarantined (or, with --archive, archived) copies of
// an installation.
//
//   ovctl quarantine list --root ROOT [--archive] [--json]
//       one line per copy, oldest first: id, time (UTC), rule or policy,
//       envelope sender, recipients, size, subject (tab-separated)
//   ovctl quarantine show --root ROOT [--archive] [--json] ID
//       the copy's envelope record and its header block
//   ovctl quarantine release --root ROOT [--archive] [--to ADDR]... [--sendmail CMD] ID
//       hands the copy to the MTA (see quarantine_release.h)
//   ovctl quarantine delete --root ROOT [--archive] ID
//   ovctl quarantine expire --root ROOT [--archive] --older-than DAYS [--dry-run]
//       deletes the copies older than DAYS days, with their records
//
// ID is a copy's file name, its path under the quarantine directory, or the
// mail's id in its record (the MTA queue id, or the file ovctl scan judged).
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <fstream>

#include "tools/hostkit/json_text.h"
#include "tools/ovctl/command.h"
#include "tools/ovctl/quarantine_release.h"
#include "tools/ovctl/quarantine_store.h"

namespace {

struct QuarantineArgs {
    std::string action;
    std::string root;
    bool archive = false;
    bool json = false;
    bool dryRun = false;
    long olderThanDays = -1;
    std::vector<std::string> to;
    std::string sendmail = kDefaultSendmail;
    std::vector<std::string> operands;
};

bool parse_args(const OvctlArgs &args, QuarantineArgs *out, std::string *error)
{
    if (args.empty()) {
        *error = "give list, show, release, delete or expire";
        return false;
    }
    out->action = args[0];
    for (size_t i = 1; i < args.size(); ++i) {
        const std::string &word = args[i];
        auto value = [&](std::string *target) {
            if (i + 1 >= args.size()) {
                *error = word + " needs a value";
                return false;
            }
            *target = args[++i];
            return true;
        };
        std::string text;
        if (word == "--root") {
            if (!value(&out->root))
                return false;
        } else if (word == "--archive") {
            out->archive = true;
        } else if (word == "--json") {
            out->json = true;
        } else if (word == "--dry-run") {
            out->dryRun = true;
        } else if (word == "--to") {
            if (!value(&text))
                return false;
            out->to.push_back(text);
        } else if (word == "--sendmail") {
            if (!value(&out->sendmail))
                return false;
        } else if (word == "--older-than") {
            if (!value(&text))
                return false;
            char *end = nullptr;
            out->olderThanDays = std::strtol(text.c_str(), &end, 10);
            if (text.empty() || *end || out->olderThanDays < 0 || out->olderThanDays > 100000) {
                *error = "--older-than takes a number of days";
                return false;
            }
        } else if (word.size() > 1 && word[0] == '-') {
            *error = "unknown option " + word;
            return false;
        } else {
            out->operands.push_back(word);
        }
    }
    if (out->root.empty()) {
        *error = "--root is required";
        return false;
    }
    return true;
}

// A field of a tab-separated line: no tab or line break of its own.
std::string field(const std::string &text)
{
    std::string safe = text.empty() ? "-" : text;
    for (char &c : safe) {
        if (static_cast<unsigned char>(c) < 0x20 || c == 0x7F)
            c = ' ';
    }
    return safe;
}

std::string joined(const std::vector<std::string> &items)
{
    std::string text;
    for (const std::string &item : items)
        text += (text.empty() ? "" : ",") + item;
    return text;
}

const char *record_state_word(RecordRead state)
{
    switch (state) {
    case RecordRead::Found: return "found";
    case RecordRead::Missing: return "missing";
    default: return "broken";
    }
}

std::string copy_json(const StoredCopy &copy)
{
    const CopyRecord &record = copy.record;
    std::string text = "{\"id\": " + json_quote(copy.id) + ", \"path\": " + json_quote(copy.path) +
                       ", \"time\": " + json_quote(utc_time_text(copy.time)) +
                       ", \"kind\": " + json_quote(copy.kind) +
                       ", \"trigger\": " + json_quote(copy.trigger) +
                       ", \"sender\": " + json_quote(copy.sender) +
                       ", \"recipients\": " + json_quote_list(copy.recipients) +
                       ", \"subject\": " + json_quote(copy.subject) +
                       ", \"size\": " + std::to_string(copy.size) +
                       ", \"record\": \"" + record_state_word(copy.recordState) + "\"";
    if (copy.recordState == RecordRead::Found) {
        text += ", \"mail\": " + json_quote(record.id) + ", \"host\": " + json_quote(record.host) +
                ", \"client\": " + json_quote(record.client) +
                ", \"verdict\": " + json_quote(record.verdict) +
                ", \"action\": " + json_quote(record.action);
        if (record.released)
            text += ", \"released\": " + json_quote(utc_time_text(record.released)) +
                    ", \"released_to\": " + json_quote_list(record.releasedTo);
    }
    return text + "}";
}

void warn_broken_record(const StoredCopy &copy)
{
    if (copy.recordState == RecordRead::Broken)
        std::fprintf(stderr, "ovctl: %s (the headers stand in)\n", copy.recordError.c_str());
}

int run_list(const QuarantineArgs &args, const std::string &dir)
{
    std::vector<StoredCopy> copies;
    std::string error;
    if (!list_copies(dir, &copies, &error))
        return ovctl_fail(error);
    if (args.json)
        std::printf("[\n");
    for (size_t i = 0; i < copies.size(); ++i) {
        const StoredCopy &copy = copies[i];
        warn_broken_record(copy);
        if (args.json) {
            std::printf("  %s%s\n", copy_json(copy).c_str(), i + 1 < copies.size() ? "," : "");
            continue;
        }
        std::printf("%s\t%s\t%s\t%s\t%s\t%lld\t%s\n", field(copy.id).c_str(),
                    utc_time_text(copy.time).c_str(), field(copy.trigger).c_str(),
                    copy.sender.empty() ? "<>" : field(copy.sender).c_str(),
                    field(joined(copy.recipients)).c_str(), static_cast<long long>(copy.size),
                    field(copy.subject).c_str());
    }
    if (args.json)
        std::printf("]\n");
    else
        std::fprintf(stderr, "ovctl: %zu copies in %s\n", copies.size(), dir.c_str());
    return 0;
}

int run_show(const QuarantineArgs &args, const StoredCopy &copy)
{
    warn_broken_record(copy);
    if (args.json) {
        std::printf("%s\n", copy_json(copy).c_str());
        return 0;
    }
    const CopyRecord &record = copy.record;
    const bool found = copy.recordState == RecordRead::Found;
    const bool known = found && !record.host.empty();
    std::printf("id: %s\npath: %s\ntime: %s\n%s: %s\nsize: %lld\n", field(copy.id).c_str(),
                field(copy.path).c_str(), utc_time_text(copy.time).c_str(), copy.kind.c_str(),
                field(copy.trigger).c_str(), static_cast<long long>(copy.size));
    std::printf("envelope: %s\n", known ? "from the host's record" : "from the headers");
    if (known)
        std::printf("mail: %s\nhost: %s\nclient: %s\nverdict: %s\naction: %s\n",
                    field(record.id).c_str(), field(record.host).c_str(),
                    field(record.client).c_str(), field(record.verdict).c_str(),
                    field(record.action).c_str());
    std::printf("sender: %s\nrecipients: %s\nsubject: %s\n",
                copy.sender.empty() ? "<>" : field(copy.sender).c_str(),
                field(joined(copy.recipients)).c_str(), field(copy.subject).c_str());
    if (found && record.released)
        std::printf("released: %s to %s\n", utc_time_text(record.released).c_str(),
                    field(joined(record.releasedTo)).c_str());
    std::printf("\n");
    std::ifstream in(copy.path, std::ios::binary);
    std::string line;
    while (std::getline(in, line) && !line.empty() && line != "\r") {
        if (line.back() == '\r')
            line.pop_back();
        std::printf("%s\n", field(line).c_str());
    }
    return 0;
}

// Removes a copy and its record; false with a reason.
bool delete_copy(const StoredCopy &copy, std::string *error)
{
    if (std::remove(copy.path.c_str()) != 0) {
        *error = "cannot remove " + copy.path + ": " + std::strerror(errno);
        return false;
    }
    const std::string record = copy_record_path(copy.path);
    if (std::remove(record.c_str()) != 0 && errno != ENOENT) {
        *error = "cannot remove " + record + ": " + std::strerror(errno);
        return false;
    }
    return true;
}

int run_expire(const QuarantineArgs &args, const std::string &dir)
{
    std::vector<StoredCopy> copies;
    std::string error;
    if (!list_copies(dir, &copies, &error))
        return ovctl_fail(error);
    const time_t limit = time(nullptr) - static_cast<time_t>(args.olderThanDays) * 86400;
    int expired = 0, failed = 0;
    for (const StoredCopy &copy : copies) {
        if (copy.time >= limit)
            continue;
        if (args.dryRun) {
            std::printf("would expire %s\t%s\n", field(copy.relative).c_str(),
                        utc_time_text(copy.time).c_str());
        } else if (delete_copy(copy, &error)) {
            std::printf("expired %s\t%s\n", field(copy.relative).c_str(),
                        utc_time_text(copy.time).c_str());
        } else {
            ++failed;
            std::fprintf(stderr, "ovctl: %s\n", error.c_str());
            continue;
        }
        ++expired;
    }
    std::fprintf(stderr, "ovctl: %d of %zu copies %s\n", expired, copies.size(),
                 args.dryRun ? "would expire" : "expired");
    return failed ? 1 : 0;
}

int run_quarantine(const OvctlArgs &words)
{
    QuarantineArgs args;
    std::string error;
    if (!parse_args(words, &args, &error)) {
        std::fprintf(stderr, "ovctl: %s\n", error.c_str());
        return ovctl_usage("quarantine");
    }
    const std::string dir = copy_directory(args.root, args.archive);
    const bool takesId = args.action == "show" || args.action == "release" ||
                         args.action == "delete";
    if (args.action == "list" && args.operands.empty())
        return run_list(args, dir);
    if (args.action == "expire" && args.operands.empty() && args.olderThanDays >= 0)
        return run_expire(args, dir);
    if (!takesId || args.operands.size() != 1)
        return ovctl_usage("quarantine");
    StoredCopy copy;
    if (!find_copy(dir, args.operands[0], &copy, &error))
        return ovctl_fail(error);
    if (args.action == "show")
        return run_show(args, copy);
    if (args.action == "delete") {
        if (!delete_copy(copy, &error))
            return ovctl_fail(error);
        std::printf("deleted %s\n", field(copy.relative).c_str());
        return 0;
    }
    std::vector<std::string> sentTo;
    if (!release_copy({copy, args.to, args.sendmail}, &sentTo, &error))
        return ovctl_fail(error);
    std::printf("released %s to %s\n", field(copy.relative).c_str(), field(joined(sentTo)).c_str());
    return 0;
}

const char kQuarantineHelp[] =
    "Lists and handles the quarantined (with --archive: archived) copies of mail.\n"
    "  list [--json]     one line per copy: ID, time (UTC), rule or policy, envelope\n"
    "                    sender, recipients, size, subject (decoded)\n"
    "  show ID           the copy's envelope record and headers\n"
    "  release ID [--to ADDR]... [--sendmail CMD]\n"
    "                    hands the copy to the MTA for its envelope recipients (or\n"
    "                    ADDRs); CMD defaults to \"/usr/sbin/sendmail -oi -f SENDER --\".\n"
    "                    A released copy is marked and not released again.\n"
    "  delete ID         removes the copy and its record\n"
    "  expire --older-than DAYS [--dry-run]\n"
    "                    removes the copies older than DAYS (with --dry-run: lists them)\n"
    "ID is the copy's file name, its path under the quarantine directory, or the mail\n"
    "id of its record. The envelope comes from the record \"<copy>.json\" the host\n"
    "wrote beside the copy, else from the copy's headers.\n"
    "Exit 1 when a copy is not found or an operation fails.\n";

const OvctlCommand quarantineCommand{
    "quarantine",
    "quarantine list|show|release|delete|expire --root ROOT [--archive] [--json] "
    "[--to ADDR]... [--sendmail CMD] [--older-than DAYS] [--dry-run] [ID]",
    run_quarantine, kQuarantineHelp};

} // namespace
