// CDecodeMaster: the strict Base64 variant, uuencode and XXencode lines, and
// whole-file decoding line by line.
#include <gtest/gtest.h>

#include <cstring>
#include <stdexcept>
#include <string>

#include "mail/decode_master.h"
#include "support/base_temp_dir.h"
#include "support/mail_codec_fixtures.h"
#include "uu_lines.h"

namespace {

std::string FromUU(const std::string &line)
{
    CDecodeMaster dm;
    int n = -1;
    char *p = dm.from_UU(line.c_str(), static_cast<int>(line.size()), &n);
    return p ? TakeBytes(p, n) : "<null>";
}

TEST(DecodeMaster, StrictBase64RefusesEarlyPadding)
{
    CDecodeMaster dm;
    const struct {
        const char *in;
        const char *out;
    } rows[] = {{"QUJD", "ABC"}, {"QUI=", "AB"}, {"QQ==", "A"},
                {"=QUJD", "<null>"}, {"Q=UJ", "<null>"}, {"QQ=x", "<null>"}};
    for (const auto &r : rows) {
        int n = 0;
        char *p = dm.from_base64(r.in, static_cast<int>(std::strlen(r.in)), &n);
        EXPECT_EQ(p ? TakeBytes(p, n) : "<null>", r.out) << r.in;
    }
}

TEST(DecodeMaster, UuAndXxLines)
{
    std::string bytes45;
    for (int i = 0; i < 45; ++i)
        bytes45 += static_cast<char>(i * 37 + 5);
    EXPECT_EQ(FromUU(UuLine(bytes45)), bytes45);
    EXPECT_EQ(FromUU(UuLine(bytes45, true)), bytes45);
    EXPECT_EQ(FromUU(UuLine("Hi!!")), "Hi!!");
    for (const char *none : {"end", "", "`"}) // "`": count 0
        EXPECT_EQ(FromUU(none), "<null>") << none;
    // Trailing blanks (value 0) stripped in transit read back as zeros.
    std::string zeros = UuLine(std::string("A\0\0\0\0\0", 6));
    zeros.erase(zeros.find_last_not_of(" `") + 1);
    EXPECT_EQ(FromUU(zeros), std::string("A\0\0\0\0\0", 6));
    char text[] = "line\r\n\r\nXYZ";
    EXPECT_EQ(CDecodeMaster::TrimCRLF(text, 8), 4);
    EXPECT_STREQ(text, "line");
}

TEST(DecodeMaster, DecodesFilesLineByLine)
{
    BaseTempDir dir;
    CDecodeMaster dm;
    const std::string out = dir.path("out.bin");
    const struct {
        CDecodeMaster::DECODETYPE type;
        std::string input, output;
    } rows[] = {
        {CDecodeMaster::BASE64, "QUJD\r\n\r\nREVG  \nQQ==\n", "ABCDEFA"},
        {static_cast<CDecodeMaster::DECODETYPE>(7), "QUJD\n", "ABC"},   // other types: Base64
        // Each line alone: line ends go, soft breaks are consumed by the trim.
        {CDecodeMaster::QPRINT, "a=3Db=\r\nc\r\nd =\n", "a=bcd "},
        {CDecodeMaster::QPRINT, "=4\n1\nok\n", "1ok"},                // a broken escape line fails alone
        {CDecodeMaster::UUENCODE,
         UuLine("hello ") + "\n`\nend\n", "hello "},
    };
    for (const auto &r : rows) {
        const std::string in = dir.write("in.txt", r.input);
        EXPECT_TRUE(dm.Do_Decode(in.c_str(), out.c_str(), r.type));
        EXPECT_EQ(ReadFile(out), r.output) << r.input;
    }
    EXPECT_TRUE(dm.Do_Base64Decode(dir.path("missing").c_str(), out.c_str()));
    EXPECT_EQ(ReadFile(out), "");
    EXPECT_THROW(dm.Do_QPDecode(dir.path("in.txt").c_str(), dir.path("no/such/dir").c_str()),
                 std::runtime_error);
}

} // namespace
