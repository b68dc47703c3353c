// Scratch directories, file helpers and the TZ guard of the notify tests.
#include "support/notify_fixtures.h"

#include <algorithm>
#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <stdexcept>

NotifyScratchDir::NotifyScratchDir()
{
    char pattern[] = "/tmp/ov_notify_XXXXXX";
    if (!mkdtemp(pattern))
        throw std::runtime_error("mkdtemp failed");
    m_path = std::string(pattern) + "/";
}

NotifyScratchDir::~NotifyScratchDir()
{
    std::error_code ignored;
    std::filesystem::remove_all(m_path, ignored);
}

std::vector<std::string> NotifyScratchDir::files() const
{
    std::vector<std::string> names;
    for (const auto &entry : std::filesystem::directory_iterator(m_path))
        if (entry.is_regular_file())
            names.push_back(entry.path().filename().string());
    std::sort(names.begin(), names.end());
    return names;
}

std::string NotifyReadFile(const std::string &path)
{
    std::ifstream in(path, std::ios::binary);
    std::ostringstream text;
    text << in.rdbuf();
    return text.str();
}

void NotifyWriteFile(const std::string &path, const std::string &content)
{
    std::ofstream out(path, std::ios::binary | std::ios::trunc);
    out << content;
}

std::vector<std::string> NotifySplitLines(const std::string &text)
{
    std::vector<std::string> lines;
    size_t start = 0;
    while (start < text.size()) {
        const size_t end = text.find('\n', start);
        if (end == std::string::npos) {
            lines.push_back(text.substr(start));
            break;
        }
        lines.push_back(text.substr(start, end - start));
        start = end + 1;
    }
    return lines;
}

NotifyZoneGuard::NotifyZoneGuard(const char *zone)
{
    if (const char *old = std::getenv("TZ")) {
        m_had = true;
        m_old = old;
    }
    setenv("TZ", zone, 1);
    tzset();
}

NotifyZoneGuard::~NotifyZoneGuard()
{
    if (m_had)
        setenv("TZ", m_old.c_str(), 1);
    else
        unsetenv("TZ");
    tzset();
}
