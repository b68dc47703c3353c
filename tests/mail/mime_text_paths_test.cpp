// The fast text path against the reference path (every line detected and
// converted), and the run-wise loops against their byte-at-a-time forms.
#include <cstdio>
#include <memory>
#include <random>
#include <string>

#include <gtest/gtest.h>

#include "mail/mail_info.h"
#include "mail/mime_walk.h"
#include "support/base_temp_dir.h"
#include "support/byte_loop_paths.h"
#include "support/mail_japanese_text.h"
#include "support/mime_text_paths.h"

namespace {

std::string AsciiLines(std::mt19937 &random, int lines)
{
    std::string text;
    for (int i = 0; i < lines; ++i) {
        for (size_t w = 0, words = 1 + random() % 12; w < words; ++w)
            text += (w ? " " : "") + std::string(1 + random() % 9, char('a' + random() % 26));
        text += i % 3 ? "\r\n" : "\n";
    }
    return text;
}

void ExpectSamePaths(const std::string &mail, const std::string &what)
{
    for (size_t block : {size_t(65536), size_t(7)}) {
        WalkResult fast = WalkWithPath(mail, MimeTextPath::kFast, block);
        WalkResult reference = WalkWithPath(mail, MimeTextPath::kReference, block);
        ASSERT_EQ(fast.text, reference.text) << what << ", read in blocks of " << block;
        ASSERT_EQ(fast.records, reference.records) << what;
    }
}

TEST(MimeTextPaths, GeneratedMailsAndShapesGiveTheSameBytes)
{
    std::mt19937 random(1036);
    auto part = [](const std::string &charset, const std::string &encoding, const std::string &body) {
        return "--b0\r\nContent-Type: text/plain; charset=" + charset +
               "\r\nContent-Transfer-Encoding: " + encoding + "\r\n\r\n" + body;
    };
    for (int round = 0; round < 4; ++round) {
        std::string ascii = AsciiLines(random, 40), euc = RandomJapaneseText(random, 8);
        std::string mail = "From: a@example.com\r\n"
                           "Subject: =?ISO-2022-JP?B?GyRCMnE1RBsoQg==?= plain =?x?y\r\n"
                           "X-Raw: \x1b$B2q5D\x1b(B and \xb2\xf1 and \x0e\x0f\r\nMIME-Version: 1.0\r\n"
                           "Content-Type: multipart/mixed; boundary=\"b0\"\r\n\r\npreamble\r\n" +
                           part("us-ascii", "7bit", ascii) +
                           part("us-ascii", "quoted-printable", QpBody(ascii + "caf\xe9 =3D\r\n")) +
                           part("us-ascii", "base64", Base64Body(ascii)) +
                           part("us-ascii", "7bit",
                                "=?ISO-2022-JP?B?GyRCMnE1RBsoQg==?= in a body\r\nbegin 644 a.bin\r\n"
                                "M86)C9&5F9VAI:FML;6YO<'%R<W1U=G=X>7I!0D-$149'2$E*2TQ-3D]045)3\r\nend\r\n" +
                                    ascii) +
                           "--b0\r\nContent-Type: application/octet-stream; name=\"a.bin\"\r\n"
                           "Content-Transfer-Encoding: base64\r\n\r\n" + Base64Body(euc);
        for (const JapaneseCode &code : kJapaneseCodes) {
            std::string bytes = JapaneseIn(code.iconvName, AsciiLines(random, 3) + euc + AsciiLines(random, 3));
            mail += part(code.charset, "8bit", bytes) + part(code.charset, "base64", Base64Body(bytes)) +
                    part(code.charset, "quoted-printable", QpBody(bytes));
        }
        ExpectSamePaths(mail + "--b0--\r\n", "round " + std::to_string(round));
    }
    std::string euc = RandomJapaneseText(random, 2), longAscii(3 * 4096 + 17, 'x');
    const struct {
        const char *what;
        std::string mail;
    } kMails[] = {
        {"no MIME", "Subject: hi\n\nline one\nline two without end"},
        {"long plain line", "Subject: x\n\n" + longAscii + "\n" + longAscii},
        {"long line, Japanese at its end", "Subject: x\n\n" + longAscii + JapaneseIn("ISO-2022-JP", euc)},
        {"long line, Japanese first",
         "Subject: x\n\n" + JapaneseIn("SHIFT_JIS", euc) + longAscii + "\n" + euc + longAscii},
        {"shifts and lone escapes", "Subject: x\n\nSO \x0e here\nSI \x0f\nESC \x1b\nend\n"},
        {"CR line ends", "Subject: x\r\rbody\rmore\r"},
        {"text past the buffer",
         "Subject: x\n\n" + std::string(120000, 'y') + "\n" + AsciiLines(random, 3000) + euc},
        {"NUL inside a line", std::string("Subject: x\n\nab\0\xb2\xf1 cd\n", 21)},
    };
    for (const auto &mail : kMails)
        ExpectSamePaths(mail.mail, mail.what);
}

TEST(MimeTextPaths, RunWiseLoopsMatchTheByteLoopsCutAtEveryByte)
{
    std::mt19937 random(11);
    const std::string euc = RandomJapaneseText(random, 1);
    const std::string pieces[] = {
        "plain words here ", "\r\n", "\n", "x \t \r\n", JapaneseIn("ISO-2022-JP", euc),
        JapaneseIn("SHIFT_JIS", euc), euc, "\x1b$B0!0\"\x1b(B", "\x1b(I12\x1b(J~", "\x1b$",
        "\x1b$)A\x0e0!\x0f", "\x1bN", "\x1b$(D0!", "\x7f\x01", "=3D=e9=\r\n", "=\n", "= x",
        "a=?euc-jp?B?", "\xb1\xdf\x8e\xb1\x8f\xb0\xa1", "caf\xe9 "};
    std::vector<std::string> texts; // each piece among ASCII, then pieces at random
    for (const std::string &piece : pieces)
        texts.push_back("ascii words " + piece + " then ascii words");
    for (int round = 0; round < 6; ++round) {
        texts.emplace_back();
        for (int i = 0; i < 12; ++i)
            texts.back() += pieces[random() % (sizeof pieces / sizeof pieces[0])];
    }
    for (const std::string &text : texts)
        for (size_t cut = 0; cut <= text.size(); ++cut) {
            ASSERT_EQ(ByteLoopDifference(text.substr(0, cut)), "") << text << " head " << cut;
            ASSERT_EQ(ByteLoopDifference(text.substr(cut)), "") << text << " tail " << cut;
        }
}

TEST(MimeTextPaths, AFailedSpillReachesTheCaller)
{
    for (size_t textBytes : {1000, 150000}) {
        BaseTempDir dir;
        std::string path = dir.write("DF", "Subject: x\n\n" + std::string(textBytes, 'z') + "\n");
        auto buf = std::make_unique<MEMBUF>();
        CMailInfo info;
        EXPECT_TRUE(GetAttachmentInfo(path.c_str(), buf.get(), "/dev/full", &info));
        EXPECT_EQ(info.m_bTextWriteFailed, textBytes > 100000) << textBytes;
    }
}

} // namespace
