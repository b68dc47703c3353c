// The daily event log: one line per event of interest (plug-in started or
// stopped, a mail blocked, an action taken, a failure), in the program
// directory, in the format the host's log viewer reads beside its own logs.
//
//   WriteLogFile("PLUG-IN STOPPED", nullptr, 368, 0);
//   WriteLogFile("CONTENT MANAGEMENT: Content filter has blocked a sensitive mail.",
//                mailRecord, 367, g_nHostCharset);
//
// Each day has its own file "<program directory>pwall.log.YYYY.MM.DD"; the
// first line written to it is the "Daily Log" header. text is the event line,
// mailText an optional second line ("EMAIL\<date> <time>\<mailText>"), eventId
// the caller's event number (not written), charset a character-set code:
// with 0 and 3 the texts are written as they are, with any other code they
// are converted to that code first (fromANY; the raw text when that fails).
// A file that cannot be opened is skipped silently.
#pragma once

void WriteLogFile(const char *text, const char *mailText, int eventId, int charset);
