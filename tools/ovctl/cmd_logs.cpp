// ovctl logs prune --root ROOT --keep-days N
//     deletes the plug-in's daily event logs ("pwall.log.YYYY.MM.DD") older
//     than N days from ROOT's program directory (see log_retention.h for what
//     "older" means); prints "removed FILE" for each. Run daily by the
//     retention timer, or from cron.
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <string>

#include "tools/hostkit/plugin_host.h"
#include "tools/ovctl/command.h"
#include "tools/ovctl/log_retention.h"

namespace {

const int kMaxKeepDays = 36500;

// The number of days, or -1 when the text is not a whole number in range.
int keep_days(const std::string &text)
{
    char *end = nullptr;
    long days = std::strtol(text.c_str(), &end, 10);
    if (text.empty() || *end != '\0' || days < 1 || days > kMaxKeepDays)
        return -1;
    return static_cast<int>(days);
}

int run_logs(const OvctlArgs &args)
{
    if (args.size() != 5 || args[0] != "prune")
        return ovctl_usage("logs");
    std::string root;
    int days = -1;
    for (size_t i = 1; i + 1 < args.size(); i += 2) {
        if (args[i] == "--root")
            root = args[i + 1];
        else if (args[i] == "--keep-days")
            days = keep_days(args[i + 1]);
        else
            return ovctl_usage("logs");
    }
    if (days < 0)
        std::fprintf(stderr, "ovctl: --keep-days takes a number of days from 1 to %d\n",
                     kMaxKeepDays);
    if (root.empty() || days < 0)
        return ovctl_usage("logs");
    const std::string directory = program_directory(root);
    LogPruneResult result = prune_event_logs(directory, days, std::time(nullptr));
    for (const std::string &name : result.removed)
        std::printf("removed %s%s\n", directory.c_str(), name.c_str());
    for (const std::string &error : result.errors)
        ovctl_fail(error);
    return result.errors.empty() ? 0 : 1;
}

const char kLogsHelp[] =
    "Deletes the daily event logs of installation ROOT older than N days.\n"
    "A log \"pwall.log.YYYY.MM.DD\" goes when both the day in its name and its last\n"
    "change are more than N days ago; other files are left alone. Each deleted file\n"
    "is named on standard output.\n"
    "Exit 1 when the program directory cannot be read or a log cannot be deleted.\n";

const OvctlCommand reg{"logs", "logs prune --root ROOT --keep-days N", run_logs, kLogsHelp};

} // namespace
