// Helpers of the transfer-codec and character-set tests: glibc iconv as an
// independent oracle, owners for the malloc'ed results, and a guard that
// sets the host language for one test.
#pragma once

#include <cstdlib>
#include <string>

#include "mail/charset.h"
#include "support/iconv_text.h"

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

// glibc iconv of the whole input from one code to another.
struct Oracle {
    Oracle(const char *from, const char *to) : from(from), to(to) {}
    bool ok() const
    {
        std::string out;
        return IconvText("", from, to, &out);
    }
    bool operator()(const std::string &in, std::string *out) const
    {
        return IconvText(in, from, to, out);
    }
    const char *from, *to;
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
