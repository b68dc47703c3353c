// Sealed rule files: round trips, the key and CRC layout, refusals.
#include "rules/sealed_file.h"

#include <gtest/gtest.h>

#include <string>

#include "support/rules_fixtures.h"

namespace {

// Plain bytes whose first sealed byte is not white space.
std::string plain_bytes(size_t length)
{
    std::string bytes(length, '\0');
    for (size_t i = 0; i < length; ++i)
        bytes[i] = static_cast<char>('a' + (i * 7) % 26);
    return bytes;
}

// Seals `plain` as dir/sealed; gives the sealed bytes after the header line.
std::string seal(const BaseTempDir &dir, const std::string &plain, int *crc = nullptr)
{
    const int value = EncrptFileWithCRC(dir.write("plain", plain).c_str(), dir.path("sealed").c_str());
    if (crc)
        *crc = value;
    const std::string sealed = ReadFile(dir.path("sealed"));
    return sealed.substr(sealed.find('\n') + 1);
}

TEST(SealedFile, RoundTripsAtBlockBoundaries)
{
    BaseTempDir dir;
    for (size_t length : {0u, 1u, 510u, 511u, 512u, 1022u, 1023u, 5000u}) {
        SCOPED_TRACE(length);
        const std::string plain = dir.write("plain", plain_bytes(length));
        int crc = EncrptFileWithCRC(dir.path("plain").c_str(), dir.path("sealed").c_str());
        std::string sealed = ReadFile(dir.path("sealed")), header = std::to_string(static_cast<unsigned>(crc)) + "\n";
        EXPECT_EQ(length == 0, header == "0\n");
        ASSERT_EQ(sealed.substr(0, header.size()), header);
        EXPECT_EQ(sealed.size(), header.size() + length);
        ASSERT_EQ(DecrptFileWithCRC(dir.path("sealed").c_str(), dir.path("back").c_str()), 1);
        EXPECT_EQ(ReadFile(dir.path("back")), ReadFile(plain));
    }
}

TEST(SealedFile, SealedBytesFollowTheFormat)
{
    EXPECT_EQ(UPDC32(1, 0), 0x77073096u);
    EXPECT_EQ(UPDC32(0x1FF, 0), 0x2D02EF8Du);   // only the low byte counts
    const unsigned char a[] = "rule one\\C\\SIZE>1\\DEL";
    EXPECT_EQ(CalculateCRC(a + 5, CalculateCRC(a, 0, 5), 10), CalculateCRC(a, 0, 15));
    BaseTempDir dir;
    int crc = 0;
    std::string body = seal(dir, "R\\C\\SIZE>1\\DEL\n", &crc);
    EXPECT_EQ(static_cast<unsigned>(crc),
              CalculateCRC(reinterpret_cast<const unsigned char *>(body.data()), 0, int(body.size())));
    body = seal(dir, std::string(1100, '\0'));   // the key restarts at each block
    EXPECT_EQ(body.substr(0, 8) + body.substr(510, 9) + body[1022], "qirvanotoqirvanotq");
}

TEST(SealedFile, RefusesDamageAndMissingFiles)
{
    BaseTempDir dir;
    seal(dir, plain_bytes(700));
    const std::string good = ReadFile(dir.path("sealed"));
    const size_t bodyStart = good.find('\n') + 1;

    std::string bodyFlip = good, headerChanged = good;
    bodyFlip[bodyStart + 600] ^= 0x01;
    headerChanged[0] = headerChanged[0] == '1' ? '2' : '1';
    for (const std::string &bad : {bodyFlip, headerChanged, good.substr(0, good.size() - 1),
                                   good + "x", "abc\n" + good.substr(bodyStart), std::string()}) {
        SCOPED_TRACE(bad.substr(0, 12));
        WriteFile(dir.path("bad"), bad);
        EXPECT_EQ(DecrptFileWithCRC(dir.path("bad").c_str(), dir.path("out").c_str()), -1);
        EXPECT_FALSE(FileExists(dir.path("out")));
    }
    EXPECT_EQ(DecrptFileWithCRC(dir.path("missing").c_str(), dir.path("out").c_str()), -1);
    EXPECT_EQ(EncrptFileWithCRC(dir.path("missing").c_str(), dir.path("out").c_str()), -1);
    EXPECT_EQ(EncrptFileWithCRC(dir.path("plain").c_str(), dir.path("no/such/dir").c_str()), -1);
    EXPECT_EQ(DecrptFileWithCRC(dir.path("sealed").c_str(), dir.path("no/such/dir").c_str()), -1);
}

TEST(SealedFile, BodyStartingWithWhiteSpaceNeverUnseals)
{
    BaseTempDir dir;   // 'q' ^ 'Q' is a blank, 'q' ^ '{' a LF, 'q' ^ 'x' a tab: the header read swallows them
    for (const char *plain : {"Q rule", "{rule", "xrule"}) {
        seal(dir, plain);
        EXPECT_EQ(DecrptFileWithCRC(dir.path("sealed").c_str(), dir.path("out").c_str()), -1) << plain;
    }
}

TEST(SealedFile, HeaderReadSkipsLeadingWhiteSpaceAndSign)
{
    BaseTempDir dir;
    int crc = 0;
    const std::string body = seal(dir, "abc", &crc);
    const unsigned value = static_cast<unsigned>(crc);
    for (const std::string &header :
         {" \t" + std::to_string(value) + "\r\n", "+" + std::to_string(value) + "\n",
          "-" + std::to_string(0u - value) + "\n",
          std::to_string(value + 0x100000000ULL) + "\n",
          std::to_string(value + (1ULL << 62)) + "\n"}) {
        SCOPED_TRACE(header);
        WriteFile(dir.path("variant"), header + body);
        EXPECT_EQ(DecrptFileWithCRC(dir.path("variant").c_str(), dir.path("out").c_str()), 1);
        EXPECT_EQ(ReadFile(dir.path("out")), "abc");
    }
}

} // namespace
