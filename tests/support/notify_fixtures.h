// The notify tests' scratch directory (the program and temporary directory,
// its path ending in "/") and the local time of now in a strftime format.
#pragma once

#include <ctime>
#include <string>

#include "support/base_temp_dir.h"

struct NotifyScratchDir : BaseTempDir {
    std::string path() const { return dir() + "/"; }
    std::string file(const std::string &name) const { return BaseTempDir::path(name); }
};


inline std::string NotifyLocalNow(const char *format)
{
    const time_t now = time(nullptr);
    struct tm local {};
    localtime_r(&now, &local);
    char text[64];
    strftime(text, sizeof text, format, &local);
    return text;
}
