// Base64 and Quoted-Printable over one buffer: padding, stray characters,
// escapes and trailing blanks, the encoders' line layout, and round trips.
#include <gtest/gtest.h>

#include <string>

#include "mail/transfer_codecs.h"
#include "support/mail_codec_fixtures.h"

namespace {

// One codec over a copy of the input (the QP decoder writes a NUL at [len]).
template <class Codec> std::string Run(Codec codec, std::string in)
{
    int n = -1;
    char *p = codec(&in[0], static_cast<int>(in.size()), &n);
    return p ? TakeBytes(p, n) : "<null>";
}

std::string B64Decode(const std::string &in) { return Run(from_base64, in); }
std::string QpDecode(const std::string &in) { return Run(from_qprint, in); }
std::string B64Encode(const std::string &in) { return Run(to_base64, in); }
std::string QpEncode(const std::string &in) { return Run(to_qprint, in); }

TEST(Base64Decode, PaddingStrayCharactersAndFailures)
{
    const struct {
        std::string in, out;
    } rows[] = {
        {"QUJD", "ABC"},
        {"QUI=", "AB"},
        {"QQ==", "A"},
        {"QQ=x", "<null>"},            // a lone "=" in the third place
        {"QQ=", "<null>"},             // ... also at the very end
        {"QU\r\nJD", "ABC"},           // line breaks and other characters skipped
        {" Q U J D !", "ABC"},
        {"QU\xE9J\r\nD QQ\n==", "ABCA"},   // strays inside groups and their padding
        {"QUJDQQ==QUJD", "ABCAABC"},   // padding ends a group, decoding goes on
        {"QUI", "AB"},                 // unpadded: the completed bytes
        {"Q", ""},
        {"=QUJD", "\x01\x05\x09"},   // "=" first only moves the place (a zero)
        {"", ""},
    };
    for (const auto &r : rows)
        EXPECT_EQ(B64Decode(r.in), r.out) << r.in;
    int n = 7;
    EXPECT_EQ(from_base64(nullptr, 4, &n), nullptr);
    EXPECT_EQ(n, 0);
}

TEST(TransferCodecs, EncoderLayoutAndRoundTrips)
{
    const struct {
        std::string in, base64, qp;
    } rows[] = {
        {"ABC", "QUJD\r\n", "ABC"},
        {"", "\r\n", ""},
        {"a=b\r\nc", "YT1iDQpj\r\n", "a=3Db\r\nc"},
        {"a\nb\rc", "YQpiDWM=\r\n", "a=0Ab=0Dc"},
        {"a \r\n\t\x7F\xE9", "YSANCgl/6Q==\r\n", "a=20\r\n=09=7F=E9"},
        {std::string(80, 'x'), "", std::string(75, 'x') + "=\r\n" + std::string(5, 'x')},
        // An escape that would pass column 75 moves to the next line whole.
        {std::string(74, 'x') + "=", "", std::string(74, 'x') + "=\r\n=3D"},
    };
    for (const auto &r : rows) {
        EXPECT_TRUE(r.base64.empty() || B64Encode(r.in) == r.base64) << r.in;
        EXPECT_EQ(QpEncode(r.in), r.qp) << r.in;
    }
    const std::string out45 = B64Encode(std::string(45, 'x')), out46 = B64Encode(std::string(46, 'x'));
    EXPECT_EQ(out45.size(), 64u);
    EXPECT_EQ(out45.substr(60), "\r\n\r\n");
    EXPECT_EQ(out46.size(), 68u);
    EXPECT_EQ(out46.substr(60, 2), "\r\n");
    std::string all;
    for (int i = 1; i < 256; ++i) // the QP decoder stops at NUL
        all += char(i);
    for (size_t len = 0; len < 200; ++len) {
        const std::string in = (std::string(1, '\0') + all + all).substr(len % 7, len);
        EXPECT_EQ(B64Decode(B64Encode(in)), in) << len;
    }
    const std::string text = all + "line one  \r\nline two\r\n" + all + all;
    EXPECT_EQ(QpDecode(QpEncode(text)), text);
}

TEST(QuotedPrintableDecode, EscapesSoftBreaksAndTrailingBlanks)
{
    const struct {
        std::string in, out;
    } rows[] = {
        {"=41=42", "AB"}, {"=4a=4A", "JJ"}, {"A =\r\nB", "A B"}, {"A =\nB", "A B"},
        {"abc   \r\n", "abc\r\n"}, {"abc \t \ndef", "abc\ndef"},
        {"abc=20\r\n", "abc \r\n"},   // an escaped blank stays
        {"ab  =\r\n\r\n", "ab  \r\n"}, // and so do blanks before a soft break
        {"x=\ry", "xy"},              // "=" and a bare CR: the CR is dropped
        {"end=", "end"}, {"=4G", "<null>"}, {"=G4", "<null>"}, {"a=?b", "<null>"},
        {"tail  ", "tail  "},
    };
    for (const auto &r : rows)
        EXPECT_EQ(QpDecode(r.in), r.out) << r.in;
    std::string withNul("ab\0cd", 5);
    EXPECT_EQ(QpDecode(withNul), "ab");   // reads up to the first NUL
    EXPECT_EQ(from_qprint(nullptr, 0, nullptr), nullptr);
}

} // namespace
