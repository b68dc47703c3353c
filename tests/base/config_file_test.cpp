// ConfigFile: the reading quirks, look-ups, changes and writing back.
#include "base/config_file.h"

#include <sys/time.h>
#include <unistd.h>

#include <string>

#include <gtest/gtest.h>

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

} // namespace
