// Fuzzes the settings-file reader: the input is written to a file, read with
// ConfigFile, looked up, written back and read again. Reading what was
// written must give the same tree plus the one empty line each read adds.
#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "base/config_file.h"
#include "base/profile.h"

namespace {

// A file name that lives as long as the object.
struct TempFile {
    TempFile()
    {
        const char *dir = std::getenv("TMPDIR");
        std::snprintf(path, sizeof path, "%s/ov_config_fuzz_XXXXXX", dir ? dir : "/tmp");
        int fd = mkstemp(path);
        if (fd < 0)
            std::abort();
        close(fd);
    }
    ~TempFile() { unlink(path); }
    char path[512];
};

std::string read_all(const char *path)
{
    std::string text;
    if (FILE *file = std::fopen(path, "rb")) {
        char block[4096];
        size_t got;
        while ((got = std::fread(block, 1, sizeof block, file)) > 0)
            text.append(block, got);
        std::fclose(file);
    }
    return text;
}

void write_all(const char *path, const uint8_t *data, size_t size)
{
    FILE *file = std::fopen(path, "wb");
    if (!file)
        std::abort();
    if (size)
        std::fwrite(data, 1, size, file);
    std::fclose(file);
}

void look_up(ConfigFile &config)
{
    static const char *const kKeys[][2] = {
        {"plug-in", "root_path"}, {"general", "debug"}, {"a", "b"}, {"a", "b "}, {"x", "k"}};
    char buffer[64];
    for (const auto &key : kKeys) {
        config.getparam(key[0], key[1]);
        GetPrivateProfileString(key[0], key[1], "none", buffer, sizeof buffer, &config);
        GetPrivateProfileInt(key[0], key[1], -1, &config);
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    if (size > 64 * 1024)
        return 0;
    int caseSensitive = size > 0 && (data[0] & 1);
    TempFile input, first, second;
    write_all(input.path, data, size);

    ConfigFile config(input.path, caseSensitive);
    look_up(config);
    if (config.dump(first.path) != 0)
        std::abort();

    ConfigFile again(first.path, caseSensitive);
    look_up(again);
    if (again.dump(second.path) != 0)
        std::abort();
    if (read_all(second.path) != "\n" + read_all(first.path))
        std::abort();

    // Changes must survive a round trip as well.
    again.setparam("x", "k", "v\nw");
    again.unsetparam("a", "b");
    if (again.dump(second.path) != 0 || ConfigFile(second.path, caseSensitive).getparam("x", "k") == nullptr)
        std::abort();
    return 0;
}
