// A scratch directory for one test, removed with everything in it when the
// object goes. Small helpers write and read whole files inside it.
#pragma once

#include <dirent.h>
#include <ftw.h>
#include <stdlib.h>
#include <unistd.h>

#include <cstdio>
#include <fstream>
#include <iterator>
#include <sstream>
#include <stdexcept>
#include <string>

class BaseTempDir {
public:
    BaseTempDir()
    {
        const char *root = std::getenv("TMPDIR");
        std::string pattern = std::string(root && *root ? root : "/tmp") + "/ov_base_XXXXXX";
        if (!mkdtemp(&pattern[0]))
            throw std::runtime_error("mkdtemp failed");
        m_dir = pattern;
    }
    ~BaseTempDir() { nftw(m_dir.c_str(), remove_entry, 16, FTW_DEPTH | FTW_PHYS); }
    BaseTempDir(const BaseTempDir &) = delete;
    BaseTempDir &operator=(const BaseTempDir &) = delete;

    const std::string &dir() const { return m_dir; }
    std::string path(const std::string &name) const { return m_dir + "/" + name; }

    // Writes text as the whole file name; returns its path.
    std::string write(const std::string &name, const std::string &text) const
    {
        std::string file = path(name);
        std::ofstream(file, std::ios::binary) << text;
        return file;
    }

    // The whole file, or "<missing>" when it cannot be opened.
    static std::string read(const std::string &file)
    {
        std::ifstream in(file, std::ios::binary);
        if (!in)
            return "<missing>";
        return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
    }

    static bool exists(const std::string &file) { return access(file.c_str(), F_OK) == 0; }

    // True when nothing is in the directory.
    bool empty() const
    {
        DIR *dir = opendir(m_dir.c_str());
        if (!dir)
            return false;
        int entries = 0;
        while (const dirent *entry = readdir(dir))
            entries += std::string(entry->d_name) != "." && std::string(entry->d_name) != "..";
        closedir(dir);
        return entries == 0;
    }

private:
    static int remove_entry(const char *file, const struct stat *, int, struct FTW *)
    {
        std::remove(file);
        return 0;
    }

    std::string m_dir;
};
