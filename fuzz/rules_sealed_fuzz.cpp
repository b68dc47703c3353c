// Fuzzes the unsealing of vendor rule files with arbitrary file contents,
// and checks that sealing any plain file unseals to the same bytes (unless
// the first sealed byte is white space, which the header read swallows).
#include <unistd.h>

#include <cctype>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>

#include "rules/sealed_file.h"

namespace {

std::string temp_path(const char *what)
{
    return "/tmp/fuzz_rules_sealed_" + std::to_string(getpid()) + "_" + what;
}

void write_bytes(const std::string &path, const uint8_t *data, size_t size)
{
    FILE *file = std::fopen(path.c_str(), "wb");
    if (!file)
        std::abort();
    std::fwrite(data, 1, size, file);
    std::fclose(file);
}

std::string read_bytes(const std::string &path)
{
    std::string bytes;
    FILE *file = std::fopen(path.c_str(), "rb");
    if (!file)
        return bytes;
    char buffer[4096];
    size_t got;
    while ((got = std::fread(buffer, 1, sizeof buffer, file)) > 0)
        bytes.append(buffer, got);
    std::fclose(file);
    return bytes;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const std::string input = temp_path("in");
    const std::string sealed = temp_path("sealed");
    const std::string output = temp_path("out");
    write_bytes(input, data, size);

    std::remove(output.c_str());
    DecrptFileWithCRC(input.c_str(), output.c_str());

    EncrptFileWithCRC(input.c_str(), sealed.c_str());
    std::remove(output.c_str());
    int result = DecrptFileWithCRC(sealed.c_str(), output.c_str());
    bool swallowed = size > 0 && std::isspace(data[0] ^ 'q');
    if (result != (swallowed ? -1 : 1))
        std::abort();
    if (result == 1 && read_bytes(output) != std::string(reinterpret_cast<const char *>(data), size))
        std::abort();

    std::remove(input.c_str());
    std::remove(sealed.c_str());
    std::remove(output.c_str());
    return 0;
}
