// The dispatchers (fromANY, fromANYEx, toKNJ, fromKNJ, toISO2022) and the
// conversions around the edges of the repertoire: half-width katakana, JIS
// X 0212, bytes that are no character, and the host language's EUC.
#include <gtest/gtest.h>

#include <string>

#include "mail/charset.h"
#include "support/mail_codec_fixtures.h"

namespace {

const std::string kEuc = "\xC6\xFC\xCB\xDC\xB8\xEC abc";          // Japanese, EUC-JP
const std::string kSjis = "\x93\xFA\x96\x7B\x8C\xEA abc";
const std::string kJis = "\x1B$BF|K\\8l\x1B(B abc";

TEST(CharsetDispatch, FromAnyToEveryTarget)
{
    HostLanguage host(LANG_OTHER);
    const struct {
        std::string in;
        int target;
        std::string out;
    } rows[] = {
        {kSjis, 3, kEuc},   {kJis, 3, kEuc},   {kEuc, 3, kEuc},
        {kEuc, 2, kSjis},   {kJis, 2, kSjis},  {kSjis, 2, kSjis},
        {kEuc, 1, kJis},    {kSjis, 1, kJis},  {kJis, 1, kJis},
        {kEuc, 0, kJis},    {kEuc, 7, kJis},   // outside 1..5: the ISO-2022 form
        {kEuc, 4, kJis},    {kJis, 5, kJis},
        {"=?ISO-2022-JP?B?GyRCRnxLXDhsGyhC?= abc", 3, kEuc},
        {"=?ISO-2022-JP?B?GyRCRnxLXDhsGyhC?= abc", 1, kJis},
        {"caf\xE9", 3, "caf\xE9"},                 // Latin-1 passes through
        {"plain", 2, "plain"},
        {"", 3, ""},
    };
    for (const auto &r : rows)
        EXPECT_EQ(TakeText(fromANY(r.in.c_str(), r.target)), r.out) << r.in << " -> " << r.target;
    EXPECT_EQ(fromANY(nullptr, 3), nullptr);
}

TEST(CharsetDispatch, KanjiHostAndIso2022Forms)
{
    HostLanguage host(LANG_JAPANESE);
    EXPECT_EQ(TakeText(toKNJ(kSjis.c_str(), 2)), kEuc);
    EXPECT_EQ(TakeText(toKNJ(kJis.c_str(), 1)), kEuc);
    EXPECT_EQ(TakeText(toKNJ(kEuc.c_str(), 3)), kEuc);
    EXPECT_EQ(TakeText(fromKNJ(kEuc.c_str(), 2)), kSjis);
    EXPECT_EQ(TakeText(fromKNJ(kEuc.c_str(), 1)), kJis);
    EXPECT_EQ(toKNJ(nullptr, 2), nullptr);
    EXPECT_EQ(TakeText(toISO2022(kEuc.c_str(), 3, LANG_JAPANESE)), kJis);
    EXPECT_EQ(TakeText(toISO2022(kSjis.c_str(), 2, LANG_OTHER)), kJis);
    EXPECT_EQ(TakeText(toISO2022(kJis.c_str(), 1, LANG_CHINESE)), kJis);
    EXPECT_EQ(TakeText(fromANYEx(kSjis.c_str(), 1, LANG_JAPANESE)), kJis);
    EXPECT_EQ(TakeText(fromANYEx(kSjis.c_str(), 3, LANG_JAPANESE)), kEuc);
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
        {"\xB1\xB2 x", 2, "\x1B(I12\x1B(B x"},                 // Shift_JIS half-width
        {"\x8E\xB1\x8E\xB2", 3, "\x1B(I12\x1B(B"},              // EUC-JP half-width
        {"\x8F\xB0\xA1", 3, "\x1B$(D0!\x1B(B"},                 // JIS X 0212
        {"a\r\n\xA4\xA2\r\n", 3, "a\r\n\x1B$B$\"\x1B(B\r\n"},
        {"\xA4\xA2\n\xA4\xA2", 3, "\x1B$B$\"\x1B(B\n\x1B$B$\"\x1B(B"},
        {"\xF0\x40 \x80 \xFF \x82", 2, "? ? ? ?"},              // user area, bad bytes, cut
        {"\xA4 \x8E\xE0 \x8F\xA1", 3, "? ?? ??"},
        {"abc", 0, "abc"},
    };
    for (const auto &r : toJisRows)
        EXPECT_EQ(TakeText(toJIS(r.in.c_str(), r.from)), r.jis) << r.in;
    EXPECT_EQ(TakeText(fromJIS("\x1B(I12\x1B(B", 2)), "\xB1\xB2");
    EXPECT_EQ(TakeText(fromJIS("\x1B(I12\x1B(B", 3)), "\x8E\xB1\x8E\xB2");
    EXPECT_EQ(TakeText(fromJIS("\x1B$(D0!\x1B(B", 3)), "\x8F\xB0\xA1");
    EXPECT_EQ(TakeText(fromJIS("\x1B$(D0!\x1B(B", 2)), "?");   // Shift_JIS has no JIS X 0212
    EXPECT_EQ(TakeText(fromJIS("\x1B$@$\"\x1B(J\\~", 3)), "\xA4\xA2\\~");
    // Widened katakana, with the voiced marks joined: "ｶﾞｷﾞﾊﾟｳﾞｱﾞ"
    EXPECT_EQ(TakeText(fromJISEx("\x1B(I6^7^J_3^1^\x1B(B", 3, 1)),
              "\xA5\xAC\xA5\xAE\xA5\xD1\xA5\xF4\xA5\xA2\xA1\xAB");
    // Broken ISO-2022: cut pairs and unknown escapes neither crash nor stop.
    EXPECT_EQ(TakeText(fromJIS("\x1B$B$", 3)), "?");
    EXPECT_EQ(TakeText(fromJIS("\x1B$B$\n\x1B(B", 3)), "?\n");
    EXPECT_EQ(TakeText(fromJIS("\x1B%Zx\x1B", 3)), "\x1B%Zx\x1B");
    EXPECT_EQ(TakeText(fromJIS("\xE9t\xE9", 3)), "\xE9t\xE9");
}

} // namespace
