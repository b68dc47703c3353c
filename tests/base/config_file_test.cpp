// ConfigFile (reading quirks, writing back) and the profile functions built on it.
#include "base/config_file.h"

#include <sys/time.h>
#include <unistd.h>

#include <cstring>
#include <string>

#include <gtest/gtest.h>

#include "base/profile.h"
#include "support/base_temp_dir.h"

namespace {

std::string round_trip(const BaseTempDir &tmp, const std::string &text, int caseSensitive = 0)
{
    ConfigFile config(tmp.write("in.ini", text).c_str(), caseSensitive);
    EXPECT_TRUE(config.ok());
    EXPECT_EQ(0, config.dump(tmp.path("out.ini").c_str()));
    return ReadFile(tmp.path("out.ini"));
}

TEST(ConfigFileTest, WritesBackWhatItKeeps)
{
    BaseTempDir tmp;
    const struct {
        const char *in;
        const char *out;
    } rows[] = {
        {"# c\n[Sec]\nKey=Value\n", "\n# c\n[sec]\nkey=Value\n"},
        {"top=1\n[s]\n\n  \t\n\t# x\n", "\ntop=1\n[s]\n\n  \t\n\t# x\n"},
        {"[s]\nkey = v\nk2\t=\t v w \t\n", "\n[s]\nkey =v\nk2=v w\n"},
        {"[ spaced name ]\n", "\n[spaced name ]\n"},
        // dropped: no "]", blanks only, "=" first, ";" first, tab inside a key
        {"[open\n[   ]\n[]\n=v\n;semi\na\tb=c\n#keep\n[s]\nk=v\n", "\n#keep\n[s]\nk=v\n"},
        {"[s]\nk=a\\\n  b\n", "\n[s]\nk=a\\\n  b\n"},
        {"[s]\nk=a\\  \nb\\\n\nz=1\n", "\n[s]\nk=a\\\nb\\\n\nz=1\n"},
        {"[s]\nk=v\nlast=1", "\n[s]\nk=v\n"},                  // no final newline
        {"[s]\nk=v\nm=a\\\nb", "\n[s]\nk=v\n"},                // file ends inside a value
        {"[s]\r\nk=v\r\n\r\n#c\r\n", "\n[s]\nk=v\r\n#c\r\n"},  // "\r" is no blank
        {"[\x90N\xff]\n\xa0Key=v\n\x8dk=v\n", "\n[\x90n\xff]\n\xa0key=v\n"}, {"", "\n"},
    };
    for (const auto &row : rows)
        EXPECT_EQ(row.out, round_trip(tmp, row.in)) << row.in;
    EXPECT_EQ("\n[Sec]\nKey=Value\n", round_trip(tmp, "[Sec]\nKey=Value\n", 1));
}

TEST(ConfigFileTest, MissingJunkAndLongLinesAreSurvived)
{
    BaseTempDir tmp;
    ConfigFile missing(tmp.path("none.ini").c_str(), 0);
    EXPECT_FALSE(missing.ok());
    EXPECT_EQ(nullptr, missing.getparam("s", "k"));
    EXPECT_EQ(-1, missing.refresh());
    EXPECT_EQ(-1, ConfigFile(tmp.dir().c_str(), 0).dump());   // opens, but reads nothing
    EXPECT_FALSE(FileExists(tmp.path("none.ini")));
    std::string junk;
    for (int i = 0; i < 5000; ++i)
        junk += static_cast<char>((i * 7919) % 256);
    ConfigFile(tmp.write("junk.ini", junk).c_str(), 0).dump(tmp.path("out.ini").c_str());
    ConfigFile config(tmp.write("long.ini", "[s]\nk=" + std::string(3000, 'x') + "\nnext=1\n").c_str(), 0);
    EXPECT_EQ(std::string(1021, 'x'), config.getparam("s", "k"));   // a 1023-byte line
    EXPECT_STREQ("1", config.getparam("s", "next"));
}

TEST(ConfigFileTest, RefreshRereadsOnlyAChangedFile)
{
    BaseTempDir tmp;
    std::string file = tmp.write("a.ini", "[s]\nk=1\n");
    ConfigFile config(file.c_str(), 0);
    EXPECT_EQ(0, config.refresh());
    tmp.write("a.ini", "[s]\nk=2\n");
    struct timeval later[2] = {{1000000000, 0}, {1000000000, 0}};   // a different mtime
    ASSERT_EQ(0, utimes(file.c_str(), later));
    EXPECT_STREQ("1", config.getparam("s", "k"));
    EXPECT_EQ(0, config.refresh());
    EXPECT_STREQ("2", config.getparam("s", "k"));
    unlink(file.c_str());
    EXPECT_EQ(-1, config.refresh());
    EXPECT_STREQ("2", config.getparam("s", "k"));   // a failed reread keeps the tree
}

const char kSettings[] = "# settings\n[General]\nName=gateway\nEmpty=\nCount=42\nMixed=12abc\n"
                         "Letters=abc\nNegative=-5\nHuge=99999999999\n";

TEST(ProfileTest, GetIntParsesLeadingDigitsAndNeverGivesANegativeDefault)
{
    BaseTempDir tmp;
    std::string file = tmp.write("a.ini", kSettings);
    ConfigFile config(file.c_str(), 0);
    const struct {
        const char *key;
        int defaultValue, expected;
    } rows[] = {{"count", 7, 42}, {"mixed", 7, 12}, {"letters", 7, 0}, {"negative", 7, -5}, {"absent", 7, 7},
                {"absent", -1, 0}, {"empty", 3, 3}, {"empty", -9, 0}, {"huge", 0, 2147483647}};
    for (const auto &row : rows)
        EXPECT_EQ(std::make_pair(row.expected, row.expected),
                  std::make_pair(GetPrivateProfileInt("general", row.key, row.defaultValue, file.c_str()),
                                 GetPrivateProfileInt("general", row.key, row.defaultValue, &config)))
            << row.key;
    EXPECT_EQ(5, GetPrivateProfileInt("general", "count", 5, tmp.path("missing").c_str()));
    EXPECT_EQ(0, GetPrivateProfileInt(nullptr, "count", 5, file.c_str()));
}

TEST(ProfileTest, WriteAndDeleteRewriteTheFile)
{
    BaseTempDir tmp;
    std::string file = tmp.write("a.ini", "# keep\n[a]\nx=1\ny=2\n[b]\nz=3\n");
    EXPECT_EQ(1, WritePrivateProfileString("A", "X", "one", file.c_str()));
    EXPECT_EQ(1, WritePrivateProfileString("new", "k", "v", file.c_str()));
    EXPECT_EQ(1, WritePrivateProfileString("a", "y", nullptr, file.c_str()));
    EXPECT_EQ(1, WritePrivateProfileString("b", nullptr, nullptr, file.c_str()));
    EXPECT_EQ(1, DeletePrivateProfileString("new", "k", file.c_str()));
    EXPECT_EQ(1, DeletePrivateProfileString("new", "absent", file.c_str()));
    // Six rewrites, six more empty lines at the top.
    EXPECT_EQ("\n\n\n\n\n\n# keep\n[a]\nx=one\n[new]\n", ReadFile(file));

    ConfigFile config(file.c_str(), 0);
    EXPECT_EQ(1, WritePrivateProfileString("a", "x", "two", &config));
    EXPECT_EQ(1, DeletePrivateProfileString("a", "x", &config));
    EXPECT_EQ("\n\n\n\n\n\n\n# keep\n[a]\n[new]\n", ReadFile(file));

    std::string missing = tmp.path("missing.ini");   // writes never create a file
    ConfigFile none(missing.c_str(), 0);
    EXPECT_EQ(0, WritePrivateProfileString("s", "k", "v", missing.c_str()));
    EXPECT_EQ(0, DeletePrivateProfileString("s", "k", &none));
    EXPECT_FALSE(FileExists(missing));
    EXPECT_EQ(0, WritePrivateProfileString(nullptr, "k", "v", file.c_str()));
    EXPECT_EQ(0, DeletePrivateProfileString("s", nullptr, file.c_str()));
}

} // namespace

