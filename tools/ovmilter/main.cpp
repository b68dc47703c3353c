// ovmilter: runs the content-management plug-in for Postfix and Sendmail
// through the milter protocol.
//
//   ovmilter -c /etc/ovmilter.ini [-f]
//
// It loads libov.so with dlopen as any gateway does, starts it on the
// configured installation root, and judges every message the MTA hands over
// (see milter_session.h). SIGHUP reloads the plug-in's settings; SIGTERM and
// SIGINT stop taking mail, let the mails in flight finish, stop the plug-in
// and end the daemon. Started as root with a User set, it opens its socket
// and pid file, then runs as that user (see privilege_drop.h). -f keeps it
// in the foreground, logging to standard error as well as to syslog.
#include <libmilter/mfapi.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <thread>

#include "tools/hostkit/plugin_host.h"
#include "tools/ovmilter/daemon_start.h"
#include "tools/ovmilter/direction.h"
#include "tools/ovmilter/mail_capture.h"
#include "tools/ovmilter/mail_judge.h"
#include "tools/ovmilter/milter_config.h"
#include "tools/ovmilter/milter_log.h"
#include "tools/ovmilter/milter_session.h"
#include "tools/ovmilter/notification_queue.h"
#include "tools/ovmilter/privilege_drop.h"
#include "tools/ovmilter/settings_reload.h"
#include "tools/ovmilter/signal_relay.h"
#include "tools/ovmilter/worker_pool.h"

namespace {

const int kDrainSeconds = 60;

struct Options {
    std::string configPath;
    bool foreground = false;
};

[[noreturn]] void usage(const char *problem)
{
    if (problem)
        std::fprintf(stderr, "ovmilter: %s\n", problem);
    std::fprintf(stderr, "usage: ovmilter -c FILE [-f]\n"
                         "  -c FILE  settings, section [milter]\n"
                         "  -f       stay in the foreground, log to standard error too\n");
    std::exit(2);
}

Options parse_options(int argc, char **argv)
{
    Options options;
    int option;
    while ((option = getopt(argc, argv, "c:fh")) != -1) {
        switch (option) {
        case 'c': options.configPath = optarg; break;
        case 'f': options.foreground = true; break;
        case 'h': usage(nullptr);
        default: usage("unknown option");
        }
    }
    if (options.configPath.empty())
        usage("-c FILE is required");
    if (optind < argc)
        usage("unexpected argument");
    return options;
}

// Relative paths are taken from where the command was started, before the
// daemon moves to "/".
std::string absolute(const std::string &path)
{
    if (path.empty() || path[0] == '/')
        return path;
    char here[PATH_MAX];
    return getcwd(here, sizeof here) ? std::string(here) + "/" + path : path;
}

bool make_spool(const std::string &spool, std::string *error)
{
    if (mkdir(spool.c_str(), 0700) != 0 && errno != EEXIST) {
        *error = "cannot create spool " + spool + ": " + std::strerror(errno);
        return false;
    }
    if (access(spool.c_str(), W_OK | X_OK) != 0) {
        *error = "cannot write into spool " + spool + ": " + std::strerror(errno);
        return false;
    }
    return true;
}

// Reads and checks everything that can be checked before going into the
// background; exits with a message on the first problem.
void prepare(const Options &options, MilterConfig *config, MailDirection *direction)
{
    std::string error;
    if (!load_milter_config(options.configPath, config, &error) ||
        !direction->configure(config->localDomains, config->localNetworks, &error)) {
        std::fprintf(stderr, "ovmilter: %s\n", error.c_str());
        std::exit(1);
    }
    config->root = absolute(config->root);
    config->plugin = config->plugin.empty() ? default_plugin_path() : absolute(config->plugin);
    if (!config->pidFile.empty())
        config->pidFile = absolute(config->pidFile);
    if (!make_spool(config->spool, &error)) {
        std::fprintf(stderr, "ovmilter: %s\n", error.c_str());
        std::exit(1);
    }
}

void reload(const PluginHost &plugin, const MilterConfig &config)
{
    std::string error;
    int code = reload_settings(plugin, config.root, &error);
    if (code == 0) {
        milter_log(LOG_INFO, "settings reloaded from %s", program_directory(config.root).c_str());
    } else if (code == 1) {
        milter_log(LOG_ERR, "reload refused, old settings stay in force: %s", error.c_str());
    } else if (code == -10 || code == -7) {
        // The plug-in now holds every mail for good; the MTA defers mail
        // while the filter is away, so end here rather than let mail hang.
        milter_log(LOG_CRIT, "reload failed: %s; the plug-in takes no more mail, stopping",
                   describe_plugin_code(code).c_str());
        if (!config.pidFile.empty())
            std::remove(config.pidFile.c_str());
        _exit(1);
    } else {
        milter_log(LOG_ERR, "reload failed: %s", describe_plugin_code(code).c_str());
    }
}

// Stops taking new mail, lets the open messages finish (libmilter serves
// sessions only while its loop runs), then ends the loop.
void drain_and_stop()
{
    milter_log(LOG_INFO, "stopping: no new mail, finishing the mails in flight");
    stop_taking_mail();
    if (!wait_for_open_messages(kDrainSeconds))
        milter_log(LOG_WARNING, "mails still open after %d s; they get a tempfail", kDrainSeconds);
    smfi_stop();
}

} // namespace

