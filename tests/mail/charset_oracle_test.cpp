// The Japanese and Chinese conversions against glibc's iconv: every cell of
// JIS X 0208 in all six directions; all of GB 2312
// through ISO-2022-CN and Big5 through the CNS 11643 planes. On purpose they differ
// where iconv refuses unassigned JIS cells (arithmetic converts them all the
// same) and on Shift_JIS 0x5C and 0x7E, which mail software reads as ASCII.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "mail/charset.h"
#include "support/mail_codec_fixtures.h"

namespace {

const int kCodes[] = {CHARSET_JIS, CHARSET_SJIS, CHARSET_EUC};

const char *IconvName(int code)
{
    return code == CHARSET_JIS ? "ISO-2022-JP" : code == CHARSET_SJIS ? "SHIFT_JIS" : "EUC-JP";
}

std::string CellIn(int code, int j1, int j2)
{
    if (code == CHARSET_JIS)
        return std::string("\x1B$B") + char(j1) + char(j2) + "\x1B(B";
    if (code == CHARSET_EUC)
        return {char(j1 | 0x80), char(j2 | 0x80)};
    return {char(((j1 + 1) >> 1) + (j1 <= 0x5E ? 0x70 : 0xB0)),
            char(j2 + (j1 & 1 ? (j2 < 0x60 ? 0x1F : 0x20) : 0x7E))};
}

std::string Convert(const std::string &text, int from, int to)
{
    if (from == CHARSET_JIS)
        return TakeText(fromJIS(text.c_str(), to));
    if (to == CHARSET_JIS)
        return TakeText(toJIS(text.c_str(), from));
    return TakeText(to == CHARSET_EUC ? toKNJ(text.c_str(), from) : fromKNJ(text.c_str(), to));
}

TEST(JapaneseOracle, EveryJisX0208CellInEveryDirection)
{
    HostLanguage host(LANG_JAPANESE);
    int assignedCells = 0, compared = 0, oneSided = 0;
    std::string u, expected, wholeEuc;
    for (int j1 = 0x21; j1 <= 0x7E; ++j1)
        for (int j2 = 0x21; j2 <= 0x7E; ++j2) {
            const bool assigned = Oracle{"EUC-JP", "UTF-8"}(CellIn(CHARSET_EUC, j1, j2), &u);
            assignedCells += assigned;
            if (assigned)
                wholeEuc += CellIn(CHARSET_EUC, j1, j2) + (assignedCells % 40 ? "" : " word\r\n");
            for (int from : kCodes)
                for (int to : kCodes) {
                    if (from == to)
                        continue;
                    const std::string got = Convert(CellIn(from, j1, j2), from, to);
                    ASSERT_EQ(got, CellIn(to, j1, j2)) << IconvName(from) << " -> " << IconvName(to);
                    if (!assigned || !Oracle{IconvName(from), IconvName(to)}(CellIn(from, j1, j2), &expected)) {
                        oneSided += assigned;
                        continue;
                    }
                    EXPECT_EQ(got, expected) << IconvName(from) << " -> " << IconvName(to);
                    ++compared;
                }
        }
    // JIS X 0208 assigns 6879 cells; iconv's Shift_JIS table misses a handful.
    EXPECT_GE(assignedCells, 6879);
    EXPECT_GE(compared, 6 * 6879 - 60);
    EXPECT_LE(oneSided, 60);
    // As one text the escape placement matches iconv's byte for byte.
    std::string jis;
    ASSERT_TRUE((Oracle{"EUC-JP", "ISO-2022-JP"}(wholeEuc, &jis)));
    EXPECT_EQ(TakeText(toJIS(wholeEuc.c_str(), CHARSET_EUC)), jis);
    EXPECT_EQ(TakeText(fromJIS(jis.c_str(), CHARSET_EUC)), wholeEuc);
    EXPECT_EQ(AutoDetect(wholeEuc.c_str()), CHARSET_EUC);
    EXPECT_EQ(AutoDetect(jis.c_str()), CHARSET_JIS);
    // The one place where iconv and mail software part: "\\" and "~".
    ASSERT_TRUE((Oracle{"SHIFT_JIS", "ISO-2022-JP"}("\\~", &expected)));
    EXPECT_EQ(expected, "\x1B(J\\~\x1B(B");
    EXPECT_EQ(TakeText(toJIS("\\~", CHARSET_SJIS)), "\\~");
}

std::vector<std::string> Repertoire(const char *name, int leadHi, const std::vector<std::pair<int, int>> &trails)
{
    std::vector<std::string> chars;
    std::string u;
    for (int lead = 0xA1; lead <= leadHi; ++lead)
        for (const auto &range : trails)
            for (int trail = range.first; trail <= range.second; ++trail)
                if (Oracle{name, "UTF-8"}({char(lead), char(trail)}, &u))
                    chars.push_back({char(lead), char(trail)});
    return chars;
}

TEST(ChineseOracle, Gb2312ThroughIso2022Cn)
{
    HostLanguage host(LANG_CHINESE);
    const std::vector<std::string> gb = Repertoire("EUC-CN", 0xFE, {{0xA1, 0xFE}});
    EXPECT_GE(gb.size(), 7445u); // GB 2312's 6763 hanzi and 682 other characters
    std::string euc;
    for (size_t i = 0; i < gb.size(); ++i)
        euc += gb[i] + (i % 30 == 29 ? " w\n" : "");
    const std::string iso = TakeText(toCNforPRC(euc.c_str()));
    std::string decoded, encoded;
    ASSERT_TRUE((Oracle{"ISO-2022-CN", "EUC-CN"}(iso, &decoded)));
    EXPECT_EQ(decoded, euc);
    EXPECT_EQ(AutoDetect(iso.c_str()), CHARSET_ISO2022CN);
    ASSERT_TRUE((Oracle{"EUC-CN", "ISO-2022-CN"}(euc, &encoded)));
    EXPECT_EQ(TakeText(fromISO2022(encoded.c_str(), CHARSET_EUC)), euc);
    EXPECT_EQ(TakeText(fromANY(encoded.c_str(), CHARSET_EUC)), euc);
}

TEST(ChineseOracle, Big5AndEucTwThroughCnsPlanes)
{
    HostLanguage host(LANG_TAIWAN);
    // Each character follows the Big5 ideographic space, whose trail byte
    // tells Big5 from EUC-TW.
    const std::string space = "\xA1\x40";
    std::string eucSpace, euc, expected, again;
    ASSERT_TRUE((Oracle{"BIG5", "EUC-TW"}(space, &eucSpace)));
    size_t converted = 0;
    for (const std::string &c : Repertoire("BIG5", 0xF9, {{0x40, 0x7E}, {0xA1, 0xFE}})) {
        if (!Oracle{"BIG5", "EUC-TW"}(c, &euc))
            continue;
        const std::string iso = TakeText(toCNforTWN((space + c).c_str()));
        // The same characters (Big5 has a few duplicates, so compare text).
        ASSERT_TRUE((Oracle{"BIG5", "UTF-8"}(space + c, &expected)));
        ASSERT_TRUE((Oracle{"ISO-2022-CN-EXT", "UTF-8"}(iso, &again))) << iso;
        EXPECT_EQ(again, expected);
        // The host's EUC is EUC-TW, by arithmetic from the CNS planes, both ways.
        EXPECT_EQ(TakeText(fromISO2022(iso.c_str(), CHARSET_EUC)), eucSpace + euc);
        EXPECT_EQ(TakeText(toCNforTWN((eucSpace + euc).c_str())), iso);
        ++converted;
    }
    EXPECT_GE(converted, 13000u);
}

} // namespace
