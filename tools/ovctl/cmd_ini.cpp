// ovctl ini: reads and changes settings files through the same profile
// functions the plug-in uses, so an administrator sees exactly what it reads.
//
//   ovctl ini get FILE SECTION KEY [DEFAULT]   prints the value (or DEFAULT)
//   ovctl ini set FILE SECTION KEY VALUE       sets the key; FILE must exist, and
//                                              names and value must read back
//                                              as written
//   ovctl ini delete FILE SECTION [KEY]        removes the key, or the section
//
// Sections and keys are matched case-insensitively, as the plug-in does.
#include <sys/stat.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include "base/config_file.h"
#include "base/profile.h"
#include "tools/ovctl/command.h"

namespace {

// Why a write to file failed, as far as can be told from outside.
std::string write_failure(const std::string &what, const std::string &file)
{
    struct stat info;
    std::string reason = "cannot write file";
    if (::stat(file.c_str(), &info) != 0)
        reason = std::strerror(errno);
    return what + " in " + file + ": " + reason;
}

int ini_get(const OvctlArgs &args)
{
    if (args.size() < 4 || args.size() > 5)
        return ovctl_usage("ini");
    const std::string &file = args[1];
    std::string fallback = args.size() == 5 ? args[4] : "";
    // A value can be no longer than the file it comes from.
    struct stat info;
    size_t size = fallback.size() + 1;
    if (::stat(file.c_str(), &info) == 0 && static_cast<size_t>(info.st_size) >= size)
        size = static_cast<size_t>(info.st_size) + 1;
    std::vector<char> buffer(size, '\0');
    GetPrivateProfileString(args[2].c_str(), args[3].c_str(), fallback.c_str(), buffer.data(),
                            static_cast<int>(size), file.c_str());
    std::printf("%s\n", buffer.data());
    return 0;
}

int ini_set(const OvctlArgs &args)
{
    if (args.size() != 5)
        return ovctl_usage("ini");
    const std::string &file = args[1];
    // Refuse what the plug-in would read back differently (or not at all).
    if (!ConfigFile::valid_name(args[2].c_str()))
        return ovctl_fail("section name '" + args[2] + "' would not read back as written");
    if (!ConfigFile::valid_name(args[3].c_str()))
        return ovctl_fail("key '" + args[3] + "' would not read back as written");
    if (!ConfigFile::valid_value(args[4].c_str()))
        return ovctl_fail("value of " + args[3] +
                          " must not start or end with a blank or end with a backslash");
    if (!WritePrivateProfileString(args[2].c_str(), args[3].c_str(), args[4].c_str(), file.c_str()))
        return ovctl_fail(write_failure("cannot set " + args[3] + " of [" + args[2] + "]", file));
    return 0;
}

int ini_delete(const OvctlArgs &args)
{
    if (args.size() < 3 || args.size() > 4)
        return ovctl_usage("ini");
    const std::string &file = args[1];
    const std::string &section = args[2];
    if (args.size() == 3) {
        if (!WritePrivateProfileString(section.c_str(), nullptr, nullptr, file.c_str()))
            return ovctl_fail(write_failure("cannot delete [" + section + "]", file));
        return 0;
    }
    if (!DeletePrivateProfileString(section.c_str(), args[3].c_str(), file.c_str()))
        return ovctl_fail(write_failure("cannot delete " + args[3] + " of [" + section + "]", file));
    return 0;
}

int run_ini(const OvctlArgs &args)
{
    if (args.empty())
        return ovctl_usage("ini");
    if (args[0] == "get")
        return ini_get(args);
    if (args[0] == "set")
        return ini_set(args);
    if (args[0] == "delete")
        return ini_delete(args);
    return ovctl_usage("ini");
}

const char kHelp[] =
    "Reads and changes a settings file exactly as the plug-in reads it.\n"
    "  get FILE SECTION KEY [DEFAULT]  prints the value (or DEFAULT)\n"
    "  set FILE SECTION KEY VALUE      sets the key; FILE must exist, and the names and\n"
    "                                  the value must read back as written\n"
    "  delete FILE SECTION [KEY]       removes the key, or the whole section\n"
    "Sections and keys match without regard to case, as in the plug-in.\n";
const OvctlCommand reg{"ini",
                       "ini get FILE SECTION KEY [DEFAULT] | ini set FILE SECTION KEY VALUE | "
                       "ini delete FILE SECTION [KEY]",
                       run_ini, kHelp};

} // namespace
