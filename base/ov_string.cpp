// The foundation's strings: t_string helpers, the String value class and
// StringMan splitting. ASCII-only case changes; no locale is consulted.
#include "base/ov_string.h"

#include <cstdio>
#include <cstring>

namespace {

const char kBlanks[] = " \t\r\n";

char ascii_lower(char c) { return (c >= 'A' && c <= 'Z') ? static_cast<char>(c - 'A' + 'a') : c; }
char ascii_upper(char c) { return (c >= 'a' && c <= 'z') ? static_cast<char>(c - 'a' + 'A') : c; }

// Index of the first character not in set, or npos.
size_t first_not_in(const std::string &text, const char *set)
{
    return text.find_first_not_of(set ? set : "");
}

void cut_left(std::string &text, const char *set)
{
    size_t keep = first_not_in(text, set);
    text.erase(0, keep == std::string::npos ? text.size() : keep);
}

void cut_right(std::string &text, const char *set)
{
    size_t last = text.find_last_not_of(set ? set : "");
    text.erase(last == std::string::npos ? 0 : last + 1);
}

template <class Number>
std::string number_text(const char *fmt, Number number)
{
    char buffer[64];
    std::snprintf(buffer, sizeof buffer, fmt, number);
    return buffer;
}

} // namespace

// ---- t_string ----

t_string &t_string::format(const char *fmt, ...)
{
    va_list args;
    va_start(args, fmt);
    vformat(fmt, args);
    va_end(args);
    return *this;
}

t_string &t_string::vformat(const char *fmt, va_list args)
{
    clear();
    if (!fmt)
        return *this;
    va_list sizing;
    va_copy(sizing, args);
    int needed = std::vsnprintf(nullptr, 0, fmt, sizing);
    va_end(sizing);
    if (needed <= 0)
        return *this;
    std::string buffer(static_cast<size_t>(needed) + 1, '\0');
    std::vsnprintf(&buffer[0], buffer.size(), fmt, args);
    buffer.resize(static_cast<size_t>(needed));
    assign(buffer);
    return *this;
}

t_string &t_string::trim_left(const char *set)
{
    cut_left(*this, set);
    return *this;
}

t_string &t_string::trim_right(const char *set)
{
    cut_right(*this, set);
    return *this;
}

t_string &t_string::make_lower()
{
    for (char &c : *this)
        c = ascii_lower(c);
    return *this;
}

// ---- String ----

String &String::assign(const char *text, size_t length)
{
    if (text)
        m_text.assign(text, length);
    else
        m_text.clear();
    return *this;
}

String &String::operator=(const char *text)
{
    m_text = text ? text : "";
    return *this;
}

String &String::operator<<(const char *text)
{
    if (text)
        m_text += text;
    return *this;
}

String &String::operator<<(const String &text)
{
    m_text += text.m_text;
    return *this;
}

String &String::operator<<(char c)
{
    m_text += c;
    return *this;
}

String &String::operator<<(long number)
{
    m_text += number_text("%ld", number);
    return *this;
}

String &String::operator<<(unsigned long number)
{
    m_text += number_text("%lu", number);
    return *this;
}

String &String::operator<<(long long number)
{
    m_text += number_text("%lld", number);
    return *this;
}

String &String::operator<<(unsigned long long number)
{
    m_text += number_text("%llu", number);
    return *this;
}

String &String::operator<<(double number)
{
    m_text += number_text("%g", number);
    return *this;
}

String &String::upper()
{
    for (char &c : m_text)
        c = ascii_upper(c);
    return *this;
}

String &String::lower()
{
    for (char &c : m_text)
        c = ascii_lower(c);
    return *this;
}

String &String::trim()
{
    return TrimLeft().TrimRight();
}

String &String::TrimLeft()
{
    cut_left(m_text, kBlanks);
    return *this;
}

String &String::TrimRight()
{
    cut_right(m_text, kBlanks);
    return *this;
}

long String::Find(const char *what, size_t from) const
{
    if (!what || from > m_text.size())
        return -1;
    size_t at = m_text.find(what, from);
    return at == std::string::npos ? -1 : static_cast<long>(at);
}

long String::Find(char what, size_t from) const
{
    size_t at = m_text.find(what, from);
    return at == std::string::npos ? -1 : static_cast<long>(at);
}

String String::Mid(size_t start, long count) const
{
    if (start >= m_text.size())
        return String();
    size_t length = count < 0 ? std::string::npos : static_cast<size_t>(count);
    return String(m_text.substr(start, length));
}

List<String> String::split(const char *separators) const
{
    return StringMan::split(*this, separators, false);
}

// ---- StringMan ----

List<String> StringMan::split(const String &text, const char *separators, bool skipEmpty)
{
    List<String> pieces;
    const std::string &all = text.str();
    const char *set = separators ? separators : "";
    // A separator set may hold no NUL, so find_first_of cannot match one.
    size_t start = 0;
    for (;;) {
        size_t end = all.find_first_of(set, start);
        size_t stop = end == std::string::npos ? all.size() : end;
        if (!skipEmpty || stop > start)
            pieces.append(String(all.substr(start, stop - start)));
        if (end == std::string::npos)
            break;
        start = end + 1;
    }
    return pieces;
}
