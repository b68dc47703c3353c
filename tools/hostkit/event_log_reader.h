// Reading the plug-in's daily event log ("pwall.log.YYYY.MM.DD" in its
// program directory) back into the mails it judged.
//
// Each blocked mail leaves two lines: the event,
//   "11/25/2026 11:10:57 CONTENT_MANAGEMENT[9440]: CONTENT MANAGEMENT: <what>"
// and the mail record that follows it,
//   "EMAIL\11/25/2026 11:10:57\Inbound\Quarantine\Big mails\ann@example.net\/spool/DFI4Xc9"
// (direction, action, rule or policy, envelope sender, data file). The event
// text tells a rule of the rule filter ("Anti-Spam filter ...") from a keyword
// policy ("Content filter ...") and from an attachment removal, whose name
// field lists the attachments removed.
//
//   std::vector<LoggedMail> mails = parse_event_log(text);
//
// Lines of any other form are skipped; a name that holds backslashes is kept
// whole (the sender and the data file are the last two fields).
#pragma once

#include <string>
#include <vector>

enum class LoggedKind { Rule, Policy, Attachments, Other };

struct LoggedMail {
    std::string date;        // "2026-11-25"
    std::string time;        // "11:10:57"
    LoggedKind kind = LoggedKind::Other;
    std::string direction;   // "Inbound" or "Outbound"
    std::string action;      // "Delete", "Quarantine", "Archive", or the removal's text
    std::string name;        // rule, policy, or the attachment names
    std::string sender;
    std::string dataFile;    // path of the mail's data file as the host named it
};

std::vector<LoggedMail> parse_event_log(const std::string &text);

// "2026-11-25" from an event-log file name "pwall.log.2026.11.25"; empty
// when the name is not one.
std::string event_log_file_date(const std::string &fileName);
