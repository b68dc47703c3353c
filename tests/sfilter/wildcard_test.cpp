// Wildcard matching of header values (pieces in order, unanchored) and of
// file names (whole-name glob, checked against its literal definition).
#include <gtest/gtest.h>

#include <random>
#include <string>

#include "sfilter/wildcard.h"

namespace {

struct Row {
    const char *text;
    const char *pattern;
    bool expected;
};

TEST(WildCardStringCompare, PiecesMustOccurInOrder)
{
    const Row rows[] = {
        {"hello", "", true}, {"", "*", true}, {"", "a", false},
        {"xxabcxx", "abc", true},         // no "*": a substring test
        {"zzabbbcz", "a*c", true}, {"abcabc", "c*a", true}, {"abc", "c*a", false},
        {"a?c", "?", true},               // "?" is literal here
        {"abc", "?", false}, {"abc", "a**c", true}, {"abc", "*c*", true},
        {"aba", "ab*ba", false},          // pieces may not overlap
        {"ababa", "ab*ba", true},
        {"Offer", "offer", false},        // case is the caller's business
        {"abc", "abcd", false}, {"cba", "a*b*c", false},
    };
    for (const Row &row : rows)
        EXPECT_EQ(WildCardStringCompare(row.text, row.pattern), row.expected)
            << "text \"" << row.text << "\" pattern \"" << row.pattern << "\"";
    EXPECT_FALSE(WildCardStringCompare(nullptr, "a"));
    EXPECT_FALSE(WildCardStringCompare("a", nullptr));
}

// The glob taken literally: at a "*" try the rest at every position.
bool ReferenceGlob(const char *name, const char *pattern)
{
    for (;; ++name, ++pattern) {
        if (*pattern == '*') {
            if (pattern[1] == '\0')
                return true;
            for (const char *from = name; *from != '\0'; ++from)
                if (ReferenceGlob(from, pattern + 1))
                    return true;
            return ReferenceGlob(name + std::char_traits<char>::length(name), pattern + 1);
        }
        if (*pattern == '?') {
            if (*name == '\0')
                return false;
            continue;
        }
        if (*pattern != *name)
            return false;
        if (*name == '\0')
            return true;
    }
}

TEST(WildCardFilenameCompare, AgreesWithTheLiteralDefinition)
{
    std::mt19937 random(12345);
    auto make = [&](const char *alphabet, int maxLength) {
        std::string text;
        int length = static_cast<int>(random() % static_cast<unsigned>(maxLength + 1));
        size_t size = std::char_traits<char>::length(alphabet);
        for (int i = 0; i < length; ++i)
            text += alphabet[random() % size];
        return text;
    };
    // what the random names leave out: case, and many stars that never match
    EXPECT_FALSE(WildCardFilenameCompare("Readme", "readme"));
    EXPECT_FALSE(WildCardFilenameCompare(std::string(84, 'a').c_str(), "*a*a*a*a*a*a*a*a*a*a*a*a*b"));
    for (int i = 0; i < 20000; ++i) {
        std::string name = make("ab.", 8);
        std::string pattern = make("ab.*?", 6);
        ASSERT_EQ(WildCardFilenameCompare(name.c_str(), pattern.c_str()),
                  ReferenceGlob(name.c_str(), pattern.c_str()))
            << "name \"" << name << "\" pattern \"" << pattern << "\"";
    }
}

} // namespace
