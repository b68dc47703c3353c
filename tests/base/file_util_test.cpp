// File, path, time and string utilities.
#include "base/file_util.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <set>
#include <string>

#include <gtest/gtest.h>

#include "base/log.h"
#include "support/base_temp_dir.h"

namespace {

// Sends the debug log to a file for the life of the object.
class CapturedDebugLog {
public:
    explicit CapturedDebugLog(const std::string &file) : m_log(file.c_str(), "test", 0), m_file(file)
    {
        m_saved = ovux_log;
        ovux_log = &m_log;
    }
    ~CapturedDebugLog() { ovux_log = m_saved; }
    std::string text() const { return ReadFile(m_file); }

private:
    Log m_log;
    std::string m_file;
    Log *m_saved;
};

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
}

TEST(FileUtilTest, CopyFileCopiesAndLogsFailures)
{
    BaseTempDir tmp;
    CapturedDebugLog log(tmp.path("debug.log"));
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
    std::string text = log.text();
    EXPECT_NE(std::string::npos, text.find("CopyFile(): destination file(" + dst + ") already exist."));
    EXPECT_NE(std::string::npos,
              text.find("CopyFile(): fopen (" + missing + ") \"rt\" mode error: No such file"));
    EXPECT_NE(std::string::npos, text.find("CopyFile(): fopen (" + tmp.path("no/such/dir") +
                                           ") \"w+t\" mode error: No such file"));
}

TEST(FileUtilTest, DeleteAndCreate)
{
    BaseTempDir tmp;
    std::string file = tmp.write("f", "x");
    EXPECT_TRUE(DeleteFile(file.c_str()));
    EXPECT_FALSE(DeleteFile(file.c_str()));
    EXPECT_TRUE(CreateDirectory(tmp.path("d").c_str()));
    EXPECT_FALSE(CreateDirectory(tmp.path("d").c_str()));
    EXPECT_FALSE(DeleteFile(nullptr));
    EXPECT_FALSE(CreateDirectory(nullptr));
}

TEST(FileUtilTest, TemporaryNamesAreUniqueAndCreated)
{
    BaseTempDir tmp;
    std::set<std::string> names;
    char out[OV_MAX_PATH];
    for (int i = 0; i < 5; ++i) {
        unsigned n = GetTempFileName(tmp.dir().c_str(), "ov", 0, out);
        ASSERT_NE(0u, n);
        EXPECT_TRUE(FileExists(out));
        std::string expected = tmp.dir() + "/ov" + std::to_string(getpid()) + "_";
        EXPECT_EQ(0u, std::string(out).rfind(expected, 0)) << out;
        EXPECT_EQ(".tmp", std::string(out).substr(std::strlen(out) - 4));
        names.insert(out);
    }
    EXPECT_EQ(5u, names.size());

    EXPECT_EQ(77u, GetTempFileNameEx((tmp.dir() + "/").c_str(), "m", ".eml", 77, out));
    EXPECT_FALSE(FileExists(out));
    EXPECT_EQ("_77.eml", std::string(out).substr(std::strlen(out) - 7));
    EXPECT_EQ(std::string::npos, std::string(out).find("//"));

    EXPECT_EQ(0u, GetTempFileName(tmp.path("missing-dir").c_str(), "ov", 0, out));
    EXPECT_EQ(0u, GetTempFileName(std::string(OV_MAX_PATH, 'd').c_str(), "ov", 0, out));
    EXPECT_STREQ("", out);

    make_path_name_pid_tid("/tmp/", "lock", out);
    EXPECT_EQ(0u, std::string(out).rfind("/tmp/lock." + std::to_string(getpid()) + ".", 0));
    EXPECT_NE(get_temp_name_without_path("p"), get_temp_name_without_path("p"));
    EXPECT_EQ(std::string::npos, get_temp_name_without_path("p").find('/'));
}

