// The notify tests' scratch directory (the program and temporary directory,
// its path ending in "/") and a guard that sets TZ for one test.
#pragma once

#include <ctime>
#include <string>

#include "support/base_temp_dir.h"

struct NotifyScratchDir : BaseTempDir {
    std::string path() const { return dir() + "/"; }
    std::string file(const std::string &name) const { return BaseTempDir::path(name); }
};

class NotifyZoneGuard {
public:
    explicit NotifyZoneGuard(const char *zone) : m_had(std::getenv("TZ") != nullptr)
    {
        m_old = m_had ? std::getenv("TZ") : "";
        setenv("TZ", zone, 1);
        tzset();
    }
    ~NotifyZoneGuard()
    {
        m_had ? setenv("TZ", m_old.c_str(), 1) : unsetenv("TZ");
        tzset();
    }

private:
    bool m_had;
    std::string m_old;
};
