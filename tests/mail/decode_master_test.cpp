// CDecodeMaster: the strict Base64 variant and uuencode and XXencode lines.
#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "mail/decode_master.h"
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

} // namespace
