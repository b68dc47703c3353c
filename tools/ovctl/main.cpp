// ovctl: the administrators' command. Dispatches to the registered command
// families and applies the global options that set the plug-in's start-up
// values (host language) before any command runs.
#include <sys/stat.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <iostream>
#include <map>
#include <sstream>

#include "tools/hostkit/spool.h"
#include "tools/ovctl/command.h"
#include "tools/ovctl/global_options.h"

namespace {

std::map<std::string, const OvctlCommand *> &registry()
{
    static std::map<std::string, const OvctlCommand *> commands;
    return commands;
}

// The first line of a command's help text, or "".
std::string summary_of(const OvctlCommand &command)
{
    if (!command.help)
        return "";
    const char *end = std::strchr(command.help, '\n');
    return end ? std::string(command.help, end) : std::string(command.help);
}

int print_help(FILE *out)
{
    std::fprintf(out, "usage: ovctl [--host-language VALUE] COMMAND [ARGS...]\n\ncommands:\n");
    for (const OvctlCommand *command : ovctl_commands()) {
        const std::string summary = summary_of(*command);
        std::fprintf(out, "  %-14s %s\n", command->name, summary.c_str());
    }
    std::fprintf(out,
                 "\n\"ovctl COMMAND --help\" explains a command. --host-language VALUE sets the "
                 "host language\nas the \"HostLanguage\" setting does (ja_JP.eucJP, ja_JP.sjis, "
                 "zh_CN, zh_TW, C).\nExit status: 0 success, 1 a failed operation (one line "
                 "\"ovctl: ...\" on stderr),\n2 a usage error.\n");
    return out == stderr ? 2 : 0;
}

int print_command_help(const OvctlCommand &command)
{
    std::printf("usage: ovctl %s\n", command.usage);
    if (command.help)
        std::printf("\n%s%s", command.help,
                    command.help[std::strlen(command.help) - 1] == '\n' ? "" : "\n");
    return 0;
}

bool asks_for_help(const OvctlArgs &words)
{
    return std::find(words.begin(), words.end(), "--help") != words.end() ||
           (words.size() == 1 && words[0] == "-h");
}

} // namespace

OvctlCommand::OvctlCommand(const char *name_, const char *usage_, OvctlRunner run_,
                           const char *help_)
    : name(name_), usage(usage_), run(run_), help(help_)
{
    registry()[name] = this;
}

const std::vector<const OvctlCommand *> &ovctl_commands()
{
    static std::vector<const OvctlCommand *> list;
    if (list.size() != registry().size()) {
        list.clear();
        for (const auto &entry : registry())
            list.push_back(entry.second);
    }
    return list;
}

int ovctl_usage(const char *name)
{
    auto found = registry().find(name);
    if (found == registry().end())
        return print_help(stderr);
    std::fprintf(stderr, "usage: ovctl %s\n", found->second->usage);
    return 2;
}

int ovctl_fail(const std::string &message)
{
    std::fprintf(stderr, "ovctl: %s\n", message.c_str());
    return 1;
}

bool ovctl_read_input(const std::string &file, std::string *data, std::string *error)
{
    if (file.empty() || file == "-") {
        std::ostringstream all;
        all << std::cin.rdbuf();
        *data = all.str();
        return true;
    }
    struct stat info;
    if (stat(file.c_str(), &info) == 0 && S_ISDIR(info.st_mode)) {
        *error = file + " is a directory, not a file";
        return false;
    }
    return read_file(file, data, error);
}

void ovctl_write_output(const std::string &data)
{
    std::fwrite(data.data(), 1, data.size(), stdout);
    std::fflush(stdout);
}

int main(int argc, char **argv)
{
    OvctlArgs words(argv + 1, argv + argc);
    std::string error;
    if (!ovctl_apply_global_options(words, &error)) {
        if (!error.empty())
            std::fprintf(stderr, "ovctl: %s\n", error.c_str());
        return print_help(stderr);
    }
    if (words.empty())
        return print_help(stderr);
    const bool helpCommand = words[0] == "help" && words.size() == 2;
    if (!helpCommand && (words[0] == "help" || words[0] == "--help" || words[0] == "-h"))
        return print_help(stdout);
    const std::string &name = helpCommand ? words[1] : words[0];
    auto found = registry().find(name);
    if (found == registry().end()) {
        std::fprintf(stderr, "ovctl: unknown command '%s'\n", name.c_str());
        return print_help(stderr);
    }
    OvctlArgs rest(words.begin() + 1, words.end());
    if (helpCommand || asks_for_help(rest))
        return print_command_help(*found->second);
    try {
        return found->second->run(rest);
    } catch (const std::exception &failure) {
        return ovctl_fail(std::string("internal error: ") + failure.what());
    }
}
