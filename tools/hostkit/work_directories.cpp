#include "tools/hostkit/work_directories.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>

#include "base/profile.h"
#include "tools/hostkit/plugin_host.h"

namespace {

constexpr int kValueSize = 522;

std::string setting(const std::string &ini, const char *key, const char *fallback)
{
    char value[kValueSize] = "";
    GetPrivateProfileString("Advanced Options", key, fallback, value, sizeof value, ini.c_str());
    return value;
}

// mkdir -p; false with errno set.
bool make_directories(const std::string &path)
{
    for (size_t slash = path.find('/', 1); slash != std::string::npos;
         slash = path.find('/', slash + 1)) {
        const std::string parent = path.substr(0, slash);
        if (mkdir(parent.c_str(), 0755) != 0 && errno != EEXIST)
            return false;
    }
    if (mkdir(path.c_str(), 0755) != 0 && errno != EEXIST)
        return false;
    struct stat info;
    if (stat(path.c_str(), &info) != 0)
        return false;
    if (!S_ISDIR(info.st_mode)) {
        errno = ENOTDIR;
        return false;
    }
    return true;
}

bool fail(std::string *error, const std::string &what)
{
    *error = what + ": " + std::strerror(errno);
    return false;
}

} // namespace

std::vector<WorkDirectory> plugin_work_directories(const std::string &root)
{
    const std::string program = program_directory(root);
    const std::string ini = program + "contscan.ini";
    auto under_program = [&](const std::string &value) {
        return !value.empty() && value[0] == '/' ? value : program + value;
    };
    std::string temp = setting(ini, "TempDir", "");
    if (temp.empty())
        temp = program + "tempdir";
    return {
        {"temporary directory", "TempDir", temp},
        {"quarantine directory", "QuarantineDirectory",
         under_program(setting(ini, "QuarantineDirectory", "Quarantine"))},
        {"archive directory", "ArchiveDirectory",
         under_program(setting(ini, "ArchiveDirectory", "Archive"))},
    };
}

bool work_directory_usable(const std::string &path, std::string *error)
{
    if (!make_directories(path))
        return fail(error, "cannot create it");
    std::string probe = path + "/.ov-check-XXXXXX";
    int fd = mkstemp(&probe[0]);
    if (fd < 0)
        return fail(error, "cannot create a file in it");
    const char line[] = "ov directory check\n";
    int failure = 0;
    errno = 0;
    if (write(fd, line, sizeof line - 1) != static_cast<ssize_t>(sizeof line - 1))
        failure = errno ? errno : ENOSPC;
    else if (fsync(fd) != 0)
        failure = errno;
    if (close(fd) != 0 && failure == 0)
        failure = errno;
    unlink(probe.c_str());
    if (failure != 0) {
        errno = failure;
        return fail(error, "cannot write a file in it");
    }
    return true;
}

std::vector<std::string> unusable_work_directories(const std::string &root)
{
    std::vector<std::string> problems;
    for (const WorkDirectory &dir : plugin_work_directories(root)) {
        std::string error;
        if (!work_directory_usable(dir.path, &error))
            problems.push_back(dir.role + " " + dir.path + " (" + dir.setting + "): " + error);
    }
    return problems;
}
