// Scratch directories and whole-file helpers shared by every test folder:
// BaseTempDir is $TMPDIR/ov_test_XXXXXX, removed with its contents; ReadFile gives
// "<missing>" for a file it cannot open, WriteFile throws when it cannot write.
#pragma once

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <string>
#include <vector>

inline std::string ReadFile(const std::string &path)
{
    std::ifstream in(path, std::ios::binary);
    return in ? std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()) : "<missing>";
}

inline void WriteFile(const std::string &path, const std::string &bytes)
{
    std::ofstream out(path, std::ios::binary | std::ios::trunc);
    out.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
    if (!out)
        throw std::runtime_error("cannot write " + path);
}

inline bool FileExists(const std::string &path)
{
    std::error_code ignored;
    return std::filesystem::exists(std::filesystem::symlink_status(path, ignored));
}

inline std::vector<std::string> SplitLines(const std::string &text)
{
    std::vector<std::string> lines;
    for (size_t start = 0, end; start < text.size(); start = end + 1) {
        end = std::min(text.find('\n', start), text.size());
        lines.push_back(text.substr(start, end - start));
        if (!lines.back().empty() && lines.back().back() == '\r')
            lines.back().pop_back();
    }
    return lines;
}

inline std::vector<std::string> FilesBelow(const std::string &dir)
{
    std::vector<std::string> found;
    std::error_code ignored;
    for (std::filesystem::recursive_directory_iterator it(dir, ignored), end; it != end;
         it.increment(ignored))
        if (it->is_regular_file())
            found.push_back(it->path().string());
    std::sort(found.begin(), found.end());
    return found;
}

class BaseTempDir {
public:
    BaseTempDir()
    {
        const char *root = std::getenv("TMPDIR");
        std::string pattern = std::string(root && *root ? root : "/tmp") + "/ov_test_XXXXXX";
        if (!mkdtemp(&pattern[0]))
            throw std::runtime_error("mkdtemp failed");
        m_dir = pattern;
    }
    ~BaseTempDir()
    {
        std::error_code ignored;
        std::filesystem::remove_all(m_dir, ignored);
    }
    BaseTempDir(const BaseTempDir &) = delete;
    BaseTempDir &operator=(const BaseTempDir &) = delete;

    const std::string &dir() const { return m_dir; }
    std::string path(const std::string &name) const { return m_dir + "/" + name; }
    std::string write(const std::string &name, const std::string &text) const
    {
        WriteFile(path(name), text);
        return path(name);
    }
    bool empty() const { return std::filesystem::is_empty(m_dir); }
    // Regular files below `relative`, relative to the directory, sorted.
    std::vector<std::string> files(const std::string &relative = "") const
    {
        std::vector<std::string> found = FilesBelow(path(relative));
        for (std::string &file : found)
            file = std::filesystem::relative(file, m_dir).string();
        return found;
    }

private:
    std::string m_dir;
};
