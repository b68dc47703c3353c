// For the fuzz targets of the decoders and converters, which answer malloc'ed
// buffers that the caller frees: a check that aborts (a finding), and the
// taking over of such a buffer, which must not be null.
//
//   std::string text = fuzz_take(toJIS(input, CHARSET_EUC));
//   fuzz_check(text.find('\x1b') != std::string::npos);
#pragma once

#include <cstdlib>
#include <string>

inline void fuzz_check(bool ok)
{
    if (!ok)
        std::abort();
}

// The text of a converter's answer, freed.
inline std::string fuzz_take(char *buffer)
{
    fuzz_check(buffer != nullptr);
    std::string text = buffer;
    std::free(buffer);
    return text;
}
