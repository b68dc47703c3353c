// AutoDetect: escapes, shifts and encoded words, the EUC and Shift_JIS
// passes, cut characters, and the score that decides between two failures.
#include <gtest/gtest.h>

#include <string>

#include "mail/charset.h"

namespace {

std::string Repeat(const std::string &s, int n)
{
    std::string out;
    while (n-- > 0)
        out += s;
    return out;
}

TEST(AutoDetect, Table)
{
    const struct {
        std::string text;
        int code;
    } rows[] = {
        {"", 0},
        {"plain ASCII text", 0},
        {"\x1B$B$\"\x1B(B", 1},
        {"x \x1B(J y", 1},
        {"\x1B$@ not one of the four", 0},
        {"\x1B$)A\x0E\x4E\x4E\x0F", 4},
        {"\x1B$*H", 4},
        {"shift \x0E only", 4},
        {"\x1B$)A and \x1B$+I", 5},
        {"\x1B$+M then \x1B$)G", 5},      // 5 is not lowered to 4
        {"\x1B$+I then \x1B$B", 1},       // a JIS escape always wins
        {"Subject: =?iso-2022-jp?b?GyRC?=", 6},
        {"=?EUC-JP?Q?x?=", 6},
        {"=?utf-8?B?QQ==?=", 0},          // not one of the ten prefixes
        {"=?ISO-2022-JP?B?x?= \x1B$B", 1},
        {"\x1B$B =?ISO-2022-JP?B?x?=", 1},  // "=?" counts only in mode 0
        {"\xA4\xA2\xA4\xA4", 3},
        {"\x8E\xB1\x8E\xB2", 3},          // EUC half-width katakana
        {"\x8F\xB0\xA1", 3},              // 0x8F skipped alone
        {"\xA4\xA2\xA4", 3},              // cut inside a character
        {"\x82\xA0\x82\xA2", 2},
        {"\x82\xA0\x82", 2},              // Shift_JIS ending in a lone lead byte
        {"\xB1\xB2\xB3", 3},              // odd half-width run: EUC cut wins first
        {"\xB1\xB2\xB3x", 2},
        {"\x1B$)A\xA4\xA2", 3},           // EUC is decided before mode 4
        {"\x80\x1B$B", 0},                // the pass ends before the escape
        // Both 8-bit codes invalid: the scores decide.
        {Repeat("\xA4\xA2", 11) + "\x80x", 3},
        {Repeat("\x88\x9F", 11) + "\xFFx", 2},
        {"\xA4\xA2\x80 x", 0},
        {"caf\xE9", 0},
    };
    for (const auto &r : rows)
        EXPECT_EQ(AutoDetect(r.text.c_str()), r.code) << r.text;
    EXPECT_EQ(AutoDetect(nullptr), 0);
}

} // namespace
