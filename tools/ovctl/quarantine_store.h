// The quarantine and archive copies of an installation, as ovctl quarantine
// shows them.
//
// The plug-in lays its copies out under the quarantine (or archive)
// directory that "contscan.ini" names: "Anti-Spam/<rule>/<copy>" for a rule
// of the rule filter, "<policy>/<copy>" for a keyword policy, and "<copy>"
// at the top for a mail whose attachments were removed. Beside a copy the
// host may have written its envelope record ("<copy>.json", see
// tools/hostkit/copy_record.h); without one the sender and the recipients
// are taken from the copy's own headers.
//
//   std::string dir = copy_directory(root, false);
//   std::vector<StoredCopy> copies;
//   if (!list_copies(dir, &copies, &error)) ...
//
// A copy's id is its file name (unique: the plug-in makes it from a process
// and counter number); find_copy also takes its path under the directory or
// the mail's id of the record.
#pragma once

#include <sys/types.h>

#include <ctime>
#include <string>
#include <vector>

#include "tools/hostkit/copy_record.h"

struct StoredCopy {
    std::string path;        // the copy itself
    std::string id;          // its file name
    std::string relative;    // its path under the quarantine or archive directory
    std::string trigger;     // rule or policy, from the directory
    std::string kind;        // "rule", "policy" or "attachment removal"
    time_t time = 0;         // the record's time, else the copy's modification time
    off_t size = 0;
    RecordRead recordState = RecordRead::Missing;
    std::string recordError; // why the record could not be read
    CopyRecord record;       // when recordState is Found
    std::string sender;      // the record's envelope, else the headers'
    std::vector<std::string> recipients;
    std::string subject;     // decoded, UTF-8 where the characters convert
};

// The quarantine (or archive) directory of the installation under `root`, as
// the plug-in reads it from "contscan.ini".
std::string copy_directory(const std::string &root, bool archive);

// Every copy under `dir`, oldest first; false with a reason when `dir`
// cannot be read.
bool list_copies(const std::string &dir, std::vector<StoredCopy> *copies, std::string *error);

// The one copy that `id` names; false with a reason when none or several do.
bool find_copy(const std::string &dir, const std::string &id, StoredCopy *copy,
               std::string *error);

// The value of a header field in the host's code, decoded as the plug-in
// decodes encoded words and converted to UTF-8 where it can be.
std::string decoded_header_text(const std::string &value);
