// The detector and conversions at the edges: half-width katakana, JIS X 0212,
// bad bytes, broken ISO-2022, encoded words and the host language's EUC.
#include <gtest/gtest.h>

#include <string>

#include "mail/charset.h"
#include "support/mail_codec_fixtures.h"

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
        {"", 0}, {"plain ASCII text", 0}, {"\x1B$B$\"\x1B(B", 1}, {"x \x1B(J y", 1},
        {"\x1B$@ not one of the four", 0}, {"\x1B$)A\x0E\x4E\x4E\x0F", 4}, {"\x1B$*H", 4},
        {"shift \x0E only", 4}, {"\x1B$)A and \x1B$+I", 5},
        {"\x1B$+M then \x1B$)G", 5}, // 5 is not lowered to 4
        {"\x1B$+I then \x1B$B", 1},  // a JIS escape always wins
        {"Subject: =?iso-2022-jp?b?GyRC?=", 6}, {"=?EUC-JP?Q?x?=", 6},
        {"=?utf-8?B?QQ==?=", 0}, // not one of the ten prefixes
        {"=?ISO-2022-JP?B?x?= \x1B$B", 1},
        {"\x1B$B =?ISO-2022-JP?B?x?=", 1}, // "=?" counts only in mode 0
        {"\xA4\xA2\xA4\xA4", 3}, {"\x8E\xB1\x8E\xB2", 3}, // EUC half-width katakana
        {"\x8F\xB0\xA1", 3},                              // 0x8F skipped alone
        {"\xA4\xA2\xA4", 3},                              // cut inside a character
        {"\x82\xA0\x82\xA2", 2}, {"\x82\xA0\x82", 2},     // Shift_JIS ending in a lone lead byte
        {"\xB1\xB2\xB3", 3},                              // odd half-width run: EUC cut wins first
        {"\xB1\xB2\xB3x", 2}, {"\x1B$)A\xA4\xA2", 3},     // EUC is decided before mode 4
        {"\x80\x1B$B", 0},                                // the pass ends before the escape
        // Both 8-bit codes invalid: the scores decide.
        {Repeat("\xA4\xA2", 11) + "\x80x", 3}, {Repeat("\x88\x9F", 11) + "\xFFx", 2},
        {"\xA4\xA2\x80 x", 0}, {"caf\xE9", 0},
    };
    for (const auto &r : rows)
        EXPECT_EQ(AutoDetect(r.text.c_str()), r.code) << r.text;
}

TEST(CharsetDispatch, EncodedWordsLatin1AndTheChineseHost)
{
    HostLanguage host(LANG_OTHER);
    const std::string euc = "\xC6\xFC\xCB\xDC\xB8\xEC abc"; // "日本語 abc"
    EXPECT_EQ(TakeText(fromANY("=?ISO-2022-JP?B?GyRCRnxLXDhsGyhC?= abc", 3)), euc);
    EXPECT_EQ(TakeText(fromANY(euc.c_str(), 7)), "\x1B$BF|K\\8l\x1B(B abc"); // outside 1..5: ISO-2022
    EXPECT_EQ(TakeText(fromANY("caf\xE9", 3)), "caf\xE9");                    // Latin-1 passes through
    // A Chinese host reads the 8-bit text as GB 2312.
    EXPECT_EQ(TakeText(fromANYEx("\xD6\xD0 x", 4, LANG_CHINESE)), "\x1B$)A\x0E\x56\x50\x0F x");
}

TEST(JapaneseConvert, KanaJis0212AndBadBytes)
{
    HostLanguage host(LANG_OTHER);
    const struct {
        std::string in;
        int from;
        std::string jis;
    } toJisRows[] = {
        {"\xB1\xB2 x", 2, "\x1B(I12\x1B(B x"},    // Shift_JIS half-width
        {"\x8E\xB1\x8E\xB2", 3, "\x1B(I12\x1B(B"}, // EUC-JP half-width
        {"\x8F\xB0\xA1", 3, "\x1B$(D0!\x1B(B"},    // JIS X 0212
        {"a\r\n\xA4\xA2\r\n", 3, "a\r\n\x1B$B$\"\x1B(B\r\n"},
        {"\xA4\xA2\n\xA4\xA2", 3, "\x1B$B$\"\x1B(B\n\x1B$B$\"\x1B(B"},
        {"\xF0\x40 \x80 \xFF \x82", 2, "? ? ? ?"}, // user area, bad bytes, cut
        {"\xA4 \x8E\xE0 \x8F\xA1", 3, "? ?? ??"},
    };
    for (const auto &r : toJisRows)
        EXPECT_EQ(TakeText(toJIS(r.in.c_str(), r.from)), r.jis) << r.in;
    const struct {
        const char *jis;
        int to;
        std::string out;
    } fromJisRows[] = {
        {"\x1B(I12\x1B(B", 2, "\xB1\xB2"},
        {"\x1B(I12\x1B(B", 3, "\x8E\xB1\x8E\xB2"},
        {"\x1B$(D0!\x1B(B", 3, "\x8F\xB0\xA1"},
        {"\x1B$(D0!\x1B(B", 2, "?"}, // Shift_JIS has no JIS X 0212
        {"\x1B$@$\"\x1B(J\\~", 3, "\xA4\xA2\\~"},
        // Broken ISO-2022: cut pairs and unknown escapes neither crash nor stop.
        {"\x1B$B$", 3, "?"},
        {"\x1B$B$\n\x1B(B", 3, "?\n"},
        {"\x1B%Zx\x1B", 3, "\x1B%Zx\x1B"},
        {"\xE9t\xE9", 3, "\xE9t\xE9"},
    };
    for (const auto &r : fromJisRows)
        EXPECT_EQ(TakeText(fromJIS(r.jis, r.to)), r.out) << r.jis;
    // Widened katakana, with the voiced marks joined: "ｶﾞｷﾞﾊﾟｳﾞｱﾞ"
    EXPECT_EQ(TakeText(fromJISEx("\x1B(I6^7^J_3^1^\x1B(B", 3, 1)),
              "\xA5\xAC\xA5\xAE\xA5\xD1\xA5\xF4\xA5\xA2\xA1\xAB");
}

} // namespace
