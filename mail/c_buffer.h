// The malloc'ed, NUL-terminated buffers that the decoders and converters hand
// to their callers, who free them.
//
//   return MallocCopy(result);   // null when memory runs out
#pragma once

#include <cstdlib>
#include <cstring>
#include <string>

inline char *MallocCopy(const char *data, size_t n)
{
    char *copy = static_cast<char *>(std::malloc(n + 1));
    if (!copy)
        return nullptr;
    if (n)
        std::memcpy(copy, data, n);
    copy[n] = '\0';
    return copy;
}

inline char *MallocCopy(const std::string &text) { return MallocCopy(text.data(), text.size()); }

inline char *MallocCopy(const char *text) { return text ? MallocCopy(text, std::strlen(text)) : nullptr; }

// Owns a buffer from malloc; for intermediate results.
struct CBufferFree {
    void operator()(char *p) const { std::free(p); }
};
