// ovctl's command table.
//
// Every command family lives in its own cmd_<family>.cpp and registers itself
// with a file-scope OvctlCommand object:
//
//   static const OvctlCommand reg{"ini", "ini get|set|delete FILE SECTION ...",
//                                 run_ini, kIniHelp};
//
// The help text (optional) is what "ovctl COMMAND --help" prints below the
// usage: its first line summarises the command for "ovctl --help", the rest
// explains arguments, output and exit status.
//
// The runner gets the words after the command name. Exit codes: 0 success,
// 1 an operation failed (one line on stderr starting "ovctl: "), 2 a usage
// error (the runner prints its usage with ovctl_usage()).
#pragma once

#include <string>
#include <vector>

using OvctlArgs = std::vector<std::string>;
using OvctlRunner = int (*)(const OvctlArgs &args);

struct OvctlCommand {
    OvctlCommand(const char *name, const char *usage, OvctlRunner run,
                 const char *help = nullptr);
    const char *name;
    const char *usage;
    OvctlRunner run;
    const char *help;
};

// All registered commands, in name order.
const std::vector<const OvctlCommand *> &ovctl_commands();

// Prints "usage: ovctl <usage>" for the command to stderr and returns 2.
int ovctl_usage(const char *name);

// Prints "ovctl: <message>" to stderr and returns 1.
int ovctl_fail(const std::string &message);

// Reads FILE whole ("-" or empty means standard input). False on error, with
// the reason in *error.
bool ovctl_read_input(const std::string &file, std::string *data, std::string *error);

// Writes raw bytes to standard output.
void ovctl_write_output(const std::string &data);
