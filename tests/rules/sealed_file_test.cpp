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

TEST(SealedFile, RoundTripsAtBlockBoundaries)
{
    RulesTempDir dir;
    for (size_t length : {0u, 1u, 510u, 511u, 512u, 1022u, 1023u, 5000u}) {
        SCOPED_TRACE(length);
        std::string plain = plain_bytes(length);
        WriteFile(dir.file("plain"), plain);
        int crc = EncrptFileWithCRC(dir.file("plain").c_str(), dir.file("sealed").c_str());
        std::string sealed = ReadFile(dir.file("sealed"));
        std::string header = std::to_string(static_cast<unsigned>(crc)) + "\n";
        EXPECT_EQ(length == 0, header == "0\n");
        ASSERT_EQ(sealed.substr(0, header.size()), header);
        EXPECT_EQ(sealed.size(), header.size() + length);
        ASSERT_EQ(DecrptFileWithCRC(dir.file("sealed").c_str(), dir.file("back").c_str()), 1);
        EXPECT_EQ(ReadFile(dir.file("back")), plain);
    }
}

TEST(SealedFile, KeyRestartsAtEachBlock)
{
    RulesTempDir dir;
    WriteFile(dir.file("plain"), std::string(1100, '\0'));
    EncrptFileWithCRC(dir.file("plain").c_str(), dir.file("sealed").c_str());
    std::string sealed = ReadFile(dir.file("sealed"));
    std::string body = sealed.substr(sealed.find('\n') + 1);
    ASSERT_EQ(body.size(), 1100u);
    EXPECT_EQ(body.substr(0, 8), "qirvanot");
    EXPECT_EQ(body[510], 'o');          // 510 % 8 = 6
    EXPECT_EQ(body.substr(511, 8), "qirvanot");
    EXPECT_EQ(body[1022], 'q');         // second restart
}

TEST(SealedFile, CrcIsRawReflectedRegisterOverSealedBytes)
{
    EXPECT_EQ(UPDC32(0, 0), 0u);
    EXPECT_EQ(UPDC32(1, 0), 0x77073096u);
    EXPECT_EQ(UPDC32(0x80, 0), 0xEDB88320u);
    EXPECT_EQ(UPDC32(0x1FF, 0), 0x2D02EF8Du);   // only the low byte counts
    // With the register started at 0 the CRC is linear in the data.
    const unsigned char a[] = "rule one\\C\\SIZE>1\\DEL";
    const unsigned char b[] = "another\\B\\SUBJ=\"x\"\\QU";
    unsigned char x[sizeof a];
    for (size_t i = 0; i < sizeof a; ++i)
        x[i] = a[i] ^ b[i];
    int n = static_cast<int>(sizeof a);
    EXPECT_EQ(CalculateCRC(x, 0, n), CalculateCRC(a, 0, n) ^ CalculateCRC(b, 0, n));
    EXPECT_EQ(CalculateCRC(a + 5, CalculateCRC(a, 0, 5), n - 5), CalculateCRC(a, 0, n));
    EXPECT_EQ(CalculateCRC(a, 1234, 0), 1234u);

    RulesTempDir dir;
    WriteFile(dir.file("plain"), "R\\C\\SIZE>1\\DEL\n");
    int crc = EncrptFileWithCRC(dir.file("plain").c_str(), dir.file("sealed").c_str());
    std::string sealed = ReadFile(dir.file("sealed"));
    std::string body = sealed.substr(sealed.find('\n') + 1);
    EXPECT_EQ(static_cast<unsigned>(crc),
              CalculateCRC(reinterpret_cast<const unsigned char *>(body.data()), 0,
                           static_cast<int>(body.size())));
}

TEST(SealedFile, RefusesDamageAndMissingFiles)
{
    RulesTempDir dir;
    WriteFile(dir.file("plain"), plain_bytes(700));
    EncrptFileWithCRC(dir.file("plain").c_str(), dir.file("sealed").c_str());
    const std::string good = ReadFile(dir.file("sealed"));
    const size_t bodyStart = good.find('\n') + 1;

    struct Row {
        const char *what;
        std::string sealed;
    };
    std::string bodyFlip = good;
    bodyFlip[bodyStart + 600] ^= 0x01;
    std::string headerChanged = good;
    headerChanged[0] = headerChanged[0] == '1' ? '2' : '1';
    std::string truncated = good.substr(0, good.size() - 1);
    std::string extra = good + "x";
    Row rows[] = {
        {"flipped body byte", bodyFlip}, {"changed header", headerChanged},
        {"truncated body", truncated}, {"appended byte", extra},
        {"no header number", "abc\n" + good.substr(bodyStart)}, {"empty file", ""},
    };
    for (const Row &row : rows) {
        SCOPED_TRACE(row.what);
        WriteFile(dir.file("bad"), row.sealed);
        EXPECT_EQ(DecrptFileWithCRC(dir.file("bad").c_str(), dir.file("out").c_str()), -1);
        EXPECT_FALSE(FileExists(dir.file("out")));
    }
    EXPECT_EQ(DecrptFileWithCRC(dir.file("missing").c_str(), dir.file("out").c_str()), -1);
    EXPECT_EQ(EncrptFileWithCRC(dir.file("missing").c_str(), dir.file("out").c_str()), -1);
    EXPECT_EQ(EncrptFileWithCRC(dir.file("plain").c_str(), dir.file("no/such/dir").c_str()), -1);
    EXPECT_EQ(DecrptFileWithCRC(dir.file("sealed").c_str(), dir.file("no/such/dir").c_str()), -1);
}

TEST(SealedFile, BodyStartingWithWhiteSpaceNeverUnseals)
{
    // 'q' ^ 'Q' is a blank, 'q' ^ '{' a LF: the header read swallows them.
    RulesTempDir dir;
    for (const char *plain : {"Q rule", "{rule", "xrule", "arule"}) {
        SCOPED_TRACE(plain);
        WriteFile(dir.file("plain"), plain);
        EncrptFileWithCRC(dir.file("plain").c_str(), dir.file("sealed").c_str());
        bool whiteFirst = plain[0] != 'a';   // "x" seals to a tab
        EXPECT_EQ(DecrptFileWithCRC(dir.file("sealed").c_str(), dir.file("out").c_str()),
                  whiteFirst ? -1 : 1);
    }
}

TEST(SealedFile, HeaderReadSkipsLeadingWhiteSpaceAndSign)
{
    RulesTempDir dir;
    WriteFile(dir.file("plain"), "abc");
    int crc = EncrptFileWithCRC(dir.file("plain").c_str(), dir.file("sealed").c_str());
    std::string sealed = ReadFile(dir.file("sealed"));
    std::string body = sealed.substr(sealed.find('\n') + 1);
    unsigned value = static_cast<unsigned>(crc);
    for (const std::string &header :
         {" \t" + std::to_string(value) + "\r\n", "+" + std::to_string(value) + "\n",
          "-" + std::to_string(0u - value) + "\n",
          std::to_string(value + 0x100000000ULL) + "\n",
          std::to_string(value + (1ULL << 62)) + "\n"}) {
        SCOPED_TRACE(header);
        WriteFile(dir.file("variant"), header + body);
        EXPECT_EQ(DecrptFileWithCRC(dir.file("variant").c_str(), dir.file("out").c_str()), 1);
        EXPECT_EQ(ReadFile(dir.file("out")), "abc");
    }
}

} // namespace
