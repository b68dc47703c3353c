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
// set and delete hold the foundation's lock file ("FILE.lock") while they
// read the file, write the new text into a temporary file beside it (with
// the file's mode) and rename that into place: a reader sees the old file or
// the new one, never a half-written one, and two writers do not lose each
// other's keys.
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include "base/config_file.h"
#include "base/file_mutex.h"
#include "base/file_util.h"
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

// One change to a settings file: a key set (value given), a key removed
// (no value), or a whole section removed (no key).
struct IniChange {
    const char *section;
    const char *key;
    const char *value;
};

std::string directory_of(const std::string &path)
{
    size_t slash = path.rfind('/');
    return slash == std::string::npos ? "." : (slash == 0 ? "/" : path.substr(0, slash));
}

// True when the file's data reached the disk.
bool synced(const char *path)
{
    int fd = ::open(path, O_RDONLY | O_CLOEXEC);
    if (fd < 0)
        return false;
    const bool done = ::fsync(fd) == 0;
    return ::close(fd) == 0 && done;
}

// Writes the changed tree into a new file beside `file`; its name, or "".
std::string write_changed_copy(ConfigFile &config, const std::string &file, const IniChange &change)
{
    char temp[OV_MAX_PATH] = "";
    if (GetTempFileNameEx(directory_of(file).c_str(), ".ini", ".new", 0, temp) == 0)
        return "";
    if (change.key && change.value)
        config.setparam(change.section, change.key, change.value);
    else if (change.key)
        config.unsetparam(change.section, change.key);
    const int written = change.key ? config.dump(temp) : config.dumpWithout(temp, change.section);
    struct stat info;
    if (written != 0 || !synced(temp) || ::stat(file.c_str(), &info) != 0 ||
        ::chmod(temp, info.st_mode & 07777) != 0) {
        std::remove(temp);
        return "";
    }
    return temp;
}

// Applies the change under the file's lock and renames the new text into
// place; false when the file is unreadable or anything cannot be written
// (the file is then as it was).
bool change_settings_file(const std::string &file, const IniChange &change)
{
    if (::access(file.c_str(), R_OK) != 0)
        return false;   // never a new file, nor its lock file
    try {
        f_mutex lock(file.c_str());
        f_mutex_sentry hold(lock);
        ConfigFile config(file.c_str(), 0);
        if (!config.ok())
            return false;
        const std::string temp = write_changed_copy(config, file, change);
        if (temp.empty())
            return false;
        if (std::rename(temp.c_str(), file.c_str()) != 0) {
            std::remove(temp.c_str());
            return false;
        }
        return true;
    } catch (const std::exception &) {
        return false;   // the lock file cannot be made
    }
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
    if (!change_settings_file(file, {args[2].c_str(), args[3].c_str(), args[4].c_str()}))
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
        if (!change_settings_file(file, {section.c_str(), nullptr, nullptr}))
            return ovctl_fail(write_failure("cannot delete [" + section + "]", file));
        return 0;
    }
    if (!change_settings_file(file, {section.c_str(), args[3].c_str(), nullptr}))
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
