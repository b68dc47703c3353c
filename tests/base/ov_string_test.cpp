// t_string, String and StringMan.
#include "base/ov_string.h"

#include <string>

#include <gtest/gtest.h>

namespace {

std::string joined(const List<String> &pieces)
{
    std::string all;
    for (const String &piece : pieces)
        all += "[" + piece.str() + "]";
    return all;
}

TEST(OvStringTest, TStringFormatTrimLower)
{
    t_string s;
    EXPECT_EQ("ab 7 x", s.format("%s %d %c", "ab", 7, 'x'));
    EXPECT_EQ(std::string(5000, 'y'), s.format("%s", std::string(5000, 'y').c_str()));
    s = " \t\r\nMiXedAZ \xC4\r\n";
    EXPECT_EQ("mixedaz \xC4", s.trim_left().trim_right().make_lower());
    s = "--x--";
    EXPECT_EQ("x--", s.trim_left("-"));
    s = "   ";
    EXPECT_EQ("", s.trim_right());
}

TEST(OvStringTest, StringBuildsAndSearches)
{
    String s;
    s << "n=" << 42 << ' ' << -7L << ' ' << 3000000000UL << ' ' << 1.5 << String("!") << nullptr;
    EXPECT_EQ("n=42 -7 3000000000 1.5!", s.str());
    EXPECT_EQ(2, s.Find("42"));
    EXPECT_EQ(-1, s.Find("42", 3));
    EXPECT_EQ(-1, s.Find("x", 100));
    EXPECT_EQ(-1, s.Find(nullptr));
    EXPECT_EQ(4, s.Find(' '));
    EXPECT_EQ("42", s.Mid(2, 2).str());
    EXPECT_EQ("!", s.Mid(s.length() - 1).str());
    EXPECT_EQ("", s.Mid(100).str());

    String t(" \tAbC \r\n");
    EXPECT_EQ("AbC \r\n", String(t).TrimLeft().str());
    EXPECT_EQ(" \tAbC", String(t).TrimRight().str());
    EXPECT_EQ("ABC", t.trim().upper().str());
    EXPECT_EQ("abc", t.lower().str());
    EXPECT_TRUE(t == "abc");
    EXPECT_EQ("", String(nullptr).str());
    EXPECT_EQ(3u, String("a\0b", 3).length());
}

TEST(OvStringTest, SplitKeepsOrSkipsEmptyPieces)
{
    const struct {
        const char *text, *separators;
        bool skipEmpty;
        const char *expected;
    } rows[] = {
        {"a,b;;c", ",;", false, "[a][b][][c]"}, {"a,b;;c", ",;", true, "[a][b][c]"},
        {",a,", ",", false, "[][a][]"}, {"", ",", false, "[]"}, {"", ",", true, ""},
        {"abc", "", false, "[abc]"},
    };
    for (const auto &row : rows)
        EXPECT_EQ(row.expected, joined(StringMan::split(row.text, row.separators, row.skipEmpty)))
            << row.text;
    EXPECT_EQ("[x][y]", joined(String("x y").split(" ")));
}

} // namespace
