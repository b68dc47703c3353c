#include "tools/ovmilter/settings_reload.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <vector>

#include "tools/hostkit/work_directories.h"

bool reload_would_succeed(const PluginHost &host, const std::string &root, std::string *error)
{
    std::string directory = program_directory(root);
    std::string settings = directory + "contscan.ini";
    std::string policies = directory + "CsConfig.dat";
    FILE *file = std::fopen(settings.c_str(), "r");
    if (!file) {
        *error = "cannot read " + settings + ": " + std::strerror(errno);
        return false;
    }
    std::fclose(file);
    if (!host.policies_load(policies.c_str(), settings.c_str())) {
        *error = "the keyword policies of " + policies + " do not load";
        return false;
    }
    return work_directories_usable(root, error);
}

bool work_directories_usable(const std::string &root, std::string *error)
{
    std::vector<std::string> problems = unusable_work_directories(root);
    if (problems.empty())
        return true;
    *error = problems.front();
    for (size_t i = 1; i < problems.size(); ++i)
        *error += "; " + problems[i];
    return false;
}

int reload_settings(const PluginHost &host, const std::string &root, std::string *error)
{
    if (!reload_would_succeed(host, root, error))
        return 1;
    return host.command("update");
}
