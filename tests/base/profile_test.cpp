// The profile functions, by file name and by open ConfigFile.
#include "base/profile.h"

#include <cstring>
#include <string>

#include <gtest/gtest.h>

#include "base/config_file.h"
#include "support/base_temp_dir.h"

namespace {

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
    } rows[] = {
        {"count", 7, 42},  {"mixed", 7, 12},  {"letters", 7, 0},     {"negative", 7, -5},
        {"absent", 7, 7},  {"absent", -1, 0}, {"empty", 3, 3},       {"empty", -9, 0},
        {"huge", 0, 2147483647},
    };
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
