// The check with a real file that refuses a start or reload when a directory
// the plug-in writes into is unusable: a plain file in the way, a path below
// a plain file, a full disk.
#include "tools/hostkit/work_directories.h"

#include <sys/stat.h>

#include <gtest/gtest.h>

#include <fstream>

#include "support/base_temp_dir.h"
#include "support/small_tmpfs.h"

namespace {

TEST(WorkDirectories, CheckedWithARealFile)
{
    BaseTempDir tmp;
    const std::string file = tmp.write("plain", "x");
    const std::pair<std::string, std::string> rows[] = {
        {tmp.dir(), ""},
        {tmp.path("made/on/demand"), ""},
        {file, "cannot create it: Not a directory"},
        {file + "/below", "cannot create it: Not a directory"},
    };
    for (const auto &row : rows) {
        std::string error;
        EXPECT_EQ(row.second.empty(), work_directory_usable(row.first, &error)) << row.first;
        EXPECT_EQ(row.second, error) << row.first;
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
