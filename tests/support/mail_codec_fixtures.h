// Helpers of the transfer-codec and character-set tests: glibc iconv as an
// independent oracle, owners for the malloc'ed results, and a guard that
// sets the host language for one test.
#pragma once

#include <iconv.h>

#include <cerrno>
#include <cstdlib>
#include <string>

#include "mail/charset.h"

// The malloc'ed C string as a std::string (freed); "<null>" for null.
inline std::string TakeText(char *p)
{
    if (!p)
        return "<null>";
    std::string s = p;
    std::free(p);
    return s;
}

// The first n bytes of a malloc'ed buffer (freed); "<null>" for null.
inline std::string TakeBytes(char *p, int n)
{
    if (!p)
        return "<null>";
    std::string s(p, static_cast<size_t>(n));
    std::free(p);
    return s;
}

// glibc iconv of the whole input, closing the shift state; false when iconv
// cannot convert all of it.
class Oracle {
public:
    Oracle(const char *from, const char *to) : m_cd(iconv_open(to, from)) {}
    ~Oracle()
    {
        if (ok())
            iconv_close(m_cd);
    }
    Oracle(const Oracle &) = delete;
    Oracle &operator=(const Oracle &) = delete;

    bool ok() const { return m_cd != reinterpret_cast<iconv_t>(-1); }

    bool operator()(const std::string &in, std::string *out)
    {
        out->clear();
        if (!ok())
            return false;
        iconv(m_cd, nullptr, nullptr, nullptr, nullptr);
        std::string src = in;
        char *ip = src.data();
        size_t il = src.size();
        char buffer[4096];
        while (true) {
            char *op = buffer;
            size_t ol = sizeof buffer;
            const size_t r = iconv(m_cd, il ? &ip : nullptr, il ? &il : nullptr, &op, &ol);
            out->append(buffer, static_cast<size_t>(op - buffer));
            if (r != static_cast<size_t>(-1))
                break;
            if (errno != E2BIG)
                return false;
        }
        if (il != 0)
            return false;
        char *op = buffer;
        size_t ol = sizeof buffer;
        iconv(m_cd, nullptr, nullptr, &op, &ol);
        out->append(buffer, static_cast<size_t>(op - buffer));
        return true;
    }

private:
    iconv_t m_cd;
};

// Sets `_language` (and `_kanji` to EUC) for the lifetime of the object.
class HostLanguage {
public:
    explicit HostLanguage(int language) : m_language(_language), m_kanji(_kanji)
    {
        _language = language;
        _kanji = CHARSET_EUC;
    }
    ~HostLanguage()
    {
        _language = m_language;
        _kanji = m_kanji;
    }
    HostLanguage(const HostLanguage &) = delete;
    HostLanguage &operator=(const HostLanguage &) = delete;

private:
    int m_language;
    int m_kanji;
};
