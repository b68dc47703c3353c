// Releasing a quarantined copy: hands the copy to the MTA's sendmail command
// for the original envelope recipients (or the given addresses) and marks it
// released in its envelope record, so that it is not released twice.
//
//   ReleaseRequest request{copy, {}, kDefaultSendmail};
//   if (!release_copy(request, &sentTo, &error)) ...
//
// The command is split at blanks (no shell); the word SENDER becomes the
// envelope sender ("<>" for the null sender) and the recipients follow as
// arguments of their own. An address that starts with "-" is refused, so it
// can never pass for an option. One release at a time per copy (a lock on the
// copy); the mail is sent before the mark is written, so a failed mark is
// reported but never loses the mail.
#pragma once

#include <string>
#include <vector>

#include "tools/ovctl/quarantine_store.h"

extern const char kDefaultSendmail[];

struct ReleaseRequest {
    StoredCopy copy;
    std::vector<std::string> to;   // empty: the envelope recipients
    std::string command;           // the sendmail command line
};

// The argument vector for one release; false with a reason when an address
// is unsafe or there is nobody to send to.
bool sendmail_arguments(const std::string &command, const std::string &sender,
                        const std::vector<std::string> &recipients,
                        std::vector<std::string> *argv, std::string *error);

// Runs argv with the file as its standard input; false with a reason unless
// the command exits with 0.
bool run_with_input(const std::vector<std::string> &argv, const std::string &inputFile,
                    std::string *error);

// Releases the copy; *sentTo receives the recipients. False with a reason.
bool release_copy(const ReleaseRequest &request, std::vector<std::string> *sentTo,
                  std::string *error);