TEST(FileUtilTest, CreatedTemporaryFileComesOpen)
{
    BaseTempDir tmp;
    char out[OV_MAX_PATH];
    unsigned n = 0;
    const int fd = CreateTempFile(tmp.dir().c_str(), "DFI", ".tmp", out, &n);
    ASSERT_GE(fd, 0);
    EXPECT_NE(0u, n);
    EXPECT_EQ("_" + std::to_string(n) + ".tmp",
              std::string(out).substr(std::strrchr(out, '_') - out));
    ASSERT_EQ(3, write(fd, "abc", 3)); // open for writing and reading
    char back[4] = "";
    EXPECT_EQ(3, pread(fd, back, 3, 0));
    EXPECT_STREQ("abc", back);
    close(fd);
    EXPECT_EQ("abc", ReadFile(out));

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
        {"mail.tar.gz", "", "", "mail.tar", ".gz"},
        {"/dir.d/noext", "", "/dir.d/", "noext", ""},
        {"C:\\Docs\\report.doc", "C:", "\\Docs\\", "report", ".doc"},
        {".profile", "", "", "", ".profile"},
        {"/only/dir/", "", "/only/dir/", "", ""},
        {"", "", "", "", ""},
    };
    for (const auto &row : rows) {
        char drive[OV_MAX_PATH], dir[OV_MAX_PATH], fname[OV_MAX_PATH], ext[OV_MAX_PATH];
        _splitpath(row.path, drive, dir, fname, ext);
        EXPECT_STREQ(row.drive, drive) << row.path;
        EXPECT_STREQ(row.dir, dir) << row.path;
        EXPECT_STREQ(row.fname, fname) << row.path;
        EXPECT_STREQ(row.ext, ext) << row.path;
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

TEST(FileUtilTest, StringAndTimeHelpers)
{
    char text[] = "MiXeD 123 \xC4";
    EXPECT_STREQ("mixed 123 \xC4", _strlwr(text));

    time_t when = 0;
    struct tm local;
    ASSERT_EQ(&local, Localtime(&when, &local));
    char buffer[26];
    ASSERT_EQ(buffer, Asctime(&local, buffer));
    EXPECT_EQ('\n', buffer[24]);
    EXPECT_EQ(nullptr, Localtime(nullptr, &local));

    char words[] = "a,b,,c";
    char *save = nullptr;
    std::string joined;
    for (char *w = Strtok(words, ",", &save); w; w = Strtok(nullptr, ",", &save))
        joined += std::string(w) + "|";
    EXPECT_EQ("a|b|c|", joined);
}

TEST(FileUtilTest, TextFilesLineByLine)
{
    BaseTempDir tmp;
    std::string file = tmp.path("lines.txt");
    {
        f_write_text_file out(file.c_str());
        ASSERT_TRUE(out.is_open());
        EXPECT_TRUE(output_a_line(out, "%s\r\n", "one"));
        EXPECT_TRUE(output_a_line(out, "%d\n\n", 2));
        EXPECT_TRUE(output_a_line(out, "last"));
    }
    f_read_text_file in(file.c_str());
    std::string line, all;
    while (in.read_a_line(line))
        all += "[" + line + "]";
    EXPECT_EQ("[one][2][][last]", all);
    EXPECT_FALSE(f_read_text_file(tmp.path("missing").c_str()).read_a_line(line));
    f_write_text_file bad(tmp.path("no/dir").c_str());
    EXPECT_FALSE(output_a_line(bad, "x"));
}

// A text in memory reads into the same lines as the file holding it.
TEST(FileUtilTest, TextInMemoryReadsAsItsFile)
{
    BaseTempDir tmp;
    const std::string texts[] = {
        "",
        "\n",
        "one",
        "one\n",
        "one\r\n",
        "one\r",
        "\r\n\r\n",
        "a\n\nb",
        "a\rb\nc",
        "a\r\r\nb",
        "\r",
        "x\n\ny\r\n\r",
        std::string("nul\0inside\nz", 13),
    };
    for (const std::string &text : texts) {
        SCOPED_TRACE(::testing::PrintToString(text));
        const std::string file = tmp.write("text", text);
        f_read_text_file fromFile(file.c_str()), fromMemory(text.data(), text.size());
        EXPECT_TRUE(fromMemory.is_open());
        std::string a, b;
        bool more;
        do {
            more = fromFile.read_a_line(a);
            EXPECT_EQ(more, fromMemory.read_a_line(b));
            EXPECT_EQ(a, b);
        } while (more);
        EXPECT_FALSE(fromMemory.read_a_line(b));
    }
}

} // namespace
