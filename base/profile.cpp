// The profile functions over ConfigFile. The by-name forms read the file
// case-insensitively for the one call; the by-object forms use the caller's
// object (and its case flag).
#include "base/profile.h"

#include <climits>
#include <cstdlib>

#include "base/config_file.h"
#include "base/file_util.h"

namespace {

// The non-empty value of key, or null when absent, empty or unreadable.
const char *present_value(const char *section, const char *key, ConfigFile &config)
{
    if (!config.ok())
        return nullptr;
    const char *value = config.getparam(section, key);
    return value && *value ? value : nullptr;
}

// atoi of the value: leading blanks, a sign and digits; no digits give 0.
// Numbers beyond an int are clamped rather than left undefined.
int leading_int(const char *value)
{
    long number = std::strtol(value, nullptr, 10);
    if (number > INT_MAX)
        return INT_MAX;
    if (number < INT_MIN)
        return INT_MIN;
    return static_cast<int>(number);
}

} // namespace

int GetPrivateProfileString(const char *section, const char *key, const char *defaultValue,
                            char *buffer, int size, ConfigFile *config)
{
    if (!section || !key || !defaultValue || !buffer || !config || size < 1)
        return 0;
    const char *value = present_value(section, key, *config);
    return static_cast<int>(strcpy_truncate(buffer, value ? value : defaultValue,
                                            static_cast<size_t>(size)));
}

int GetPrivateProfileString(const char *section, const char *key, const char *defaultValue,
                            char *buffer, int size, const char *file)
{
    if (!section || !key || !defaultValue || !buffer || !file || size < 1)
        return 0;
    ConfigFile config(file, 0);
    return GetPrivateProfileString(section, key, defaultValue, buffer, size, &config);
}

int WritePrivateProfileString(const char *section, const char *key, const char *value,
                              ConfigFile *config)
{
    if (!section || !config || !config->ok())
        return 0;
    if (!key)
        return config->dumpWithout(section) == 0 ? 1 : 0;
    if (value)
        config->setparam(section, key, value);
    else
        config->unsetparam(section, key);
    return config->dump() == 0 ? 1 : 0;
}

int WritePrivateProfileString(const char *section, const char *key, const char *value,
                              const char *file)
{
    if (!section || !file)
        return 0;
    ConfigFile config(file, 0);
    return WritePrivateProfileString(section, key, value, &config);
}

int DeletePrivateProfileString(const char *section, const char *key, ConfigFile *config)
{
    if (!section || !key || !config || !config->ok())
        return 0;
    config->unsetparam(section, key);
    return config->dump() == 0 ? 1 : 0;
}

int DeletePrivateProfileString(const char *section, const char *key, const char *file)
{
    if (!section || !key || !file)
        return 0;
    ConfigFile config(file, 0);
    return DeletePrivateProfileString(section, key, &config);
}

int GetPrivateProfileInt(const char *section, const char *key, int defaultValue, ConfigFile *config)
{
    if (!section || !key || !config)
        return 0;
    if (const char *value = present_value(section, key, *config))
        return leading_int(value);
    return defaultValue >= 0 ? defaultValue : 0;
}

int GetPrivateProfileInt(const char *section, const char *key, int defaultValue, const char *file)
{
    if (!section || !key || !file)
        return 0;
    ConfigFile config(file, 0);
    return GetPrivateProfileInt(section, key, defaultValue, &config);
}
