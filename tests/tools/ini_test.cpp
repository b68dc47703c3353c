// ovctl ini: get, set and delete on a generated settings file, read and
// written exactly as the plug-in does.
#include <dirent.h>
#include <sys/stat.h>

#include <cstdio>
#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "support/base_temp_dir.h"
#include "support/small_tmpfs.h"
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
    EXPECT_EQ("\n\n\n# settings\n[general]\nkey =spaced\ndeletetempfile=yes\n", ReadFile(file));
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
    EXPECT_FALSE(FileExists(missing));
    std::string file = tmp.write("a.ini", "[s]\nk=v\n");
    for (const char *bad : {"a]b", "k=x", " lead", "tab\there"}) {
        EXPECT_EQ(1, run_ovctl({"ini", "set", file, bad, "k", "v"}).status) << bad;
        EXPECT_EQ(1, run_ovctl({"ini", "set", file, "s", bad, "v"}).status) << bad;
    }
    EXPECT_EQ(1, run_ovctl({"ini", "set", file, "s", "k", "ends\\"}).status);
    EXPECT_EQ("[s]\nk=v\n", ReadFile(file));
    EXPECT_EQ(2, run_ovctl({"ini"}).status);
    EXPECT_EQ(2, run_ovctl({"ini", "get", missing, "s"}).status);
    EXPECT_EQ(2, run_ovctl({"ini", "set", missing, "s", "k"}).status);
    EXPECT_EQ(2, run_ovctl({"ini", "frob", missing}).status);
}

// The names in a directory, sorted, without "." and "..".
std::vector<std::string> DirectoryNames(const std::string &dir)
{
    std::vector<std::string> names;
    if (DIR *handle = opendir(dir.c_str())) {
        while (dirent *entry = readdir(handle)) {
            const std::string name = entry->d_name;
            if (name != "." && name != "..")
                names.push_back(name);
        }
        closedir(handle);
    }
    std::sort(names.begin(), names.end());
    return names;
}

// Writers in parallel keep each other's keys; readers in between always
// see a whole file; the file keeps its mode and no work file stays.
TEST(IniTest, ConcurrentWritersAndReaders)
{
    BaseTempDir tmp;
    const std::string file = tmp.write("contscan.ini", "[s]\nbase=1\n");
    ASSERT_EQ(0, chmod(file.c_str(), 0640));
    const std::string ovctl = ovctl_shell_quote(OV_OVCTL_PATH), quoted = ovctl_shell_quote(file);
    const std::string script = "for i in $(seq 1 12); do " + ovctl + " ini set " + quoted +
                               " s k$i v$i & done; for j in $(seq 1 30); do " + ovctl +
                               " ini get " + quoted + " s base; done; wait";
    FILE *shell = popen(script.c_str(), "r");
    ASSERT_NE(nullptr, shell);
    std::string reads;
    char block[256];
    for (size_t got; (got = fread(block, 1, sizeof block, shell)) > 0;)
        reads.append(block, got);
    EXPECT_EQ(0, pclose(shell));
    std::string expected;
    for (int j = 0; j < 30; ++j)
        expected += "1\n";
    EXPECT_EQ(expected, reads);
    for (int i = 1; i <= 12; ++i) {
        const std::string key = "k" + std::to_string(i);
        EXPECT_EQ("v" + std::to_string(i) + "\n", run_ovctl({"ini", "get", file, "s", key}).output);
    }
    struct stat info;
    ASSERT_EQ(0, stat(file.c_str(), &info));
    EXPECT_EQ(0640u, info.st_mode & 07777);
    EXPECT_EQ((std::vector<std::string>{"contscan.ini", "contscan.ini.lock"}),
              DirectoryNames(tmp.dir()));
}

TEST(IniTest, FullDiskLeavesTheFileAsItWas)
{
    SmallTmpfs disk(64 * 1024);
    if (!disk.mounted())
        GTEST_SKIP() << disk.reason();
    std::string text = "[s]\n";
    for (int i = 0; i < 200; ++i)
        text += "key" + std::to_string(i) + "=value\n";
    const std::string file = disk.dir() + "/contscan.ini";
    { std::ofstream(file) << text; }
    std::ofstream(file + ".lock");   // the lock file is there before the disk is full
    disk.Fill();
    for (const std::vector<std::string> &words :
         {std::vector<std::string>{"ini", "set", file, "s", "new", "v"},
          std::vector<std::string>{"ini", "delete", file, "s", "key1"},
          std::vector<std::string>{"ini", "delete", file, "s"}}) {
        OvctlRun run = run_ovctl(words);
        EXPECT_EQ(1, run.status) << words[1];
        EXPECT_EQ(0u, run.output.rfind("ovctl: ", 0)) << run.output;
    }
    EXPECT_TRUE(text == ReadFile(file));
    EXPECT_EQ((std::vector<std::string>{".filler", "contscan.ini", "contscan.ini.lock"}),
              DirectoryNames(disk.dir()));
}

} // namespace
