// Codec and charset test helpers: iconv as an oracle, owners of malloc'ed
// results, and a guard setting the host language.
#pragma once

#include <cstdlib>
#include <string>

#include "mail/charset.h"
#include "support/iconv_text.h"

// The first n bytes (n < 0: up to the NUL) of a malloc'ed buffer, freed;
// "<null>" for null.
inline std::string TakeBytes(char *p, int n)
{
    std::string s = !p ? "<null>" : n < 0 ? std::string(p) : std::string(p, size_t(n));
    std::free(p);
    return s;
}

inline std::string TakeText(char *p)
{
    return TakeBytes(p, -1);
}

// glibc iconv of the whole input from one code to another.
struct Oracle {
    const char *from, *to;
    bool operator()(const std::string &in, std::string *out) const
    {
        return IconvText(in, from, to, out);
    }
};

// Sets `_language` (and `_kanji` to EUC) for the lifetime of the object.
class HostLanguage
{
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
    int m_language, m_kanji;
};
