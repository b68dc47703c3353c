// ovctl version: this project's version, and the plug-in's classic version
// and build date as a host reads them through the entry points.
#include <cstdio>

#include "ov/host.h"
#include "tools/ovctl/command.h"

namespace
{

int run_version(const OvctlArgs &args)
{
    if (!args.empty())
        return ovctl_usage("version");
    std::printf("ovctl %s\n", OV_PROJECT_VERSION);
    std::printf("plug-in %s, built %s\n", ZWEmailPluginGetCMVersion(),
                ZWEmailPluginGetCMBuildDate());
    return 0;
}

const char kHelp[] =
    "Shows this project's version and the plug-in's classic version and build date.\n"
    "  ovctl VERSION\n"
    "  plug-in VERSION, built DATE   (what ZWEmailPluginGetCMVersion and\n"
    "                                ZWEmailPluginGetCMBuildDate give a host)\n";

const OvctlCommand reg{"version", "version", run_version, kHelp};

} // namespace
