// Encoded words: rfc1342_decode (the header decoder with its fixed rules),
// decode_str (RFC 2047 runs) and encode_str (header words).
#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "mail/charset.h"
#include "support/mail_codec_fixtures.h"

namespace {

const std::string kJisA = "\x1B$B$\"\x1B(B";   // HIRAGANA A in ISO-2022-JP
const std::string kEucA = "\xA4\xA2";
const std::string kWordA = "=?ISO-2022-JP?B?GyRCJCIbKEI=?=";

TEST(Rfc1342Decode, Table)
{
    const struct {
        std::string src;
        int result;
        std::string text, charset;
        int code;
    } rows[] = {
        {kWordA, 0, kEucA, "ISO-2022-JP", 3},
        {"Re: =?SHIFT_JIS?B?gqA=?= x", 0, "Re: " + kEucA + " x", "SHIFT_JIS", 3},
        {"=?euc-jp?q?=A4=A2_?=", 0, kEucA + "_", "euc-jp", 3},   // "_" stays
        {"=?ISO-8859-1?Q?caf=E9?=", 0, "caf\xE9", "ISO-8859-1", -1},
        {kWordA + " " + kWordA, 0, kEucA + " " + kEucA, "ISO-2022-JP", 3},
        {"=?x?B?QQ==?=" + kWordA, 0, "A" + kEucA, "ISO-2022-JP", 3},
        {kWordA + "=?x?B?QQ==?=", 0, kEucA + "A", "x", -1},
        {"=?iso.8859-1?Q?x?=", 0, "=?iso.8859-1?Q?x?=", "", 3},
        {"raw " + kJisA + " header", 0, "raw " + kEucA + " header", "", 3},
        {"a = b", 0, "a = b", "", 3},
        {"ok " + kWordA + " =?ISO-2022-JP?B?QQ=x?=", -1, "", "", 0},
        {"=?x?Q?=4?=", -1, "", "", 0},
        {"", -1, "", "", 0},
    };
    for (const auto &r : rows) {
        RFC1342_DECODED d;
        std::memset(&d, 0x55, sizeof d);
        ASSERT_EQ(rfc1342_decode(r.src.c_str(), &d, CHARSET_EUC), r.result) << r.src;
        EXPECT_EQ(d.m_nCode, r.code) << r.src;
        EXPECT_EQ(d.m_szCharset, r.charset) << r.src;
        if (r.result == 0)
            EXPECT_EQ(TakeText(d.m_pszText), r.text) << r.src;
        else
            EXPECT_EQ(d.m_pszText, nullptr);
    }
}

TEST(DecodeStr, Rfc2047Runs)
{
    const struct {
        std::string in, out;
    } rows[] = {
        {kWordA, kJisA},
        {kWordA + " \r\n\t" + kWordA, kJisA + kJisA},             // white space between words
        {"a " + kWordA + " b", "a " + kJisA + " b"},
        // A Shift_JIS character split over two words survives.
        {"=?SHIFT_JIS?B?gg==?= =?shift_jis?B?oA==?=", kJisA},
        {"=?EUC-JP?b?pKI=?=", kJisA},
        {"=?x?Q?a_b?=", "a b"},
        {"=?x?Q?a?= =?y?Q?b?=", "ab"},
        {"=?x?B?QQ=x?= kept", "=?x?B?QQ=x?= kept"},
        {"no words", "no words"},
        {kWordA + " ", kJisA + " "},
    };
    for (const auto &r : rows)
        EXPECT_EQ(TakeText(decode_str(r.in.c_str())), r.out) << r.in;
}

TEST(EncodeStr, RunsAndWords)
{
    const struct {
        std::string in, out;
    } rows[] = {
        {kJisA, kWordA},
        {"abc " + kJisA + " def", "abc " + kWordA + " def"},
        {"Re:" + kJisA, "=?ISO-2022-JP?B?UmU6GyRCJCIbKEI=?="},     // the whole word
        {kJisA + " " + kJisA, "=?ISO-2022-JP?B?GyRCJCIbKEIgGyRCJCIbKEI=?="},
        {"(" + kJisA + ")", "(" + kWordA + ")"},
        {"\x1B$)A\x0E\x4E\x4E\x0F", "=?ISO-2022-CN?B?GyQpQQ5OTg8=?="},
        {"\x1B$+I\x1BO\x21\x21", "=?ISO-2022-CN-EXT?B?GyQrSRtPISE=?="},
        {"plain text", "plain text"},
    };
    for (const auto &r : rows)
        EXPECT_EQ(TakeText(encode_str(r.in.c_str())), r.out) << r.in;
}

} // namespace
