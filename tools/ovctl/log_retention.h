// Retention of the plug-in's daily event logs ("pwall.log.YYYY.MM.DD" in its
// program directory), which nothing else ever deletes. A log goes when both
// the day in its name lies more than keepDays days before today (local time)
// and its last change is more than keepDays * 24 hours old, so a log that is
// still written to, or a clock that was wrong for a while, keeps it. Only
// regular files named exactly so are touched: no debug logs, no other files,
// nothing behind a symbolic link, nothing in subdirectories.
//
//   LogPruneResult result = prune_event_logs("/var/lib/ov/Plug-Ins/OV/", 30, time(nullptr));
//   for (const std::string &name : result.removed) ...
//   if (!result.errors.empty()) ...   // one line per file that could not go
#pragma once

#include <ctime>
#include <string>
#include <vector>

struct LogPruneResult {
    std::vector<std::string> removed;   // file names, sorted
    std::vector<std::string> errors;    // reasons, one per failure
};

// The day of an event log's name as days since 1970-01-01, or false when the
// name is not exactly that of an event log with a real date.
bool event_log_day(const std::string &name, long *day);

LogPruneResult prune_event_logs(const std::string &directory, int keepDays, std::time_t now);
