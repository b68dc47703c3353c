// Fuzzes the settings-file reader: the input is written to a file, read with
// ConfigFile, looked up, written back and read again. Reading what was
// written must give the same tree plus the one empty line each read adds.
#include <cstdint>
#include <cstdlib>
#include <string>

#include "base/config_file.h"
#include "base/profile.h"
#include "fuzz_files.h"

namespace {

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
    FuzzTempFile input("config"), first("config"), second("config");
    fuzz_write_file(input.path, data, size);

    ConfigFile config(input.path, caseSensitive);
    look_up(config);
    if (config.dump(first.path) != 0)
        std::abort();

    ConfigFile again(first.path, caseSensitive);
    look_up(again);
    if (again.dump(second.path) != 0)
        std::abort();
    if (fuzz_read_file(second.path) != "\n" + fuzz_read_file(first.path))
        std::abort();

    // Changes must survive a round trip as well.
    again.setparam("x", "k", "v\nw");
    again.unsetparam("a", "b");
    if (again.dump(second.path) != 0 || ConfigFile(second.path, caseSensitive).getparam("x", "k") == nullptr)
        std::abort();
    return 0;
}
