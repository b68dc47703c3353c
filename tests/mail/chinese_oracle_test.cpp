// The Chinese ISO-2022 forms against glibc's iconv: all of GB 2312 through
// ISO-2022-CN both ways, Big5 through CNS 11643 planes, and characters of
// another set reaching a host through iconv's tables.
#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "mail/charset.h"
#include "support/mail_codec_fixtures.h"

namespace {

// Every character that iconv knows in the two-byte code `name`, with lead
// and trail bytes from the given ranges.
std::vector<std::string> Repertoire(const char *name, int leadLo, int leadHi,
                                    const std::vector<std::pair<int, int>> &trails)
{
    Oracle valid(name, "UTF-8");
    std::vector<std::string> chars;
    std::string u;
    for (int lead = leadLo; lead <= leadHi; ++lead)
        for (const auto &range : trails)
            for (int trail = range.first; trail <= range.second; ++trail) {
                const std::string c = {static_cast<char>(lead), static_cast<char>(trail)};
                if (valid(c, &u))
                    chars.push_back(c);
            }
    return chars;
}

// The characters as lines of 30 between ASCII words.
std::string Lines(const std::vector<std::string> &chars)
{
    std::string text;
    for (size_t i = 0; i < chars.size(); ++i) {
        text += chars[i];
        if (i % 30 == 29)
            text += " w\n";
    }
    return text;
}

TEST(ChineseOracle, Gb2312ThroughIso2022Cn)
{
    HostLanguage host(LANG_CHINESE);
    const std::vector<std::string> gb = Repertoire("EUC-CN", 0xA1, 0xFE, {{0xA1, 0xFE}});
    EXPECT_GE(gb.size(), 7445u);   // GB 2312's 6763 hanzi and 682 other characters
    const std::string euc = Lines(gb);
    const std::string iso = TakeText(toCNforPRC(euc.c_str()));
    std::string decoded;
    ASSERT_TRUE(Oracle("ISO-2022-CN", "EUC-CN")(iso, &decoded));
    EXPECT_EQ(decoded, euc);
    EXPECT_EQ(AutoDetect(iso.c_str()), CHARSET_ISO2022CN);
    std::string encoded;
    ASSERT_TRUE(Oracle("EUC-CN", "ISO-2022-CN")(euc, &encoded));
    EXPECT_EQ(TakeText(fromISO2022(encoded.c_str(), CHARSET_EUC)), euc);
    EXPECT_EQ(TakeText(fromANY(encoded.c_str(), CHARSET_EUC)), euc);
    // Line by line the bytes are iconv's (a whole text is not: glibc repeats
    // an SO where its internal buffer ends).
    Oracle lineOracle("EUC-CN", "ISO-2022-CN");
    for (size_t at = 0; at < euc.size();) {
        const size_t end = std::min(euc.find('\n', at), euc.size() - 1) + 1;
        const std::string line = euc.substr(at, end - at);
        ASSERT_TRUE(lineOracle(line, &encoded));
        EXPECT_EQ(TakeText(toISO2022(line.c_str(), CHARSET_EUC, LANG_CHINESE)), encoded);
        at = end;
    }
}

TEST(ChineseOracle, Big5AndEucTwThroughCnsPlanes)
{
    HostLanguage host(LANG_TAIWAN);
    const std::vector<std::string> big5 =
        Repertoire("BIG5", 0xA1, 0xF9, {{0x40, 0x7E}, {0xA1, 0xFE}});
    Oracle toEucTw("BIG5", "EUC-TW");
    Oracle big5Text("BIG5", "UTF-8");
    Oracle isoText("ISO-2022-CN-EXT", "UTF-8");
    size_t converted = 0;
    // Each character follows the Big5 ideographic space, whose trail byte
    // tells Big5 from EUC-TW.
    const std::string space = "\xA1\x40";
    std::string eucSpace;
    ASSERT_TRUE(toEucTw(space, &eucSpace));
    for (const std::string &c : big5) {
        std::string euc;
        if (!toEucTw(c, &euc))
            continue;
        const std::string iso = TakeText(toCNforTWN((space + c).c_str()));
        // The same characters (Big5 has a few duplicates, so compare text).
        std::string expected, again;
        ASSERT_TRUE(big5Text(space + c, &expected));
        ASSERT_TRUE(isoText(iso, &again)) << iso;
        EXPECT_EQ(again, expected);
        euc = eucSpace + euc;
        // The host's EUC is EUC-TW: by arithmetic from the CNS planes.
        EXPECT_EQ(TakeText(fromISO2022(iso.c_str(), CHARSET_EUC)), euc);
        // EUC-TW text itself takes the arithmetic path.
        EXPECT_EQ(TakeText(toCNforTWN(euc.c_str())), iso);
        ++converted;
    }
    EXPECT_GE(converted, 13000u);
}

TEST(ChineseOracle, OtherSetsThroughTables)
{
    // GB 2312 text on a Japanese host becomes the EUC-JP kanji iconv knows.
    HostLanguage japanese(LANG_JAPANESE);
    const std::string iso = "\x1B$)A\x0E\x56\x50\x4E\x44\x0F x";   // "中文 x"
    std::string expected;
    ASSERT_TRUE(Oracle("ISO-2022-CN", "EUC-JP")(iso, &expected));
    EXPECT_EQ(TakeText(fromISO2022(iso.c_str(), CHARSET_EUC)), expected);
    ASSERT_TRUE(Oracle("ISO-2022-CN", "SHIFT_JIS")(iso, &expected));
    EXPECT_EQ(TakeText(fromISO2022(iso.c_str(), CHARSET_SJIS)), expected);
    // Simplified characters with no Japanese form are replaced.
    EXPECT_EQ(TakeText(fromISO2022("\x1B$)A\x0E\x3A\x3A\x43\x47\x0F", CHARSET_EUC)), "??");
    // Japanese text on a Chinese host, and GBK outside GB 2312.
    HostLanguage chinese(LANG_CHINESE);
    ASSERT_TRUE(Oracle("ISO-2022-JP", "EUC-CN")("\x1B$BF|K\\\x1B(B", &expected));
    EXPECT_EQ(TakeText(fromISO2022("\x1B$BF|K\\\x1B(B", CHARSET_EUC)), expected);
    // GBK's traditional characters reach CNS 11643 plane 1; those beyond
    // plane 2 have no place in ISO-2022-CN.
    const std::string gbk = "\x81\x47\x81\x4B \x81\x40";
    const std::string ours = TakeText(toCNforPRC(gbk.c_str()));
    EXPECT_EQ(ours, "\x1B$)G\x0E\x47\x23\x4B\x64\x0F ?");
    std::string back;
    ASSERT_TRUE(Oracle("ISO-2022-CN", "GBK")(ours, &back));
    EXPECT_EQ(back, gbk.substr(0, 5) + "?");
    EXPECT_EQ(TakeText(toCNforPRC("\xFF x \xA1")), "? x ?");
}

} // namespace
