// TextFilePool: keeping the mails' text files open between mails (see
// text_file_pool.h).
#include "plugin/text_file_pool.h"

#include <sys/stat.h>
#include <unistd.h>

#include <utility>

#include "base/file_util.h"

TextFilePool g_textFiles;

bool TextFilePool::Take(const std::string &dir, const std::string &prefix, KeptTextFile *file)
{
    std::vector<KeptTextFile> elsewhere;
    bool found = false;
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        for (size_t i = m_files.size(); i-- > 0;) {
            KeptTextFile &kept = m_files[i];
            if (kept.dir != dir) {
                elsewhere.push_back(std::move(kept));
            } else if (!found && kept.prefix == prefix) {
                *file = std::move(kept);
                found = true;
            } else {
                continue;
            }
            m_files.erase(m_files.begin() + static_cast<std::ptrdiff_t>(i));
        }
    }
    for (KeptTextFile &old : elsewhere)
        Discard(old);
    return found;
}

void TextFilePool::Keep(KeptTextFile file)
{
    if (!file.stream)
        return;
    // The text goes now, not when the file is next used. Most mails' text
    // stayed in memory and left the file empty.
    struct stat status;
    if (std::fflush(file.stream) != 0 || fstat(fileno(file.stream), &status) != 0 ||
        (status.st_size > 0 && ftruncate(fileno(file.stream), 0) != 0)) {
        Discard(file);
        return;
    }
    std::rewind(file.stream); // also forgets a write that failed
    std::lock_guard<std::mutex> lock(m_mutex);
    m_files.push_back(std::move(file));
}

void TextFilePool::Clear()
{
    std::vector<KeptTextFile> files;
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        files.swap(m_files);
    }
    for (KeptTextFile &file : files)
        Discard(file);
}

void TextFilePool::Discard(KeptTextFile &file)
{
    if (file.stream)
        std::fclose(file.stream);
    file.stream = nullptr;
    DeleteFile(file.name.c_str());
}
