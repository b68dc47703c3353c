// ovctl report: what the plug-in blocked, from the daily event logs of an
// installation.
//
//   ovctl report --root ROOT [--since DATE] [--until DATE] [--json] [--html FILE]
//
// Prints per day the mails blocked per action, per rule and per policy, the
// attachments removed and the top senders of blocked mail, then the totals
// (or all of it as JSON). --html also writes a self-contained page with
// charts to FILE. DATE is YYYY-MM-DD; both bounds are included.
#include <cstdio>

#include "tools/hostkit/json_text.h"
#include "tools/hostkit/spool.h"
#include "tools/ovctl/command.h"
#include "tools/ovctl/event_report.h"
#include "tools/ovctl/report_html.h"

namespace {

const size_t kTopSenders = 5;

struct ReportArgs {
    std::string root, since, until, html;
    bool json = false;
};

bool parse_args(const OvctlArgs &args, ReportArgs *out, std::string *error)
{
    for (size_t i = 0; i < args.size(); ++i) {
        const std::string &word = args[i];
        std::string *target = word == "--root"    ? &out->root
                              : word == "--since" ? &out->since
                              : word == "--until" ? &out->until
                              : word == "--html"  ? &out->html
                                                  : nullptr;
        if (word == "--json") {
            out->json = true;
        } else if (!target) {
            *error = "unexpected " + word;
            return false;
        } else if (i + 1 >= args.size()) {
            *error = word + " needs a value";
            return false;
        } else {
            *target = args[++i];
        }
    }
    for (const std::string *date : {&out->since, &out->until}) {
        if (!date->empty() && !is_report_date(*date)) {
            *error = "dates are written YYYY-MM-DD, not \"" + *date + "\"";
            return false;
        }
    }
    if (out->root.empty())
        *error = "--root is required";
    return !out->root.empty();
}

// "name 3, other 1"; "-" when empty. No control character leaves a name.
std::string counts_text(const Counts &counts, size_t top)
{
    std::string text;
    for (const auto &entry : top_counts(counts, top)) {
        std::string name = entry.first;
        for (char &c : name) {
            if (static_cast<unsigned char>(c) < 0x20)
                c = ' ';
        }
        text += (text.empty() ? "" : ", ") + name + " " + std::to_string(entry.second);
    }
    return text.empty() ? "-" : text;
}

void print_day(const DayCounts &day)
{
    std::printf("%s\tblocked %d (%s)\tattachments removed %d in %d mails\n", day.date.c_str(),
                day.blocked, counts_text(day.byAction, day.byAction.size()).c_str(),
                day.attachments, day.attachmentMails);
    std::printf("  rules: %s\n", counts_text(day.byRule, day.byRule.size()).c_str());
    std::printf("  policies: %s\n", counts_text(day.byPolicy, day.byPolicy.size()).c_str());
    std::printf("  top senders: %s\n", counts_text(day.senders, kTopSenders).c_str());
}

std::string counts_json(const Counts &counts)
{
    std::string text = "{";
    for (const auto &entry : counts)
        text += (text.size() > 1 ? ", " : "") + json_quote(entry.first) + ": " +
                std::to_string(entry.second);
    return text + "}";
}

std::string day_json(const DayCounts &day)
{
    std::string senders = "[";
    for (const auto &entry : top_counts(day.senders, kTopSenders))
        senders += (senders.size() > 1 ? ", " : "") + std::string("{\"sender\": ") +
                   json_quote(entry.first) + ", \"mails\": " + std::to_string(entry.second) + "}";
    return "{\"date\": " + json_quote(day.date) + ", \"blocked\": " + std::to_string(day.blocked) +
           ", \"by_action\": " + counts_json(day.byAction) +
           ", \"by_rule\": " + counts_json(day.byRule) +
           ", \"by_policy\": " + counts_json(day.byPolicy) +
           ", \"attachment_mails\": " + std::to_string(day.attachmentMails) +
           ", \"attachments_removed\": " + std::to_string(day.attachments) +
           ", \"top_senders\": " + senders + "]}";
}

int run_report(const OvctlArgs &words)
{
    ReportArgs args;
    std::string error;
    if (!parse_args(words, &args, &error)) {
        std::fprintf(stderr, "ovctl: %s\n", error.c_str());
        return ovctl_usage("report");
    }
    EventReport report;
    if (!read_event_report(args.root, args.since, args.until, &report, &error))
        return ovctl_fail(error);
    if (!args.html.empty() &&
        !write_file(args.html, report_html(report, args.since, args.until), &error))
        return ovctl_fail(error);
    if (args.json) {
        std::printf("{\"days\": [\n");
        size_t left = report.days.size();
        for (const auto &day : report.days)
            std::printf("  %s%s\n", day_json(day.second).c_str(), --left ? "," : "");
        std::printf("], \"total\": %s}\n", day_json(report.total).c_str());
        return 0;
    }
    for (const auto &day : report.days)
        print_day(day.second);
    print_day(report.total);
    return 0;
}

const char kReportHelp[] =
    "Sums up the daily event logs of installation ROOT.\n"
    "Per day and in total: mails blocked per action, per rule and per keyword policy,\n"
    "attachments removed, and the top senders. --since and --until bound the days\n"
    "(inclusive); --json prints the same as one JSON object; --html FILE also writes\n"
    "a self-contained page with charts of blocked mails per day and the top rules\n"
    "and policies.\n"
    "Exit 1 when the logs cannot be read or FILE cannot be written.\n";

const OvctlCommand reportCommand{
    "report", "report --root ROOT [--since YYYY-MM-DD] [--until YYYY-MM-DD] [--json] [--html FILE]",
    run_report, kReportHelp};

} // namespace
