// The filters' settings source (see filter_config.h).
#include "sfilter/filter_config.h"

#include <atomic>

#include "base/file_util.h"
#include "base/profile.h"

namespace {

std::atomic<ConfigFile *const *> g_filterConfigSource{nullptr};

} // namespace

void SetFilterConfigSource(ConfigFile *const *source)
{
    g_filterConfigSource.store(source);
}

ConfigFile *GetFilterConfig()
{
    ConfigFile *const *source = g_filterConfigSource.load();
    return source ? *source : nullptr;
}

int GetFilterProfileInt(const char *section, const char *key, int defaultValue)
{
    ConfigFile *config = GetFilterConfig();
    if (!config)
        return defaultValue;
    return GetPrivateProfileInt(section, key, defaultValue, config);
}

int GetFilterProfileString(const char *section, const char *key, const char *defaultValue,
                           char *buffer, int size)
{
    ConfigFile *config = GetFilterConfig();
    if (config)
        return GetPrivateProfileString(section, key, defaultValue, buffer, size, config);
    if (!buffer || size < 1)
        return 0;
    return static_cast<int>(strcpy_truncate(buffer, defaultValue ? defaultValue : "",
                                            static_cast<size_t>(size)));
}
