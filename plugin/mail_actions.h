// What the pipeline does with a blocked mail: keep a copy in the quarantine
// or archive tree, tell people, and write the event-log record.
//
//   std::string copy;
//   if (CopyMailToDirectory(g_t_strQuarDir, {"Anti-Spam", ruleName}, dfPath, &copy)) ...
//
// Event-log record of a blocked mail (the second line of the event, after
// "EMAIL\<date> <time>\"), fields separated by single backslashes:
//   <Inbound|Outbound>\<action>\<rule, policy or attachment name>\<sender>\<dir>/<data file>
// where <dir>/<data file> names the mail in the host's spool, so that an
// administrator can find the mail a line speaks of.
#pragma once

#include <string>
#include <vector>

class CMailInfo;

// A name from a mail or a rule, made safe as one directory or file name:
// "/" and "\" become "_", ".." becomes "__", an empty name "_".
std::string SafePathComponent(const std::string &name);

// Copies the mail into root/<levels...>/ (each level made safe and created
// as needed, converted to the host character set) under a new name whose
// first character is "A" (never the name of a file already there). On
// success *copyPath is the copy. On failure no part of a copy is left, and
// the event log gets "CopyFile(%s,%s,FALSE) fail! ErrCode(%d)".
bool CopyMailToDirectory(const std::string &root, const std::vector<std::string> &levels,
                         const char *dfPath, std::string *copyPath);

// "Inbound" or "Outbound".
const char *DirectionWord(int direction);

// The record described above.
std::string MailEventRecord(int direction, const std::string &action, const std::string &name,
                            const CMailInfo &info, const char *dfPath);

// Writes "CONTENT MANAGEMENT: <text>" with the record to the event log.
void WriteMailEvent(const char *text, const std::string &record, int eventId);
