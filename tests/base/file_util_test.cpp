// File, path, text-file and string utilities.
#include "base/file_util.h"

#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <string>

#include <gtest/gtest.h>

#include "base/ov_string.h"
#include "support/base_log_capture.h"
#include "support/base_temp_dir.h"

namespace {

TEST(FileUtilTest, StrcpyTruncateAlwaysTerminates)
{
    const struct {
        const char *src;
        size_t size, count;
        const char *expected;
    } rows[] = {{"hello", 10, 5, "hello"}, {"hello", 6, 5, "hello"}, {"hello", 5, 4, "hell"},
                {"hello", 1, 0, ""},       {"", 4, 0, ""},           {nullptr, 4, 0, ""}};
    for (const auto &row : rows) {
        char buffer[10];
        std::memset(buffer, 'X', sizeof buffer);
        EXPECT_EQ(row.count, strcpy_truncate(buffer, row.src, row.size));
        EXPECT_STREQ(row.expected, buffer);
    }
    char untouched[2] = "a";
    EXPECT_EQ(0u, strcpy_truncate(untouched, "b", 0));
    EXPECT_STREQ("a", untouched);
    char text[] = "MiXeD AZ \xC4";
    EXPECT_STREQ("mixed az \xC4", _strlwr(text));
}

TEST(FileUtilTest, CopyFileCopiesAndLogsFailures)
{
    BaseTempDir tmp;
    BaseLogCapture log;
    std::string content;
    for (int i = 0; i < 20000; ++i)   // more than two blocks, every byte value
        content += static_cast<char>(i % 256);
    std::string src = tmp.write("src.bin", content);
    std::string dst = tmp.path("dst.bin");

    EXPECT_TRUE(CopyFile(src.c_str(), dst.c_str(), true));
    EXPECT_EQ(content, ReadFile(dst));
    tmp.write("dst.bin", "older");
    EXPECT_FALSE(CopyFile(src.c_str(), dst.c_str(), true));
    EXPECT_EQ("older", ReadFile(dst));
    EXPECT_TRUE(CopyFile(src.c_str(), dst.c_str(), false));
    EXPECT_EQ(content, ReadFile(dst));

    std::string missing = tmp.path("missing");
    EXPECT_FALSE(CopyFile(missing.c_str(), tmp.path("never").c_str(), false));
    EXPECT_FALSE(FileExists(tmp.path("never")));
    EXPECT_FALSE(CopyFile(src.c_str(), tmp.path("no/such/dir").c_str(), false));
    EXPECT_EQ(log.lines(), (std::vector<std::string>{
                               "CopyFile(): destination file(" + dst + ") already exist.",
                               "CopyFile(): fopen (" + missing + ") \"rt\" mode error: No such file or directory",
                               "CopyFile(): fopen (" + tmp.path("no/such/dir") +
                                   ") \"w+t\" mode error: No such file or directory"}));
}

TEST(FileUtilTest, TemporaryNamesAreUniqueAndCreated)
{
    BaseTempDir tmp;
    char out[OV_MAX_PATH], other[OV_MAX_PATH];
    ASSERT_NE(0u, GetTempFileName(tmp.dir().c_str(), "ov", 0, out));
    ASSERT_NE(0u, GetTempFileName(tmp.dir().c_str(), "ov", 0, other));
    EXPECT_STRNE(out, other);
    EXPECT_TRUE(FileExists(out));
    EXPECT_EQ(0u, std::string(out).rfind(tmp.dir() + "/ov" + std::to_string(getpid()) + "_", 0)) << out;
    EXPECT_EQ(77u, GetTempFileNameEx((tmp.dir() + "/").c_str(), "m", ".eml", 77, out));
    EXPECT_FALSE(FileExists(out));
    EXPECT_EQ("_77.eml", std::string(out).substr(std::strlen(out) - 7));

    unsigned n = 0;
    const int fd = CreateTempFile(tmp.dir().c_str(), "DFI", ".tmp", out, &n);
    char back[4] = "";
    EXPECT_EQ(3, write(fd, "abc", 3));
    EXPECT_EQ(3, pread(fd, back, 3, 0)) << "open for reading too";
    close(fd);
    EXPECT_EQ("_" + std::to_string(n) + ".tmp", std::string(std::strrchr(out, '_')));
    errno = 0;
    EXPECT_EQ(-1, CreateTempFile(tmp.path("missing-dir").c_str(), "DFI", ".tmp", out));
    EXPECT_EQ(ENOENT, errno);
    EXPECT_STREQ("", out);
}

TEST(FileUtilTest, SplitAndMakePath)
{
    const struct {
        const char *path, *drive, *dir, *fname, *ext;
    } rows[] = {
        {"/var/q/mail.eml", "", "/var/q/", "mail", ".eml"},
        {"mail.tar.gz", "", "", "mail.tar", ".gz"}, {"/dir.d/noext", "", "/dir.d/", "noext", ""},
        {"C:\\Docs\\report.doc", "C:", "\\Docs\\", "report", ".doc"},
        {".profile", "", "", "", ".profile"}, {"/only/dir/", "", "/only/dir/", "", ""},
    };
    for (const auto &row : rows) {
        char drive[OV_MAX_PATH], dir[OV_MAX_PATH], fname[OV_MAX_PATH], ext[OV_MAX_PATH];
        _splitpath(row.path, drive, dir, fname, ext);
        EXPECT_EQ(std::string(row.drive) + "|" + row.dir + "|" + row.fname + "|" + row.ext,
                  std::string(drive) + "|" + dir + "|" + fname + "|" + ext);
        char joined[OV_MAX_PATH];
        _makepath(joined, drive, dir, fname, ext);
        EXPECT_STREQ(row.path, joined);
    }
    char path[OV_MAX_PATH];
    _makepath(path, nullptr, "/var/q", "mail", "eml");
    EXPECT_STREQ("/var/q/mail.eml", path);
    _splitpath(std::string(2000, 'a').c_str(), nullptr, nullptr, path, nullptr);
    EXPECT_EQ(OV_MAX_PATH - 1, std::strlen(path));
}

TEST(FileUtilTest, TextFilesLineByLineFromFileAndMemory)
{
    BaseTempDir tmp;
    std::string file = tmp.path("lines.txt"), line, all;
    {
        f_write_text_file out(file.c_str());
        EXPECT_TRUE(output_a_line(out, "%s\r\n", "one") && output_a_line(out, "%d\n\n", 2) &&
                    output_a_line(out, "last"));
    }
    for (f_read_text_file in(file.c_str()); in.read_a_line(line);)
        all += "[" + line + "]";
    EXPECT_EQ("[one][2][][last]", all);
    f_write_text_file bad(tmp.path("no/dir").c_str());
    EXPECT_FALSE(output_a_line(bad, "x"));
    // A text in memory reads into the same lines as the file holding it.
    for (const std::string &text : {std::string("\r\n\r\n"), std::string("a\rb\nc"), std::string("a\r\r\nb"),
                                    std::string("x\n\ny\r\n\r"), std::string("nul\0in\nz", 9)}) {
        f_read_text_file fromFile(tmp.write("text", text).c_str()), fromMemory(text.data(), text.size());
        for (bool more = true; more;) {
            std::string a, b;
            more = fromFile.read_a_line(a);
            EXPECT_EQ(more, fromMemory.read_a_line(b)) << ::testing::PrintToString(text);
            EXPECT_EQ(a, b) << ::testing::PrintToString(text);
        }
    }
}

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

