// Character tables through glibc's iconv: one character from one coded
// character set to another (GB 2312 or CNS 11643 into EUC-JP or Shift_JIS,
// Big5 or GBK into CNS 11643, ...), for conversions that code arithmetic
// cannot do.
//
//   IconvTables tables;                       // one per conversion call
//   if (!tables.Convert("EUC-CN", "EUC-JP", bytes, 2, out)) out += '?';
//
// Descriptors come from a process-wide pool and go back to it with the
// object, so an object serves one thread and no descriptor is ever closed
// (opening and closing them loads and unloads iconv's modules each time).
// Each conversion starts from the initial state.
#pragma once

#include <iconv.h>

#include <cstddef>
#include <string>
#include <vector>

class IconvTables {
public:
    IconvTables() = default;
    ~IconvTables();
    IconvTables(const IconvTables &) = delete;
    IconvTables &operator=(const IconvTables &) = delete;

    // Converts the n bytes of one character in code `from` to code `to` and
    // appends them to out; false (out unchanged) when iconv has no mapping.
    bool Convert(const char *from, const char *to, const char *in, size_t n, std::string &out);

private:
    struct Taken {
        const char *from;   // string literals
        const char *to;
        iconv_t cd;
    };
    iconv_t Descriptor(const char *from, const char *to);

    std::vector<Taken> m_taken;
};