int main(int argc, char **argv)
{
    Options options = parse_options(argc, argv);
    MilterConfig config;
    MailDirection direction;
    prepare(options, &config, &direction);

    DaemonStart start;
    std::string error;
    if (!options.foreground && !start.detach(&error)) {
        std::fprintf(stderr, "ovmilter: %s\n", error.c_str());
        return 1;
    }
    open_milter_log(options.foreground);
    SignalRelay::block_in_this_thread();

    auto fail = [&start](const std::string &reason) {
        milter_log(LOG_ERR, "%s", reason.c_str());
        start.failed(reason);
        return 1;
    };
    PluginHost plugin;
    WorkerPool workers(config.workers);
    MailJudge judge(workers, [&plugin](ZWHostCall *call, ZWMailResult *result,
                                       OVMailReport *report) {
        return plugin.process(call, result, report);
    }, ovmilter_enque_mail, config.onBlock);
    SignalRelay relay;
    // The socket and the pid file may need root; all else runs as User.
    if (!register_milter({&config, &direction, &judge}, &error) ||
        (!config.pidFile.empty() && !write_pid_file(config.pidFile, &error)) ||
        !drop_privileges(config.user, config.group, config.spool, &error)) {
        workers.stop();
        return fail(error);
    }
    if (!lock_spool(config.spool, &error))
        return fail(error);
    if (int stale = remove_stale_pairs(config.spool))
        milter_log(LOG_WARNING, "removed %d spool pairs of mails a previous run left unanswered",
                   stale);
    if (!plugin.load(config.plugin, &error))
        return fail(error);
    if (!work_directories_usable(config.root, &error))
        return fail(error);
    ZWHostInfo info{};
    int code = plugin.initialize(config.root.c_str(), &info);
    if (code != 0)
        return fail("cannot start the plug-in on " + config.root + ": " +
                    describe_plugin_code(code));
    set_notification_command(config.sendmailCommand);
    if (!relay.start(&error)) {
        workers.stop();
        plugin.cleanup();
        return fail(error);
    }
    milter_log(LOG_INFO, "started: socket %s, plug-in %s (%s), root %s, %d workers",
               config.socket.c_str(), config.plugin.c_str(), plugin.version(), config.root.c_str(),
               config.workers);
    start.ready();

    std::atomic<int> milterResult{MI_SUCCESS};
    std::thread milter([&relay, &milterResult] {
        milterResult = smfi_main();
        relay.post(SignalRelay::MilterEnded);
    });
    bool stopAsked = false;
    for (bool running = true; running;) {
        switch (relay.wait()) {
        case SignalRelay::Reload:
            reload(plugin, config);
            break;
        case SignalRelay::Stop:
            if (!stopAsked)
                drain_and_stop();
            stopAsked = true;
            break;
        case SignalRelay::MilterEnded:
            running = false;
            break;
        }
    }
    milter.join();
    bool clean = stopAsked && milterResult == MI_SUCCESS;
    if (!clean)
        milter_log(LOG_ERR, "the milter loop ended on its own (%s); stopping",
                   milterResult == MI_SUCCESS ? "a signal reached libmilter" : "failure");
    stop_taking_mail();
    if (!wait_for_open_messages(0)) {
        // libmilter serves no session once its loop has ended, so an open
        // message never finishes, and its callback may still use what main
        // owns. Its session ends with the process; the MTA keeps the mail.
        milter_log(LOG_ERR, "mails still open; exiting without stopping the plug-in");
        _exit(1);
    }
    workers.stop();
    plugin.cleanup();
    if (!config.pidFile.empty())
        std::remove(config.pidFile.c_str());
    milter_log(LOG_INFO, "stopped");
    return clean ? 0 : 1;
}
