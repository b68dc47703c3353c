// What ovctl report counts in the daily event logs of an installation: per
// day the mails blocked per action, per rule and per policy, the mails whose
// attachments were removed (and how many attachments), and the senders of
// blocked mail.
//
//   EventReport report;
//   if (!read_event_report(root, "2026-11-01", "2026-11-30", &report, &error)) ...
//   // or, from log text already read: add_event_log(text, &report)
//
// Dates are "YYYY-MM-DD"; an empty bound is open. A day without a blocked
// mail or a removal is left out. Texts are kept as the log holds them
// (converted to UTF-8 by the writers).
#pragma once

#include <map>
#include <string>
#include <utility>
#include <vector>

using Counts = std::map<std::string, int>;

struct DayCounts {
    std::string date;
    int blocked = 0;          // mails deleted, quarantined or archived
    Counts byAction;          // "Delete", "Quarantine", "Archive"
    Counts byRule;
    Counts byPolicy;
    int attachmentMails = 0;  // mails whose attachments were removed
    int attachments = 0;      // attachments removed
    Counts senders;           // of blocked mails
};

struct EventReport {
    std::map<std::string, DayCounts> days;   // by date
    DayCounts total;                         // every day together
};

// Counts the mail records of one log text, keeping those within the dates.
void add_event_log(const std::string &text, const std::string &since, const std::string &until,
                   EventReport *report);

// Reads every "pwall.log.YYYY.MM.DD" of the installation's program directory
// within the dates; false with a reason when a log cannot be read.
bool read_event_report(const std::string &root, const std::string &since,
                       const std::string &until, EventReport *report, std::string *error);

// The `count` largest entries, largest first (ties by name).
std::vector<std::pair<std::string, int>> top_counts(const Counts &counts, size_t count);

// True for "YYYY-MM-DD".
bool is_report_date(const std::string &text);
