// glibc iconv of a whole text, closing the shift state: the independent
// converter tests and benchmarks compare against.
#pragma once

#include <iconv.h>

#include <string>

// False when iconv cannot open the pair or convert all of the input.
inline bool IconvText(const std::string &in, const char *from, const char *to, std::string *out)
{
    iconv_t cd = iconv_open(to, from);
    if (cd == reinterpret_cast<iconv_t>(-1))
        return false;
    out->assign(in.size() * 4 + 64, '\0');
    std::string source = in;
    char *ip = &source[0], *op = &(*out)[0];
    size_t il = source.size(), ol = out->size();
    bool ok = iconv(cd, &ip, &il, &op, &ol) != static_cast<size_t>(-1) &&
              iconv(cd, nullptr, nullptr, &op, &ol) != static_cast<size_t>(-1);
    iconv_close(cd);
    out->resize(out->size() - ol);
    return ok;
}
