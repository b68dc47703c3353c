// Wildcard comparisons for header values (pieces in order) and attachment
// file names (whole-name glob); see wildcard.h.
#include "sfilter/wildcard.h"

#include <cstring>
#include <string>

// Each "*"-separated piece of the pattern is looked for after the previous
// one's first occurrence. The first occurrence leaves the most text for the
// pieces that follow, so no other occurrence needs to be tried; the loop
// walks the pieces in place instead of copying the rest at each level.
bool WildCardStringCompare(const char *text, const char *pattern)
{
    if (text == nullptr || pattern == nullptr)
        return false;
    const char *rest = text;
    const char *piece = pattern;
    for (;;) {
        const char *star = std::strchr(piece, '*');
        size_t length = star ? static_cast<size_t>(star - piece) : std::strlen(piece);
        if (length > 0) {
            std::string head(piece, length);
            const char *found = std::strstr(rest, head.c_str());
            if (found == nullptr)
                return false;
            rest = found + length;
        }
        if (star == nullptr || star[1] == '\0')
            return true;
        piece = star + 1;
    }
}

// A "*" matches any run of characters, "?" exactly one, anything else
// itself, and the whole name must be used. When a later character fails,
// only the most recent "*" needs to take one more character: an earlier
// "*" could only move the same remaining pattern further right, which the
// latest one already covers. This gives the answers of trying every split
// at every "*" in time proportional to name length times pattern length,
// with no recursion and no allocation.
bool WildCardFilenameCompare(const char *name, const char *pattern)
{
    if (name == nullptr || pattern == nullptr)
        return false;
    const char *n = name;
    const char *p = pattern;
    const char *starPattern = nullptr;   // just after the latest "*"
    const char *starName = nullptr;      // where that "*" stopped taking
    for (;;) {
        if (*p == '*') {
            while (*p == '*')
                ++p;
            if (*p == '\0')
                return true;
            starPattern = p;
            starName = n;
            continue;
        }
        if (*n == '\0' && *p == '\0')
            return true;
        if (*n != '\0' && (*p == '?' || *p == *n)) {
            ++n;
            ++p;
            continue;
        }
        if (starPattern == nullptr || *starName == '\0')
            return false;
        n = ++starName;
        p = starPattern;
    }
}
