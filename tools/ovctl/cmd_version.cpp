// ovctl version: the plug-in's version and build date as the host sees them.
#include <cstdio>

#include "tools/ovctl/command.h"

namespace {

const char kVersion[] = "3.8_Linux_Build_1036";
const char kBuildDate[] = "12/20/2002 18:02:39";

int run_version(const OvctlArgs &args)
{
    if (!args.empty())
        return ovctl_usage("version");
    std::printf("%s %s\n", kVersion, kBuildDate);
    return 0;
}

const OvctlCommand reg{"version", "version", run_version};

} // namespace
