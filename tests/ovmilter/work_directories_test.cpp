// A start or reload is refused when a directory the plug-in writes into is
// on a full disk.
#include "tools/hostkit/work_directories.h"

#include <sys/stat.h>

#include <gtest/gtest.h>

#include "support/base_temp_dir.h"
#include "support/small_tmpfs.h"

namespace {

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
    EXPECT_EQ(0, rmdir((disk.dir() + "/q").c_str()));
}

} // namespace
