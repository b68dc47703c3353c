// Shared helpers of the event-log and notification tests: a scratch
// directory that becomes the program and temporary directory, file reading,
// and a guard that sets the host language and zone for one test.
#pragma once

#include <string>
#include <vector>

// A fresh directory under /tmp, removed with everything in it at the end.
class NotifyScratchDir {
public:
    NotifyScratchDir();
    ~NotifyScratchDir();
    NotifyScratchDir(const NotifyScratchDir &) = delete;
    NotifyScratchDir &operator=(const NotifyScratchDir &) = delete;

    const std::string &path() const { return m_path; } // ends in "/"
    std::string file(const std::string &name) const { return m_path + name; }
    // Names of the regular files in the directory, sorted.
    std::vector<std::string> files() const;

private:
    std::string m_path;
};

std::string NotifyReadFile(const std::string &path);
void NotifyWriteFile(const std::string &path, const std::string &content);
// Lines of a text, split at "\n" (a trailing "\r" stays with its line); no
// empty piece after a final line end.
std::vector<std::string> NotifySplitLines(const std::string &text);

// Sets TZ (and tzset) for the lifetime of the object, restoring the old value.
class NotifyZoneGuard {
public:
    explicit NotifyZoneGuard(const char *zone);
    ~NotifyZoneGuard();
    NotifyZoneGuard(const NotifyZoneGuard &) = delete;
    NotifyZoneGuard &operator=(const NotifyZoneGuard &) = delete;

private:
    bool m_had = false;
    std::string m_old;
};
