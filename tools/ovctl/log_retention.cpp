#include "tools/ovctl/log_retention.h"

#include <dirent.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <cstring>

namespace {

const char kPrefix[] = "pwall.log.";

// Days since 1970-01-01 of a date of the proleptic Gregorian calendar.
long days_from_civil(long year, long month, long day)
{
    year -= month <= 2;
    const long era = (year >= 0 ? year : year - 399) / 400;
    const long yearOfEra = year - era * 400;
    const long dayOfYear = (153 * (month + (month > 2 ? -3 : 9)) + 2) / 5 + day - 1;
    const long dayOfEra = yearOfEra * 365 + yearOfEra / 4 - yearOfEra / 100 + dayOfYear;
    return era * 146097 + dayOfEra - 719468;
}

bool leap_year(long year)
{
    return (year % 4 == 0 && year % 100 != 0) || year % 400 == 0;
}

long days_in_month(long year, long month)
{
    static const long days[] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
    return month == 2 && leap_year(year) ? 29 : days[month - 1];
}

// The digits of name[at, at + count) as a number; false if any is no digit.
bool digits(const std::string &name, size_t at, size_t count, long *value)
{
    *value = 0;
    for (size_t i = at; i < at + count; ++i) {
        if (!std::isdigit(static_cast<unsigned char>(name[i])))
            return false;
        *value = *value * 10 + (name[i] - '0');
    }
    return true;
}

long local_day(std::time_t now)
{
    std::tm local{};
    localtime_r(&now, &local);
    return days_from_civil(local.tm_year + 1900L, local.tm_mon + 1L, local.tm_mday);
}

} // namespace

bool event_log_day(const std::string &name, long *day)
{
    const size_t prefix = sizeof kPrefix - 1;
    // "pwall.log." YYYY "." MM "." DD
    if (name.size() != prefix + 10 || name.compare(0, prefix, kPrefix) != 0 ||
        name[prefix + 4] != '.' || name[prefix + 7] != '.')
        return false;
    long year, month, dayOfMonth;
    if (!digits(name, prefix, 4, &year) || !digits(name, prefix + 5, 2, &month) ||
        !digits(name, prefix + 8, 2, &dayOfMonth))
        return false;
    if (year < 1000 || month < 1 || month > 12 || dayOfMonth < 1 ||
        dayOfMonth > days_in_month(year, month))
        return false;
    *day = days_from_civil(year, month, dayOfMonth);
    return true;
}

LogPruneResult prune_event_logs(const std::string &directory, int keepDays, std::time_t now)
{
    LogPruneResult result;
    DIR *listing = opendir(directory.c_str());
    if (!listing) {
        result.errors.push_back("cannot read " + directory + ": " + std::strerror(errno));
        return result;
    }
    const long lastOldDay = local_day(now) - keepDays - 1;
    const std::time_t oldBefore = now - static_cast<std::time_t>(keepDays) * 24 * 3600;
    std::string base = directory;
    if (!base.empty() && base.back() != '/')
        base += '/';
    std::vector<std::string> old;
    while (dirent *entry = readdir(listing)) {
        long day;
        struct stat info;
        const std::string name = entry->d_name;
        if (!event_log_day(name, &day) || day > lastOldDay)
            continue;
        if (lstat((base + name).c_str(), &info) != 0 || !S_ISREG(info.st_mode) ||
            info.st_mtime >= oldBefore)
            continue;
        old.push_back(name);
    }
    closedir(listing);
    std::sort(old.begin(), old.end());
    for (const std::string &name : old) {
        if (unlink((base + name).c_str()) == 0)
            result.removed.push_back(name);
        else
            result.errors.push_back("cannot remove " + base + name + ": " + std::strerror(errno));
    }
    return result;
}
