// The MIME walk: attachments with their ranges and encodings, and the
// searchable text. Every mail is walked from its file and from a reader that
// hands out one byte at a time, and both walks must agree.
#include <cstring>
#include <memory>
#include <string>
#include <tuple>
#include <vector>

#include <gtest/gtest.h>

#include "mail/boundary_list.h"
#include "mail/charset.h"
#include "mail/extract_data_file.h"
#include "mail/mail_info.h"
#include "mail/mime_header.h"
#include "mail/mime_text.h"
#include "mail/mime_walk.h"
#include "support/base_temp_dir.h"
#include "support/mail_client_shapes.h"
#include "support/mail_piece_file.h"

namespace {

struct Found {
    std::string name, type;
    int start, end, encoding;
    bool operator==(const Found &o) const
    {
        return std::tie(name, type, start, end, encoding) ==
               std::tie(o.name, o.type, o.start, o.end, o.encoding);
    }
};

std::ostream &operator<<(std::ostream &out, const Found &f)
{
    return out << "{" << f.name << ", " << f.type << ", " << f.start << ", " << f.end << ", "
               << f.encoding << "}";
}

struct Walked {
    std::vector<Found> attachments;
    std::string text;
    bool inMemory = true;
    int ambiguity = 0;
};

Walked Collect(const MEMBUF &buf, const std::string &textFile, const CMailInfo &info)
{
    Walked out;
    for (int i = 0; i < info.m_nAttachCount; ++i) {
        const Attach_Stru &a = *info.m_pAttach[i];
        out.attachments.push_back(
            {a.m_szName, a.m_szContentType, a.m_nStart, a.m_nEnd, a.m_nEncoding});
    }
    out.ambiguity = info.m_nMimeAmbiguity;
    out.inMemory = buf.m_bInMemory != 0;
    out.text = out.inMemory ? std::string(buf.m_szData, size_t(buf.m_nLength))
                            : ReadFile(textFile);
    EXPECT_TRUE(!out.inMemory || buf.m_szData[buf.m_nLength] == '\0');
    return out;
}

// Walks the mail from its file and one byte per read; both must agree.
Walked Walk(const std::string &mail)
{
    BaseTempDir dir;
    auto buf = std::make_unique<MEMBUF>();
    CMailInfo info;
    std::string df = dir.write("DF", mail), text = dir.path("text");
    EXPECT_TRUE(GetAttachmentInfo(df.c_str(), buf.get(), text.c_str(), &info));
    Walked whole = Collect(*buf, text, info);

    auto pieceBuf = std::make_unique<MEMBUF>();
    CMailInfo pieceInfo;
    std::string piecePath = dir.path("pieces");
    FILE *pieceText = std::fopen(piecePath.c_str(), "wb");
    FILE *in = OpenPieceFile(mail, 1);
    WalkMail(in, long(mail.size()), pieceBuf.get(), pieceText, &pieceInfo, 1);
    std::fclose(in);
    std::fclose(pieceText);
    Walked pieces = Collect(*pieceBuf, piecePath, pieceInfo);
    EXPECT_EQ(whole.attachments, pieces.attachments);
    EXPECT_EQ(whole.text, pieces.text);
    EXPECT_EQ(whole.inMemory, pieces.inMemory);
    EXPECT_EQ(whole.ambiguity, pieces.ambiguity);
    return whole;
}

int At(const std::string &mail, const std::string &what)
{
    size_t at = mail.find(what);
    EXPECT_NE(at, std::string::npos) << what;
    return int(at);
}

int After(const std::string &mail, const std::string &line)
{
    return At(mail, line) + int(line.size());
}

bool Has(const std::string &text, const std::string &what)
{
    return text.find(what) != std::string::npos;
}

const std::string kHeaders = "From: a@example.com\nTo: b@example.com\nSubject: hello\n";
const std::string kMixed = kHeaders + "MIME-Version: 1.0\nContent-Type: multipart/mixed; boundary=b\n\n";

TEST(MimeWalk, SinglePartShapes)
{
    std::string plain = kHeaders + "\nfirst line\nsecond line\n";
    Walked got = Walk(plain);
    EXPECT_TRUE(got.attachments.empty());
    EXPECT_EQ(got.text, kHeaders + "first line\nsecond line\n");

    std::string pdf = kHeaders + "MIME-Version: 1.0\nContent-Type: application/pdf; name=\"r.pdf\"\n"
                                 "Content-Transfer-Encoding: base64\n\nJVBERi0xLjQK\nJVBERi0xLjQK\n";
    got = Walk(pdf);
    EXPECT_EQ(got.attachments, (std::vector<Found>{{"r.pdf", "application/pdf",
                                                    At(pdf, "Content-Type"), int(pdf.size()), 4}}));
    EXPECT_FALSE(Has(got.text, "JVBER"));
    EXPECT_TRUE(Has(got.text, "Subject: hello"));

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
                                  "Content-Disposition: attachment; filename=\"notes.txt\"; size=5;\n"
                                  " creation-date=\"Mon, 1 Jan 2001 00:00:00 GMT\"\n"
                                  "Content-Transfer-Encoding: base64\n\naGVsbG8gbm90ZXM=\n"
                                  "--outer--\nepilogue text\n";
    Walked got = Walk(mail);
    EXPECT_EQ(got.attachments,
              (std::vector<Found>{
                  {"data.bin", "application/octet-stream", After(mail, "break\n--outer\n"),
                   At(mail, "--outer  "), 4},
                  {"notes.txt", "text/plain", After(mail, "AAECAwQF\n--outer  \n"),
                   At(mail, "--outer--"), 4}}));
    EXPECT_FALSE(Has(got.text, "preamble"));
    EXPECT_FALSE(Has(got.text, "AAECAwQF"));
    for (const char *text : {"caf\xc3\xa9 softbreak\n", "hello notes", "epilogue text"})
        EXPECT_TRUE(Has(got.text, text)) << text;
}

TEST(MimeWalk, NamesAsClientsWriteThemAndKeptToTheirField)
{
    struct Row {
        const char *header;
        const char *name;
    } rows[] = {
        // Unfolding keeps the fold's blank, as clients do; the TAB shows as a blank.
        {"Content-Type: application/pdf;\n name=\"a-very-long-\n\tname.pdf\"\n", "a-very-long- name.pdf"},
        {"Content-Type: application/pdf; name=plain.pdf\n", "plain.pdf"},
        {"Content-Type: application/pdf; name=semi.pdf; x=1\n", "semi.pdf"},
        {"Content-Type: application/pdf\nContent-Disposition: attachment;\n"
         " filename=\"=?ISO-2022-JP?B?GyRCJUYlOSVIGyhC?=.pdf\"\n",
         "\xa5\xc6\xa5\xb9\xa5\xc8.pdf"},
        {"Content-Type: application/pdf; name=\"=?ISO-2022-JP?B?cmVwb3J0LnBkZg==?=\"\n", "report.pdf"},
        {"Content-Type: application/pdf\nContent-Disposition: attachment; filename=\"x.pdf\";"
         " creation-date=\"now\"\n",
         "x.pdf"},
        {"Content-Type: application/octet-stream; name=\"=?utf-8?Q?a=0D=0Ab.exe?=\"\n", "a  b.exe"},
        {"Content-Type: application/octet-stream;\n name*=utf-8''%0D%0AX-Evil.exe%00\n", "X-Evil.exe"},
        {"Content-Type: application/octet-stream; name=\"  spaced.exe \"\n", "spaced.exe"},
        {"Content-Type: application/octet-stream; name=\"=?utf-8?B?dGFiCWFuZAdiZWxsLmV4ZQ==?=\"\n",
         "tab and bell.exe"},
    };
    for (const Row &row : rows) {
        SCOPED_TRACE(row.header);
        Walked got = Walk(kMixed + "--b\n" + row.header + "\nbody\n--b--\n");
        ASSERT_EQ(got.attachments.size(), 1u);
        EXPECT_EQ(got.attachments[0].name, row.name);
    }
}

// Each shape lists what the reference client sees; the walk must list the
// same attachments and note exactly the ambiguities the shape has.
TEST(MimeWalk, ParametersAsAClientReadsThem)
{
    for (const MailClientShape &shape : MailClientShapes()) {
        SCOPED_TRACE(shape.label);
        Walked got = Walk(shape.mail);
        std::vector<std::pair<std::string, std::string>> seen;
        for (const Found &found : got.attachments)
            seen.emplace_back(found.name, found.type);
        EXPECT_EQ(seen, shape.attachments);
        EXPECT_EQ(got.ambiguity, shape.ambiguity);
        EXPECT_EQ(MimeAmbiguityText(got.ambiguity).empty(), shape.ambiguity == 0);
    }
    const MailClientShape report = MailClientShapes().front();
    Walked got = Walk(report.mail);
    EXPECT_TRUE(Has(got.text, "Delivery has failed"));
    ASSERT_EQ(got.attachments.size(), 1u);
    EXPECT_EQ(got.attachments[0].start, After(report.mail, "recipients.\n--outer\n"));
    EXPECT_EQ(got.attachments[0].end, At(report.mail, "--outer--"));
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
    ASSERT_EQ(got.attachments.size(), 4u);
    EXPECT_EQ(got.attachments[0], (Found{"", "message/rfc822", -1, 0, 0}));
    EXPECT_EQ(got.attachments[1], (Found{"inner.zip", "application/zip", After(mail, "--m\n"),
                                         At(mail, "--m\nContent-Type: multipart/digest"), 0}));
    // The digest's second entry: the message part, then the picture in it.
    EXPECT_EQ(got.attachments[2].start, -1);
    EXPECT_EQ(got.attachments[3].name, "pic.gif");
    EXPECT_EQ(got.attachments[3].end, At(mail, "--d--"));
    EXPECT_EQ(got.attachments[3].encoding, 4);
    for (const char *text :
         {"inner subject", "first entry", "first body", "second entry", "last words"})
        EXPECT_TRUE(Has(got.text, text)) << text;
    EXPECT_FALSE(Has(got.text, "R0lGOD"));
}

TEST(MimeWalk, EncodingCodeStaysFourAfterTheFirstBase64Part)
{
    std::string mail = kMixed;
    for (const char *encoding : {"quoted-printable", "base64", "quoted-printable"})
        mail += std::string("--b\nContent-Type: application/x-a\nContent-Transfer-Encoding: ") +
                encoding + "\n\nQUJD\n";
    Walked got = Walk(mail + "--b--\n");
    ASSERT_EQ(got.attachments.size(), 3u);
    EXPECT_EQ(got.attachments[0].encoding, 0);
    EXPECT_EQ(got.attachments[1].encoding, 4);
    EXPECT_EQ(got.attachments[2].encoding, 4);
}

TEST(MimeWalk, UnclosedBoundaryLeavesTheEndPending)
{
    std::string mail = kMixed + "--b\nContent-Type: text/plain\n\nvisible\n"
                                "--b\nContent-Type: application/pdf; name=a.pdf\n\nJVBER\nmore\n";
    Walked got = Walk(mail);
    ASSERT_EQ(got.attachments.size(), 1u);
    EXPECT_EQ(got.attachments[0].start, After(mail, "visible\n--b\n"));
    EXPECT_EQ(got.attachments[0].end, 0);
    EXPECT_TRUE(Has(got.text, "visible"));
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
    got = Walk(kHeaders + "\n" + longLine + "\n");
    EXPECT_TRUE(got.inMemory);
    EXPECT_EQ(got.text, kHeaders + longLine + "\n");
}

TEST(MimeWalk, JapaneseTextSplitAcrossEncodedLinesJoins)
{
    // "あいうえお" in ISO-2022-JP, base64 cut after "あいう"; the line end after
    // Japanese text is taken off.
    std::string mail = kHeaders + "Content-Type: text/plain; charset=iso-2022-jp\n"
                                  "Content-Transfer-Encoding: base64\n\nGyRCJCIkJCQm\nJCgkKhsoQgo=\n";
    EXPECT_TRUE(Has(Walk(mail).text, "\xa4\xa2\xa4\xa4\xa4\xa6\xa4\xa8\xa4\xaa"));
    // EUC-JP bytes cut in the middle of a character by a soft line break.
    std::string qp = "Content-Transfer-Encoding: quoted-printable\n\n=A4=A2=A4=\n=A4=A4=A6\n";
    EXPECT_TRUE(Has(Walk(kHeaders + qp).text, "\xa4\xa2\xa4\xa4\xa4\xa6"));
}

TEST(MimeWalk, DeepNestingReachesTheInnermostPart)
{
    const int depth = 10000;
    std::string mail = kHeaders + "Mime-Version: 1.0\n", closings;
    for (int i = 0; i < depth; ++i) {
        const std::string b = "b" + std::to_string(i);
        mail += "Content-Type: multipart/mixed; boundary=\"" + b + "\"\n\nbefore " +
                std::to_string(i) + "\n--" + b + "\n";
        closings = "--" + b + "--\nafter " + std::to_string(i) + "\n" + closings;
    }
    const int start = int(mail.size());
    mail += "Content-Type: application/pdf; name=deep.pdf\n\nJVBER\n";
    const int end = int(mail.size());
    Walked got = Walk(mail + closings);
    EXPECT_EQ(got.attachments,
              (std::vector<Found>{{"deep.pdf", "application/pdf", start, end, 0}}));
    // Each level's closing line brings back the level below: its text is read.
    EXPECT_TRUE(Has(got.text, "after 0\n"));
    EXPECT_TRUE(Has(got.text, "after " + std::to_string(depth - 1) + "\n"));
    EXPECT_FALSE(Has(got.text, "JVBER"));
}

TEST(MimeWalk, AttachmentsPast128AreDropped)
{
    std::string many = kMixed;
    for (int i = 0; i < 300; ++i)
        many += "--b\nContent-Type: image/png; name=p" + std::to_string(i) + ".png\n\niVBOR\n";
    Walked got = Walk(many + "--b--\n");
    EXPECT_EQ(got.attachments.size(), 128u);
    EXPECT_EQ(got.attachments[127].name, "p127.png");
}

TEST(MimeWalk, ReusedRecordsStartClean)
{
    BaseTempDir dir;
    auto buf = std::make_unique<MEMBUF>();
    CMailInfo info;
    std::string first = dir.write("DF1", kHeaders + "\nbegin 644 a.bin\nend\n");
    ASSERT_TRUE(GetAttachmentInfo(first.c_str(), buf.get(), nullptr, &info));
    info.m_pAttach[0]->m_bTnef = true;
    info.m_pAttach[0]->AddFileName("old.txt", false);
    info.m_nAttachCount = 0;
    std::string second =
        dir.write("DF2", kHeaders + "Content-Type: message/rfc822; name=m.eml\n\nSubject: x\n\n");
    ASSERT_TRUE(GetAttachmentInfo(second.c_str(), buf.get(), nullptr, &info));
    ASSERT_EQ(info.m_nAttachCount, 1);
    EXPECT_EQ(info.m_pAttach[0]->m_nStart, int(kHeaders.size()));
    EXPECT_EQ(info.m_pAttach[0]->m_nEncoding, 0);
    EXPECT_FALSE(info.m_pAttach[0]->m_bTnef);
    EXPECT_EQ(info.m_pAttach[0]->m_pTnefHead, nullptr);
    EXPECT_FALSE(GetAttachmentInfo(dir.path("missing").c_str(), buf.get(), nullptr, &info));
}

TEST(MimeText, WriteToTempFileSpillsPast99999Bytes)
{
    BaseTempDir dir;
    auto buf = std::make_unique<MEMBUF>();
    buf->m_bInMemory = 1;
    buf->m_nLength = 0;
    std::string chunk(99999, 'a');
    FILE *file = std::fopen(dir.path("t").c_str(), "wb");
    WriteToTempFile(chunk.data(), int(chunk.size()), buf.get(), file);
    EXPECT_EQ(buf->m_bInMemory, 1);
    EXPECT_EQ(buf->m_nLength, 99999);
    WriteToTempFile("b", 1, buf.get(), file);
    EXPECT_EQ(buf->m_bInMemory, 0);
    WriteToTempFile("c", 1, buf.get(), file);
    std::fclose(file);
    EXPECT_EQ(ReadFile(dir.path("t")), chunk + "bc");
}

TEST(MimeText, TakeOffCRLFJoinsEastAsianLinesOnly)
{
    struct Row {
        std::string in, out;
    } rows[] = {
        {"ab\r\ncd\n", "ab\r\ncd\n"},
        {"\xa4\xa2\r\n\xa4\xa4\n", "\xa4\xa2\xa4\xa4"},
        {"\xa4\xa2\n\n", "\xa4\xa2"}, // both breaks: the rule looks two bytes back only
        {"\x8e\xb1\r\n", "\x8e\xb1"},
        {"\xa4\n", "\xa4\n"}, // too short: unchanged
    };
    for (const Row &row : rows) {
        std::string text = row.in;
        int length = int(text.size());
        TakeOffCRLF(&text[0], &length);
        EXPECT_EQ(text.substr(0, size_t(length)), row.out);
    }
    char line[] = "value\r\n";
    TakeOffLineEndCRLF(line);
    EXPECT_STREQ(line, "value");
}

TEST(MimeHeader, SmallReaders)
{
    char type[128];
    GetContentTypeString("Content-Type: text/plain; charset=x", type);
    EXPECT_STREQ(type, "text/plain");
    GetContentTypeString("Content-Type: application/x-tar\r\n", type);
    EXPECT_STREQ(type, "application/x-tar");
    GetContentTypeString(("Content-Type: " + std::string(300, 'z')).c_str(), type);
    EXPECT_EQ(std::string(type), std::string(127, 'z'));
    EXPECT_EQ(TransferEncodingOf("Content-Transfer-Encoding: BASE64"), 4);
    EXPECT_EQ(TransferEncodingOf("Content-Transfer-Encoding: x-unknown"), 0);
    bool digest = false;
    EXPECT_EQ(ContentClassOf("Content-Type: multipart/digest; boundary=x", &digest), CLASS_MULTIPART);
    EXPECT_TRUE(digest);
    EXPECT_EQ(ContentClassOf("Content-Type:image/gif", &digest), CLASS_TEXT);

    const std::string longBoundary(5000, 'q');
    _BOUNDLIST *top = AddBoundary(longBoundary.c_str(), nullptr, 1);
    EXPECT_EQ(top->m_szBoundary, longBoundary); // kept whole
    top = AddBoundary("inner", top, 0);
    EXPECT_STREQ(top->m_szBoundary, "inner");
    top = RemoveBoundary(top);
    EXPECT_EQ(top->m_bDigest, 1);
    RemoveAllBoundary(top);
    EXPECT_EQ(RemoveBoundary(nullptr), nullptr);
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
