// Reading back a message that the plug-in rewrote in the spool (attachments
// replaced by a text part), and working out what the MTA must change: the
// new body, and the header edits that turn the headers it holds into the
// rewritten ones (usually only the MIME headers of a one-part mail change).
//
//   RewrittenMail mail;
//   if (!read_rewritten_mail(dfPath, &mail, &error)) ...
//   for (const HeaderEdit &edit : header_edits(capture.headers(), mail.headers)) ...
#pragma once

#include <string>
#include <vector>

#include "tools/ovmilter/mail_capture.h"

struct RewrittenMail {
    std::vector<HeaderField> headers;
    std::string body;       // everything after the blank line, CRLF line ends
};

// Reads the data file; false with a reason when it cannot be read.
bool read_rewritten_mail(const std::string &path, RewrittenMail *mail, std::string *error);

// Splits a message at its first blank line into header fields and body.
RewrittenMail split_message(const std::string &message);

struct HeaderEdit {
    enum Kind { Change, Remove, Add } kind;
    std::string name;
    int index = 0;          // 1-based among the fields of that name (Change, Remove)
    std::string value;      // Change, Add
};

// Changes first, then removals from the last index down (so earlier indexes
// stay valid), then additions. Names compare case-insensitively, values after
// leading blanks.
std::vector<HeaderEdit> header_edits(const std::vector<HeaderField> &before,
                                     const std::vector<HeaderField> &after);
