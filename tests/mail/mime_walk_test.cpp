// The MIME walk: attachment records and searchable text, every mail walked
// from its file and from a reader of one byte a read, both walks agreeing.
#include <memory>
#include <string>
#include <tuple>
#include <vector>

#include <gtest/gtest.h>

#include "mail/extract_data_file.h"
#include "mail/mail_info.h"
#include "mail/mime_text.h"
#include "mail/mime_walk.h"
#include "support/base_temp_dir.h"
#include "support/mail_client_shapes.h"
#include "support/mail_piece_file.h"

namespace {

using Found = std::tuple<std::string, std::string, int, int, int>; // name, type, start, end, encoding

struct Walked {
    std::vector<Found> attachments;
    std::string text;
    bool inMemory;
    int ambiguity;
};

Walked Collect(const MEMBUF &buf, const std::string &textFile, const CMailInfo &info)
{
    Walked out{{}, "", buf.m_bInMemory != 0, info.m_nMimeAmbiguity};
    for (int i = 0; i < info.m_nAttachCount; ++i) {
        const Attach_Stru &a = *info.m_pAttach[i];
        out.attachments.emplace_back(a.m_szName, a.m_szContentType, a.m_nStart, a.m_nEnd,
                                     a.m_nEncoding);
    }
    out.text = out.inMemory ? std::string(buf.m_szData, size_t(buf.m_nLength)) : ReadFile(textFile);
    EXPECT_TRUE(!out.inMemory || buf.m_szData[buf.m_nLength] == '\0');
    return out;
}

Walked Walk(const std::string &mail)
{
    BaseTempDir dir;
    auto buf = std::make_unique<MEMBUF>(), pieceBuf = std::make_unique<MEMBUF>();
    CMailInfo info, pieceInfo;
    std::string df = dir.write("DF", mail), text = dir.path("text"), pieces = dir.path("pieces");
    EXPECT_TRUE(GetAttachmentInfo(df.c_str(), buf.get(), text.c_str(), &info));
    Walked whole = Collect(*buf, text, info);
    FILE *pieceText = std::fopen(pieces.c_str(), "wb");
    FILE *in = OpenPieceFile(mail, 1);
    WalkMail(in, long(mail.size()), pieceBuf.get(), pieceText, &pieceInfo, 1);
    std::fclose(in);
    std::fclose(pieceText);
    Walked got = Collect(*pieceBuf, pieces, pieceInfo);
    EXPECT_EQ(whole.attachments, got.attachments);
    EXPECT_EQ(whole.text, got.text);
    EXPECT_EQ(whole.inMemory, got.inMemory);
    EXPECT_EQ(whole.ambiguity, got.ambiguity);
    return whole;
}

int At(const std::string &mail, const std::string &what) { return int(mail.find(what)); }

int After(const std::string &mail, const std::string &line) { return At(mail, line) + int(line.size()); }

bool Has(const std::string &text, const std::string &what) { return text.find(what) != std::string::npos; }

const std::string kHeaders = "From: a@example.com\nTo: b@example.com\nSubject: hello\n";
// The media type as a client reads it: case and blanks do not matter.
const std::string kMixed = kHeaders + "MIME-Version: 1.0\nContent-Type: \tMultipart/Mixed; boundary=b\n\n";

TEST(MimeWalk, SinglePartShapes)
{
    std::string pdf = kHeaders + "MIME-Version: 1.0\nContent-Type: application/pdf; name=\"r.pdf\"\n"
                                 "Content-Transfer-Encoding: base64\n\nJVBERi0xLjQK\n";
    Walked got = Walk(pdf);
    EXPECT_EQ(got.attachments, (std::vector<Found>{{"r.pdf", "application/pdf",
                                                    At(pdf, "Content-Type"), int(pdf.size()), 4}}));
    EXPECT_FALSE(Has(got.text, "JVBER"));

    std::string uu = kHeaders + "\nbefore\nbegin 644 hello.txt\n%:&5L;&\\*\n`\nend\n"
                                "after\nbegin the story\n";
    got = Walk(uu);
    EXPECT_EQ(got.attachments, (std::vector<Found>{{"hello.txt", "UUEncoded", At(uu, "begin 644"),
                                                    At(uu, "after"), 32}}));
    EXPECT_TRUE(Has(got.text, "before\nbegin 644 hello.txt\nafter\nbegin the story\n"));
    EXPECT_FALSE(Has(got.text, "%:&5L"));
}

TEST(MimeWalk, MultipartRangesEncodingsAndText)
{
    std::string mail = kHeaders + "MIME-Version: 1.0\n"
                                  "Content-Type: multipart/mixed;\n\tboundary=\"outer\"\n\n"
                                  "preamble is not text\n--outer\n"
                                  "Content-Type: text/plain; charset=us-ascii\n"
                                  "Content-Transfer-Encoding: quoted-printable\n\n"
                                  "caf=C3=A9 soft=\nbreak\n--outer\n"
                                  "Content-Type: application/octet-stream;\n name=\"data.bin\"\n"
                                  "Content-Transfer-Encoding: base64\n\nAAECAwQF\n--outer  \n"
                                  "Content-Type: text/plain\n"
                                  "Content-Disposition: attachment; filename=\"notes.txt\";\n"
                                  " creation-date=\"Mon, 1 Jan 2001 00:00:00 GMT\"\n"
                                  "Content-Transfer-Encoding: base64\n\naGVsbG8gbm90ZXM=\n"
                                  "--outer--\nepilogue text\n";
    Walked got = Walk(mail);
    EXPECT_EQ(got.attachments,
              (std::vector<Found>{{"data.bin", "application/octet-stream",
                                   After(mail, "break\n--outer\n"), At(mail, "--outer  "), 4},
                                  {"notes.txt", "text/plain", After(mail, "AAECAwQF\n--outer  \n"),
                                   At(mail, "--outer--"), 4}}));
    EXPECT_FALSE(Has(got.text, "preamble") || Has(got.text, "AAECAwQF"));
    for (const char *text : {"caf\xc3\xa9 softbreak\n", "hello notes", "epilogue text"})
        EXPECT_TRUE(Has(got.text, text)) << text;
}

TEST(MimeWalk, NamesAsClientsWriteThemAndKeptToTheirField)
{
    const std::string octet = "Content-Type: application/octet-stream;";
    struct Row {
        std::string header;
        const char *name;
    } rows[] = {
        // Unfolding keeps the fold's blank, as clients do; the TAB shows as a blank.
        {"Content-Type: application/pdf;\n name=\"a-very-long-\n\tname.pdf\"\n", "a-very-long- name.pdf"},
        {"Content-Type: application/pdf\nContent-Disposition: attachment;\n"
         " filename=\"=?ISO-2022-JP?B?GyRCJUYlOSVIGyhC?=.pdf\"\n",
         "\xa5\xc6\xa5\xb9\xa5\xc8.pdf"},
        {octet + "\n name*=utf-8''%0D%0AX-Evil.exe%00\n", "X-Evil.exe"},
        {octet + " name=\"  spaced.exe \"\n", "spaced.exe"},
        {octet + " name=\"=?utf-8?B?dGFiCWFuZAdiZWxsLmV4ZQ==?=\"\n", "tab and bell.exe"},
    };
    for (const Row &row : rows) {
        SCOPED_TRACE(row.header);
        Walked got = Walk(kMixed + "--b\n" + row.header + "\nbody\n--b--\n");
        ASSERT_EQ(got.attachments.size(), 1u);
        EXPECT_EQ(std::get<0>(got.attachments[0]), row.name);
    }
}

// The walk sees each shape's attachments and exactly its ambiguities.
TEST(MimeWalk, ParametersAsAClientReadsThem)
{
    for (const MailClientShape &shape : MailClientShapes()) {
        SCOPED_TRACE(shape.label);
        Walked got = Walk(shape.mail);
        std::vector<std::pair<std::string, std::string>> seen;
        for (const Found &found : got.attachments)
            seen.emplace_back(std::get<0>(found), std::get<1>(found));
        EXPECT_EQ(seen, shape.attachments);
        EXPECT_EQ(got.ambiguity, shape.ambiguity);
        EXPECT_EQ(MimeAmbiguityText(got.ambiguity).empty(), shape.ambiguity == 0);
    }
    const std::string report = MailClientShapes().front().mail;
    Walked got = Walk(report);
    EXPECT_TRUE(Has(got.text, "Delivery has failed"));
    EXPECT_EQ(got.attachments, (std::vector<Found>{{"evil.exe", "application/x-msdownload",
                                                    After(report, "recipients.\n--outer\n"),
                                                    At(report, "--outer--"), 4}}));
}

TEST(MimeWalk, EnclosedMessageAndDigestNesting)
{
    std::string mail = kHeaders + "MIME-Version: 1.0\nContent-Type: multipart/mixed; boundary=\"m\"\n\n"
                                  "--m\nContent-Type: message/rfc822\n\n"
                                  "From: inner@example.com\nSubject: inner subject\n"
                                  "Content-Type: application/zip; name=\"inner.zip\"\n\nUEsDBA==\n"
                                  "--m\nContent-Type: multipart/digest; boundary=\"d\"\n\n"
                                  "--d\n\nFrom: first@example.com\nSubject: first entry\n\nfirst body\n"
                                  "--d\nContent-Type: message/rfc822\n\nSubject: second entry\n"
                                  "Content-Type: image/gif; name=pic.gif\n"
                                  "Content-Transfer-Encoding: base64\n\nR0lGOD\n"
                                  "--d--\n--m\nContent-Type: text/plain\n\nlast words\n--m--\n";
    Walked got = Walk(mail);
    const int digest = At(mail, "--m\nContent-Type: multipart/digest");
    const int pic = After(mail, "first body\n--d\n"); // the picture starts with its message part
    // The digest's second entry: the message part, then the picture in it.
    EXPECT_EQ(got.attachments,
              (std::vector<Found>{{"", "message/rfc822", -1, 0, 0},
                                  {"inner.zip", "application/zip", After(mail, "--m\n"), digest, 0},
                                  {"", "message/rfc822", -1, 0, 0},
                                  {"pic.gif", "image/gif", pic, At(mail, "--d--"), 4}}));
    for (const char *text : {"inner subject", "first entry", "first body", "second entry", "last words"})
        EXPECT_TRUE(Has(got.text, text)) << text;
    EXPECT_FALSE(Has(got.text, "R0lGOD"));
}

// 10 000 nested multiparts: the innermost part is found, and each closing
// line brings back the level below, whose text is read.
TEST(MimeWalk, DeepNestingReachesTheInnermostPart)
{
    std::string mail = kHeaders + "Mime-Version: 1.0\n", closings;
    for (int i = 0; i < 10000; ++i) {
        const std::string b = "b" + std::to_string(i);
        mail += "Content-Type: multipart/mixed; boundary=\"" + b + "\"\n\nbefore\n--" + b + "\n";
        closings = "--" + b + "--\nafter " + std::to_string(i) + "\n" + closings;
    }
    const int start = int(mail.size());
    mail += "Content-Type: application/pdf; name=deep.pdf\n\nJVBER\n";
    Walked got = Walk(mail + closings);
    EXPECT_EQ(got.attachments,
              (std::vector<Found>{{"deep.pdf", "application/pdf", start, int(mail.size()), 0}}));
    EXPECT_TRUE(Has(got.text, "after 0\n") && Has(got.text, "after 9999\n"));
    EXPECT_FALSE(Has(got.text, "JVBER"));
}

TEST(MimeWalk, ClassicQuirksOfEncodingsEndsAndCounts)
{
    // The encoding code stays 4 after the first base64 part.
    std::string mail = kMixed;
    for (const char *encoding : {"quoted-printable", "base64", "quoted-printable"})
        mail += std::string("--b\nContent-Type: application/x-a\nContent-Transfer-Encoding: ") +
                encoding + "\n\nQUJD\n";
    Walked got = Walk(mail + "--b--\n");
    ASSERT_EQ(got.attachments.size(), 3u);
    EXPECT_EQ(std::get<4>(got.attachments[0]), 0);
    EXPECT_EQ(std::get<4>(got.attachments[1]), 4);
    EXPECT_EQ(std::get<4>(got.attachments[2]), 4);

    // A boundary never closed leaves the end pending.
    mail = kMixed + "--b\nContent-Type: text/plain\n\nvisible\n"
                    "--b\nContent-Type: application/pdf; name=a.pdf\n\nJVBER\nmore\n";
    got = Walk(mail);
    EXPECT_EQ(got.attachments, (std::vector<Found>{{"a.pdf", "application/pdf",
                                                    After(mail, "visible\n--b\n"), 0, 0}}));
    EXPECT_TRUE(Has(got.text, "visible"));

    // Attachments past 128 are dropped.
    mail = kMixed;
    for (int i = 0; i < 300; ++i)
        mail += "--b\nContent-Type: image/png; name=p" + std::to_string(i) + ".png\n\niVBOR\n";
    got = Walk(mail + "--b--\n");
    ASSERT_EQ(got.attachments.size(), 128u);
    EXPECT_EQ(std::get<0>(got.attachments[127]), "p127.png");
}

TEST(MimeWalk, LargeTextSpillsAndLongLinesStayWhole)
{
    std::string body;
    while (body.size() < 300 * 1024)
        body += std::string(99, 'x') + "\n";
    std::string longLine(10000, 'y');
    Walked got = Walk(kHeaders + "\n" + body + longLine + "\n");
    EXPECT_FALSE(got.inMemory);
    EXPECT_EQ(got.text, kHeaders + body + longLine + "\n");
}

TEST(MimeText, TakeOffCRLFJoinsEastAsianLinesOnly)
{
    struct Row {
        std::string in, out;
    } rows[] = {
        {"ab\r\ncd\n", "ab\r\ncd\n"}, {"\xa4\xa2\r\n\xa4\xa4\n", "\xa4\xa2\xa4\xa4"},
        {"\xa4\xa2\n\n", "\xa4\xa2"}, // both breaks: the rule looks two bytes back only
        {"\x8e\xb1\r\n", "\x8e\xb1"}, {"\xa4\n", "\xa4\n"}, // too short: unchanged
    };
    for (Row &row : rows) {
        int length = int(row.in.size());
        TakeOffCRLF(&row.in[0], &length);
        EXPECT_EQ(row.in.substr(0, size_t(length)), row.out);
    }
}

TEST(MimeWalk, ExtractDataFileLeavesOutUuencodedBlocks)
{
    BaseTempDir dir;
    std::string top = kHeaders + "Content-Type: multipart/mixed;\n boundary=\"b\"\n\n";
    std::string in = dir.write("DF", top + "--b\n\ntext\nbegin 644 x.bin\nM86)C\n--b\n\nkept\n"
                                           "begin 600 y\nend\nlast\n--b--\n");
    ASSERT_TRUE(ExtractDataFile(in.c_str(), dir.path("out").c_str()));
    EXPECT_EQ(ReadFile(dir.path("out")), top + "--b\n\ntext\n--b\n\nkept\nlast\n--b--\n");
    EXPECT_FALSE(ExtractDataFile(dir.path("missing").c_str(), dir.path("out2").c_str()));
}

} // namespace
