// ovctl: the administrators' command. Dispatches to the registered command
// families and applies the global options that set the plug-in's start-up
// values (host language) before any command runs.
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

int print_help(FILE *out)
{
    std::fprintf(out, "usage: ovctl [--host-language VALUE] COMMAND [ARGS...]\n\ncommands:\n");
    for (const OvctlCommand *command : ovctl_commands())
        std::fprintf(out, "  ovctl %s\n", command->usage);
    return out == stderr ? 2 : 0;
}

} // namespace

OvctlCommand::OvctlCommand(const char *name_, const char *usage_, OvctlRunner run_)
    : name(name_), usage(usage_), run(run_)
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
    if (words[0] == "help" || words[0] == "--help" || words[0] == "-h")
        return print_help(stdout);
    auto found = registry().find(words[0]);
    if (found == registry().end()) {
        std::fprintf(stderr, "ovctl: unknown command '%s'\n", words[0].c_str());
        return print_help(stderr);
    }
    OvctlArgs rest(words.begin() + 1, words.end());
    return found->second->run(rest);
}
