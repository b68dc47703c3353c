// HostRun: what ovctl does as a host for a batch of mails. It initialises the
// plug-in on an installation root, hands every AF/DF pair to
// ZWEmailPluginProcess on N threads, collects the verdicts, and keeps the
// notification mails the plug-in queues (written to an outbox directory).
//
// Rule and policy names are not part of the result record; they are read
// back from the records that the plug-in appends to the day's event log,
// whose last field names the mail's data file. The faults of each mail come
// from the plug-in's report (OVEmailPluginProcessReport).
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "tools/hostkit/plugin_host.h"
#include "tools/hostkit/spool.h"

struct MailVerdict {
    std::string label;       // what the user named (mail file or AF path)
    SpoolPair pair;
    int code = 0;            // return value of ZWEmailPluginProcess
    ZWMailResult result{};
    OVMailReport report{};
    std::string name;        // rule or policy that acted, when known
    std::string nameCode = "UTF-8";   // character code of name: the host's
};

struct HostRunOptions {
    std::string root;
    std::string plugin;      // path of libov.so
    std::string outbox;      // where queued notifications go; empty: dropped
    int threads = 1;
    bool progress = false;   // progress line on stderr
    // Called on the worker thread before the mail is handed to the plug-in
    // (ovctl scan writes the mail's spool pair there, so that the workers
    // share that work); false with a reason stops the run: no further mail
    // is started and run_host fails with the first reason.
    std::function<bool(size_t index, MailVerdict &mail, std::string *error)> prepare;
};

// Words for the result record, as printed by ovctl (and, as one word, by
// ovmilter's log: describe_verdict).
const char *verdict_result_word(const MailVerdict &verdict);
const char *verdict_action_word(const MailVerdict &verdict);

// Processes the mails; false with a reason when the plug-in cannot be loaded
// or started (its result code is then in *startCode when given) or a mail
// could not be prepared.
bool run_host(const HostRunOptions &options, std::vector<MailVerdict> &mails,
              std::string *error, int *startCode = nullptr);

// Prints the verdict lines (or JSON) and the summary; returns the exit code
// (0 when every mail got a verdict without a fault, 1 when any failed or
// had a fault). Each line: mail, result, action, rule or policy, faults
// ("copy,temp" or "-").
int print_verdicts(const std::vector<MailVerdict> &mails, bool json);
