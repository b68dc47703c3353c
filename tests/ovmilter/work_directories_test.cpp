// The directories the plug-in writes into, as hosts find them in contscan.ini,
// and the check with a real file that refuses a start or reload: a plain
// file in the way, a path below a plain file, a full disk.
#include "tools/hostkit/work_directories.h"

#include <sys/stat.h>

#include <gtest/gtest.h>

#include <fstream>

#include "support/base_temp_dir.h"
#include "support/small_tmpfs.h"

namespace {

TEST(WorkDirectories, ReadAsThePluginReadsThem)
{
    struct Row {
        std::string settings;   // [Advanced Options] lines
        std::string temp, quarantine, archive;   // "%" stands for the program directory
    } rows[] = {
        {"", "%tempdir", "%Quarantine", "%Archive"},
        {"TempDir=/var/tmp/ov\nQuarantineDirectory=q\nArchiveDirectory=/srv/arch\n",
         "/var/tmp/ov", "%q", "/srv/arch"},
        {"TempDir=\nQuarantineDirectory=\n", "%tempdir", "%Quarantine", "%Archive"},
    };
    for (const Row &row : rows) {
        BaseTempDir root;
        ASSERT_EQ(0, mkdir(root.path("Plug-Ins").c_str(), 0755));
        ASSERT_EQ(0, mkdir(root.path("Plug-Ins/OV").c_str(), 0755));
        root.write("Plug-Ins/OV/contscan.ini", "[Advanced Options]\n" + row.settings);
        const std::string program = root.dir() + "/Plug-Ins/OV/";
        auto expand = [&](std::string path) {
            return path[0] == '%' ? program + path.substr(1) : path;
        };
        const std::vector<WorkDirectory> dirs = plugin_work_directories(root.dir() + "/");
        ASSERT_EQ(3u, dirs.size());
        EXPECT_EQ(expand(row.temp), dirs[0].path) << row.settings;
        EXPECT_EQ(expand(row.quarantine), dirs[1].path) << row.settings;
        EXPECT_EQ(expand(row.archive), dirs[2].path) << row.settings;
    }
}

TEST(WorkDirectories, CheckedWithARealFile)
{
    BaseTempDir tmp;
    const std::string file = tmp.write("plain", "x");
    struct Row {
        std::string path;
        bool usable;
        std::string error;
    } rows[] = {
        {tmp.dir(), true, ""},
        {tmp.path("made/on/demand"), true, ""},
        {file, false, "cannot create it: Not a directory"},
        {file + "/below", false, "cannot create it: Not a directory"},
    };
    for (const Row &row : rows) {
        std::string error;
        EXPECT_EQ(row.usable, work_directory_usable(row.path, &error)) << row.path;
        EXPECT_EQ(row.error, error) << row.path;
    }
    struct stat info;
    EXPECT_EQ(0, stat(tmp.path("made/on/demand").c_str(), &info));
    EXPECT_EQ("x", ReadFile(file));
}

TEST(WorkDirectories, FullDiskIsRefused)
{
    SmallTmpfs disk(64 * 1024);
    if (!disk.mounted())
        GTEST_SKIP() << disk.reason();
    ASSERT_EQ(0, mkdir((disk.dir() + "/q").c_str(), 0755));
    disk.Fill();
    std::string error;
    EXPECT_FALSE(work_directory_usable(disk.dir() + "/q", &error));
    EXPECT_EQ("cannot write a file in it: No space left on device", error);
    // The probe is gone again.
    EXPECT_EQ(0, rmdir((disk.dir() + "/q").c_str()));
}

} // namespace
