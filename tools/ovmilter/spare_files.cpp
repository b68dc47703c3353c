#include "tools/ovmilter/spare_files.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>

namespace {

std::string spare_directory(const std::string &spool)
{
    return spool + "/.spare";
}

} // namespace

SpareFiles &SpareFiles::instance()
{
    static SpareFiles spares;
    return spares;
}

bool SpareFiles::take(const std::string &spool, const std::string &path)
{
    std::string spare;
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        std::vector<std::string> &names = m_spares[spool];
        if (names.empty())
            return false;
        spare = names.back();
        names.pop_back();
    }
    if (renameat2(AT_FDCWD, spare.c_str(), AT_FDCWD, path.c_str(), RENAME_NOREPLACE) == 0)
        return true;
    std::remove(spare.c_str());
    return false;
}

bool SpareFiles::keep(const std::string &spool, const std::string &path)
{
    std::string spare;
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        if (m_spares[spool].size() >= kMaxSpares)
            return false;
        spare = spare_directory(spool) + "/" + std::to_string(getpid()) + "." +
                std::to_string(++m_counter);
    }
    struct stat status;
    if (lstat(path.c_str(), &status) != 0 || !S_ISREG(status.st_mode) || status.st_nlink != 1 ||
        truncate(path.c_str(), 0) != 0)
        return false;
    if (rename(path.c_str(), spare.c_str()) != 0 &&
        (errno != ENOENT || mkdir(spare_directory(spool).c_str(), 0700) != 0 ||
         rename(path.c_str(), spare.c_str()) != 0))
        return false;
    std::lock_guard<std::mutex> lock(m_mutex);
    m_spares[spool].push_back(spare);
    return true;
}

void SpareFiles::remove_all(const std::string &spool)
{
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        m_spares.erase(spool);
    }
    const std::string directory = spare_directory(spool);
    DIR *handle = opendir(directory.c_str());
    if (!handle)
        return;
    while (dirent *entry = readdir(handle)) {
        if (entry->d_name[0] != '.')
            std::remove((directory + "/" + entry->d_name).c_str());
    }
    closedir(handle);
}
