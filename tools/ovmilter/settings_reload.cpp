#include "tools/ovmilter/settings_reload.h"

#include <cerrno>
#include <cstdio>
#include <cstring>

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
    return true;
}

int reload_settings(const PluginHost &host, const std::string &root, std::string *error)
{
    if (!reload_would_succeed(host, root, error))
        return 1;
    return host.command("update");
}
