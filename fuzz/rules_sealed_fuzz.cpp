// Fuzzes the unsealing of vendor rule files with arbitrary file contents,
// and checks that sealing any plain file unseals to the same bytes (unless
// the first sealed byte is white space, which the header read swallows).
#include <cctype>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>

#include "fuzz_files.h"
#include "rules/sealed_file.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    FuzzTempFile input("sealed_in"), sealed("sealed"), output("sealed_out");
    fuzz_write_file(input.path, data, size);

    std::remove(output.path);
    DecrptFileWithCRC(input.path, output.path);

    EncrptFileWithCRC(input.path, sealed.path);
    std::remove(output.path);
    int result = DecrptFileWithCRC(sealed.path, output.path);
    bool swallowed = size > 0 && std::isspace(data[0] ^ 'q');
    if (result != (swallowed ? -1 : 1))
        std::abort();
    if (result == 1 && fuzz_read_file(output.path) != std::string(reinterpret_cast<const char *>(data), size))
        std::abort();
    return 0;
}
