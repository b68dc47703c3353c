// Files for the fuzz targets whose code under test reads or writes files: a
// temporary file that lives as long as the object, and whole-file reading
// and writing. A harness that cannot make its files aborts, as a finding.
//
//   FuzzTempFile input("config");             // $TMPDIR/ov_fuzz_config_XXXXXX
//   fuzz_write_file(input.path, data, size);
//   std::string text = fuzz_read_file(input.path);
#pragma once

#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <string>

struct FuzzTempFile {
    explicit FuzzTempFile(const char *tag)
    {
        const char *dir = std::getenv("TMPDIR");
        std::snprintf(path, sizeof path, "%s/ov_fuzz_%s_XXXXXX", dir ? dir : "/tmp", tag);
        int fd = mkstemp(path);
        if (fd < 0)
            std::abort();
        close(fd);
    }
    ~FuzzTempFile() { unlink(path); }
    FuzzTempFile(const FuzzTempFile &) = delete;
    FuzzTempFile &operator=(const FuzzTempFile &) = delete;

    char path[512];
};

inline std::string fuzz_read_file(const char *path)
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

inline void fuzz_write_file(const char *path, const void *data, size_t size)
{
    FILE *file = std::fopen(path, "wb");
    if (!file)
        std::abort();
    if (size)
        std::fwrite(data, 1, size, file);
    std::fclose(file);
}
