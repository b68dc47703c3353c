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
