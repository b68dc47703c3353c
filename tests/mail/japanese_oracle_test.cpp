// The Japanese conversions against glibc's iconv over every cell of JIS X
// 0208 in all six directions between ISO-2022-JP, Shift_JIS and EUC-JP, and
// over JIS X 0201 katakana. On purpose they differ where iconv refuses the
// unassigned cells (arithmetic converts them all the same) and on Shift_JIS
// 0x5C and 0x7E, which mail software reads as ASCII.
#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "mail/charset.h"
#include "support/mail_codec_fixtures.h"

namespace {

struct Cell {
    std::string jis, sjis, euc;   // the forms by JIS X 0208 arithmetic
};

std::vector<Cell> AllCells()
{
    std::vector<Cell> cells;
    for (int j1 = 0x21; j1 <= 0x7E; ++j1) {
        for (int j2 = 0x21; j2 <= 0x7E; ++j2) {
            Cell c;
            c.jis = std::string("\x1B$B") + static_cast<char>(j1) + static_cast<char>(j2) + "\x1B(B";
            c.euc = {static_cast<char>(j1 | 0x80), static_cast<char>(j2 | 0x80)};
            const int s1 = ((j1 + 1) >> 1) + (j1 <= 0x5E ? 0x70 : 0xB0);
            const int s2 = j2 + (j1 & 1 ? (j2 < 0x60 ? 0x1F : 0x20) : 0x7E);
            c.sjis = {static_cast<char>(s1), static_cast<char>(s2)};
            cells.push_back(c);
        }
    }
    return cells;
}

const std::string &Form(const Cell &c, int code)
{
    return code == CHARSET_JIS ? c.jis : code == CHARSET_SJIS ? c.sjis : c.euc;
}

const char *IconvName(int code)
{
    return code == CHARSET_JIS ? "ISO-2022-JP" : code == CHARSET_SJIS ? "SHIFT_JIS" : "EUC-JP";
}

// Our conversion of one character from code `from` to code `to`.
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
    const std::vector<Cell> cells = AllCells();
    const int codes[] = {CHARSET_JIS, CHARSET_SJIS, CHARSET_EUC};
    Oracle toUtf8("EUC-JP", "UTF-8");
    std::unique_ptr<Oracle> oracles[4][4];
    for (int from : codes)
        for (int to : codes)
            oracles[from][to] = std::make_unique<Oracle>(IconvName(from), IconvName(to));
    int compared = 0;
    int unassigned = 0;
    int oneSided = 0;
    for (const Cell &cell : cells) {
        std::string u;
        const bool assigned = toUtf8(cell.euc, &u);
        unassigned += !assigned;
        for (int from : codes) {
            for (int to : codes) {
                if (from == to)
                    continue;
                // The arithmetic agrees with itself everywhere, assigned or not.
                const std::string got = Convert(Form(cell, from), from, to);
                ASSERT_EQ(got, Form(cell, to)) << IconvName(from) << " -> " << IconvName(to);
                std::string expected;
                if (!assigned || !(*oracles[from][to])(Form(cell, from), &expected)) {
                    oneSided += assigned;
                    continue;
                }
                EXPECT_EQ(got, expected) << IconvName(from) << " -> " << IconvName(to);
                ++compared;
            }
        }
    }
    // JIS X 0208 assigns 6879 cells; iconv's Shift_JIS table misses a handful.
    EXPECT_GE(cells.size() - unassigned, 6879u);
    EXPECT_GE(compared, 6 * 6879 - 60);
    EXPECT_LE(oneSided, 60);
}

TEST(JapaneseOracle, HalfWidthKatakana)
{
    HostLanguage host(LANG_JAPANESE);
    Oracle eucToSjis("EUC-JP", "SHIFT_JIS");
    Oracle sjisToEuc("SHIFT_JIS", "EUC-JP");
    Oracle eucToJis("EUC-JP", "ISO-2022-JP-3");   // plain ISO-2022-JP has no katakana
    for (int b = 0xA1; b <= 0xDF; ++b) {
        const std::string sjis(1, static_cast<char>(b));
        const std::string euc = std::string("\x8E") + static_cast<char>(b);
        std::string expected;
        ASSERT_TRUE(eucToSjis(euc, &expected));
        EXPECT_EQ(TakeText(fromKNJ(euc.c_str(), CHARSET_SJIS)), expected);
        ASSERT_TRUE(sjisToEuc(sjis + "x", &expected));
        EXPECT_EQ(TakeText(toKNJ((sjis + "x").c_str(), CHARSET_SJIS)), expected);
        const std::string jis = TakeText(toJIS(euc.c_str(), CHARSET_EUC));
        ASSERT_TRUE(eucToJis(euc, &expected));
        EXPECT_EQ(jis, expected);
        EXPECT_EQ(TakeText(fromJIS(jis.c_str(), CHARSET_SJIS)), sjis);
    }
}

TEST(JapaneseOracle, WholeTextsOfMixedLines)
{
    // Every assigned cell, 40 to a line between ASCII words, as one text: the
    // escape placement matches iconv's byte for byte.
    HostLanguage host(LANG_JAPANESE);
    Oracle valid("EUC-JP", "UTF-8");
    std::string euc;
    int n = 0;
    for (const Cell &cell : AllCells()) {
        std::string u;
        if (!valid(cell.euc, &u))
            continue;
        euc += cell.euc;
        if (++n % 40 == 0)
            euc += " word\r\n";
    }
    Oracle eucToJis("EUC-JP", "ISO-2022-JP");
    Oracle eucToSjis("EUC-JP", "SHIFT_JIS");
    std::string jis;
    ASSERT_TRUE(eucToJis(euc, &jis));
    EXPECT_EQ(TakeText(toJIS(euc.c_str(), CHARSET_EUC)), jis);
    EXPECT_EQ(TakeText(fromJIS(jis.c_str(), CHARSET_EUC)), euc);
    EXPECT_EQ(AutoDetect(euc.c_str()), CHARSET_EUC);
    EXPECT_EQ(AutoDetect(jis.c_str()), CHARSET_JIS);
    // The one place where iconv and mail software part: "\\" and "~".
    std::string roman;
    ASSERT_TRUE(Oracle("SHIFT_JIS", "ISO-2022-JP")("\\~", &roman));
    EXPECT_EQ(roman, "\x1B(J\\~\x1B(B");
    EXPECT_EQ(TakeText(toJIS("\\~", CHARSET_SJIS)), "\\~");
}

} // namespace
