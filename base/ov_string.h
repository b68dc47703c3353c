// The foundation's own strings.
//
//   t_string   std::string with printf-style format(), trim_left/trim_right
//              over a character set (usually " \t\r\n") and make_lower();
//              the path globals of the plug-in are t_strings.
//   String     the value string of the class-based code (ConfigFile, logs,
//              rules): assign, append with << for text and numbers, upper,
//              lower, trim, TrimLeft, TrimRight, Find, Mid, split.
//   StringMan  splits a text into a List<String>.
//
// Both strings hold arbitrary bytes; nothing here depends on the locale.
#pragma once

#include <cstdarg>
#include <string>

#include "base/containers.h"

class t_string : public std::string {
public:
    using std::string::string;
    t_string() = default;
    t_string(const std::string &other) : std::string(other) {}
    t_string(std::string &&other) : std::string(std::move(other)) {}

    // Replaces the contents with the printf-style result; returns *this.
    t_string &format(const char *fmt, ...) __attribute__((format(printf, 2, 3)));
    t_string &vformat(const char *fmt, va_list args);
    t_string &trim_left(const char *set = " \t\r\n");
    t_string &trim_right(const char *set = " \t\r\n");
    t_string &make_lower();   // ASCII letters only
};

class String {
public:
    String() = default;
    String(const char *text) : m_text(text ? text : "") {}
    String(const char *text, size_t length) : m_text(text, length) {}
    String(const std::string &text) : m_text(text) {}

    const char *c_str() const { return m_text.c_str(); }
    size_t length() const { return m_text.size(); }
    bool empty() const { return m_text.empty(); }
    const std::string &str() const { return m_text; }
    char operator[](size_t index) const { return m_text[index]; }

    String &assign(const char *text, size_t length);
    String &operator=(const char *text);
    String &operator<<(const char *text);
    String &operator<<(const String &text);
    String &operator<<(char c);
    String &operator<<(long number);
    String &operator<<(unsigned long number);
    String &operator<<(int number) { return *this << static_cast<long>(number); }
    String &operator<<(unsigned number) { return *this << static_cast<unsigned long>(number); }
    String &operator<<(long long number);
    String &operator<<(unsigned long long number);
    String &operator<<(double number);

    String &upper();
    String &lower();
    String &trim();        // both ends, " \t\r\n"
    String &TrimLeft();
    String &TrimRight();
    // Index of the first occurrence at or after `from`, or -1.
    long Find(const char *what, size_t from = 0) const;
    long Find(char what, size_t from = 0) const;
    // Up to `count` characters from `start` (all to the end when count < 0).
    String Mid(size_t start, long count = -1) const;
    // Pieces between separators (any character of `separators`), empty
    // pieces kept.
    List<String> split(const char *separators) const;

    bool operator==(const String &other) const { return m_text == other.m_text; }
    bool operator!=(const String &other) const { return m_text != other.m_text; }
    bool operator==(const char *other) const { return m_text == (other ? other : ""); }
    bool operator<(const String &other) const { return m_text < other.m_text; }

private:
    std::string m_text;
};

class StringMan {
public:
    // Splits `text` at any character of `separators`; empty pieces are kept
    // unless skipEmpty.
    static List<String> split(const String &text, const char *separators, bool skipEmpty = false);
};
