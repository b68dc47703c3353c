// ovctl ini: get, set and delete on a generated settings file, read and
// written exactly as the plug-in does; writers in parallel, and a full disk.
#include <sys/stat.h>

#include "support/small_tmpfs.h"
#include "tools/ovctl_cases.h"

namespace
{

TEST(IniTest, GetSetDeleteAsThePluginReads)
{
    BaseTempDir tmp;
    const std::string file =
        tmp.write("contscan.ini", "# settings\n[General]\nHostLanguage=Japanese\n"
                                  "key = spaced\n[Notify]\nAdmin=root\n");
    const std::string missing = tmp.path("missing.ini");
    expect_ovctl_cases({
        {{"ini", "get", file, "general", "HOSTLANGUAGE"}, 0, "Japanese\n"},
        {{"ini", "get", file, "general", "key"}, 0, "\n"},
        {{"ini", "get", file, "general", "key "}, 0, "spaced\n"},
        {{"ini", "get", file, "general", "absent", "dflt"}, 0, "dflt\n"},
        {{"ini", "get", missing, "general", "x", "dflt"}, 0, "dflt\n"},
        {{"ini", "set", file, "General", "DeleteTempFile", "yes"}, 0, ""},
        {{"ini", "get", file, "general", "deletetempfile"}, 0, "yes\n"},
        {{"ini", "delete", file, "general", "HostLanguage"}, 0, ""},
        {{"ini", "delete", file, "notify"}, 0, ""},
    });
    // Three rewrites: three empty lines on top, the section and key gone.
    EXPECT_EQ("\n\n\n# settings\n[general]\nkey =spaced\ndeletetempfile=yes\n",
              ReadFile(file));

    const std::string small = tmp.write("a.ini", "[s]\nk=v\n");
    std::vector<OvctlCase> failures = {
        {{"ini", "get", missing, "s"}, 2, ""}, {{"ini", "set", small, "s", "k", "ends\\"}, 1, ""},
        {{"ini", "set", missing, "s", "k", "v"}, 1, "ovctl: "}, {{"ini", "delete", missing, "s"}, 1, ""},
    };
    for (const char *bad : {"a]b", "k=x", " lead", "tab\there"}) {
        failures.push_back({{"ini", "set", small, bad, "k", "v"}, 1, ""});
        failures.push_back({{"ini", "set", small, "s", bad, "v"}, 1, ""});
    }
    expect_ovctl_cases(failures);
    EXPECT_FALSE(FileExists(missing));
    EXPECT_EQ("[s]\nk=v\n", ReadFile(small));
}

// Parallel writers keep each other's keys; readers see a whole file.
TEST(IniTest, ConcurrentWritersAndReaders)
{
    BaseTempDir tmp;
    const std::string file = tmp.write("contscan.ini", "[s]\nbase=1\n");
    ASSERT_EQ(0, chmod(file.c_str(), 0640));
    const std::string ovctl = ovctl_shell_quote(OV_OVCTL_PATH), quoted = ovctl_shell_quote(file);
    const std::string script = "for i in $(seq 1 12); do " + ovctl + " ini set " + quoted +
                               " s k$i v$i & done; for j in $(seq 1 30); do " + ovctl +
                               " ini get " + quoted + " s base; done; wait";
    const OvctlRun reads = run_shell(script);
    EXPECT_EQ(0, reads.status);
    std::string expected;
    for (int j = 0; j < 30; ++j)
        expected += "1\n";
    EXPECT_EQ(expected, reads.output);
    for (int i = 1; i <= 12; ++i)
        EXPECT_EQ("v" + std::to_string(i) + "\n",
                  run_ovctl({"ini", "get", file, "s", "k" + std::to_string(i)}).output);
    struct stat info;
    ASSERT_EQ(0, stat(file.c_str(), &info));
    EXPECT_EQ(0640u, info.st_mode & 07777);
    EXPECT_EQ((std::vector<std::string>{"contscan.ini", "contscan.ini.lock"}), tmp.files());
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
    WriteFile(file, text);
    WriteFile(file + ".lock", ""); // the lock file is there before the disk is full
    disk.Fill();
    expect_ovctl_cases({
        {{"ini", "set", file, "s", "new", "v"}, 1, "ovctl: "},
        {{"ini", "delete", file, "s", "key1"}, 1, "ovctl: "},
        {{"ini", "delete", file, "s"}, 1, "ovctl: "},
    });
    EXPECT_TRUE(text == ReadFile(file));
    EXPECT_EQ((std::vector<std::string>{disk.dir() + "/.filler", file, file + ".lock"}),
              FilesBelow(disk.dir()));
}

} // namespace
