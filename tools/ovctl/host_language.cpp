#include "tools/ovctl/global_options.h"

bool ovctl_set_host_language(const std::string &value, std::string *error)
{
    *error = "--host-language " + value + ": host languages are not available in this build";
    return false;
}
