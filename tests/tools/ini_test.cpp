// ovctl ini: get, set and delete on a generated settings file, read and
// written exactly as the plug-in does.
#include <cstdio>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "support/base_temp_dir.h"
#include "support/tools_ovctl.h"

namespace {

TEST(IniTest, GetSetDeleteAsThePluginReads)
{
    BaseTempDir tmp;
    std::string file = tmp.write("contscan.ini", "# settings\n[General]\nHostLanguage=Japanese\n"
                                                 "key = spaced\n[Notify]\nAdmin=root\n");
    const struct {
        std::vector<std::string> words;
        int status;
        std::string output;
    } rows[] = {
        {{"ini", "get", file, "general", "HOSTLANGUAGE"}, 0, "Japanese\n"},
        {{"ini", "get", file, "general", "key"}, 0, "\n"},
        {{"ini", "get", file, "general", "key "}, 0, "spaced\n"},
        {{"ini", "get", file, "general", "absent", "dflt"}, 0, "dflt\n"},
        {{"ini", "get", tmp.path("missing.ini"), "general", "x", "dflt"}, 0, "dflt\n"},
        {{"ini", "set", file, "General", "DeleteTempFile", "yes"}, 0, ""},
        {{"ini", "get", file, "general", "deletetempfile"}, 0, "yes\n"},
        {{"ini", "delete", file, "general", "HostLanguage"}, 0, ""},
        {{"ini", "delete", file, "notify"}, 0, ""},
    };
    for (const auto &row : rows) {
        OvctlRun run = run_ovctl(row.words);
        EXPECT_EQ(row.status, run.status) << row.words[1] << " " << row.words.back();
        EXPECT_EQ(row.output, run.output) << row.words[1] << " " << row.words.back();
    }
    // Three rewrites: three empty lines on top, the section and key gone.
    EXPECT_EQ("\n\n\n# settings\n[general]\nkey =spaced\ndeletetempfile=yes\n", BaseTempDir::read(file));
}

TEST(IniTest, FailuresAndUsage)
{
    BaseTempDir tmp;
    std::string missing = tmp.path("missing.ini");
    OvctlRun set = run_ovctl({"ini", "set", missing, "s", "k", "v"});
    EXPECT_EQ(1, set.status);
    EXPECT_EQ(0u, set.output.rfind("ovctl: ", 0)) << set.output;
    EXPECT_EQ(1, run_ovctl({"ini", "delete", missing, "s", "k"}).status);
    EXPECT_EQ(1, run_ovctl({"ini", "delete", missing, "s"}).status);
    EXPECT_FALSE(BaseTempDir::exists(missing));
    std::string file = tmp.write("a.ini", "[s]\nk=v\n");
    for (const char *bad : {"a]b", "k=x", " lead", "tab\there"}) {
        EXPECT_EQ(1, run_ovctl({"ini", "set", file, bad, "k", "v"}).status) << bad;
        EXPECT_EQ(1, run_ovctl({"ini", "set", file, "s", bad, "v"}).status) << bad;
    }
    EXPECT_EQ(1, run_ovctl({"ini", "set", file, "s", "k", "ends\\"}).status);
    EXPECT_EQ("[s]\nk=v\n", BaseTempDir::read(file));
    EXPECT_EQ(2, run_ovctl({"ini"}).status);
    EXPECT_EQ(2, run_ovctl({"ini", "get", missing, "s"}).status);
    EXPECT_EQ(2, run_ovctl({"ini", "set", missing, "s", "k"}).status);
    EXPECT_EQ(2, run_ovctl({"ini", "frob", missing}).status);
}

} // namespace
