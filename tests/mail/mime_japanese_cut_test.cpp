// Japanese body text whose base64 and quoted-printable lines end anywhere
// (inside an escape, after a lead byte) gives the same walk text.
#include <memory>
#include <string>

#include <gtest/gtest.h>

#include "mail/mime_walk.h"
#include "support/mail_japanese_text.h"
#include "support/mail_piece_file.h"
#include "support/plugin_mail_corpus.h"

namespace {

const char *const kKeyword = "\xb2\xf1\xb5\xc4";   // 会議 in EUC-JP

std::string WalkText(const std::string &mail)
{
    auto buf = std::make_unique<MEMBUF>();
    FILE *in = OpenPieceFile(mail, mail.size() + 1);
    WalkMail(in, long(mail.size()), buf.get(), nullptr, nullptr);
    std::fclose(in);
    return std::string(buf->m_szData, size_t(buf->m_nLength));
}

// The text of the body alone: the walk's text less that of the headers.
std::string BodyText(const std::string &charset, const std::string &encoding,
                     const std::string &body)
{
    std::string headers = WalkText(JapaneseMail(charset, encoding, ""));
    std::string text = WalkText(JapaneseMail(charset, encoding, body));
    EXPECT_EQ(text.compare(0, headers.size(), headers), 0);
    return text.substr(headers.size());
}

std::string Euc(const char *utf8) { return PluginConvert(utf8, "EUC-JP"); }

// One line encoded whole, then cut in two at every byte.
void ExpectEveryCutGivesTheWholeText(const JapaneseCode &code, const std::string &euc)
{
    SCOPED_TRACE(code.charset);
    std::string line = JapaneseIn(code.iconvName, euc);
    std::string base64 = BodyText(code.charset, "base64", Base64Line(line) + "\r\n");
    EXPECT_EQ(WithoutLineBreaks(base64), WithoutLineBreaks(euc));
    EXPECT_NE(base64.find(kKeyword), std::string::npos);
    for (size_t cut = 1; cut < line.size(); ++cut) {
        std::string body =
            Base64Line(line.substr(0, cut)) + "\r\n" + Base64Line(line.substr(cut)) + "\r\n";
        ASSERT_EQ(BodyText(code.charset, "base64", body), base64)
            << "base64 cut after byte " << cut;
    }
    std::string qpLine = QpLines(line);
    std::string qp = BodyText(code.charset, "quoted-printable", qpLine);
    EXPECT_EQ(qp, base64);
    for (size_t cut : QpCutPlaces(qpLine)) {
        std::string body = qpLine.substr(0, cut) + "=\r\n" + qpLine.substr(cut);
        ASSERT_EQ(BodyText(code.charset, "quoted-printable", body), qp)
            << "quoted-printable cut at " << cut;
    }
}

TEST(JapaneseBodyCut, EveryCutOfALineGivesTheWholeLine)
{
    const char *const lines[] = {
        u8"会議は明日の午後三時です。see you、よろしく\r\n",
        u8"鰻丼と鮪の刺身、鱈の煮付けを会議室で\r\n", // Shift_JIS lead bytes from 0xE0
    };
    for (const JapaneseCode &code : kJapaneseCodes)
        for (const char *line : lines)
            ExpectEveryCutGivesTheWholeText(code, Euc(line));
    for (const JapaneseCode &code : {kJapaneseCodes[1], kJapaneseCodes[2]}) // no ISO-2022-JP kana
        ExpectEveryCutGivesTheWholeText(code, Euc(u8"ｶｲｷﾞ会議ｶﾅ\r\n"));
}

TEST(JapaneseBodyCut, LinesLongerThanTheWalkHoldsStayWhole)
{
    // The walk decodes such a line in pieces; the prefix moves their ends over
    // every byte, and after 4090 ASCII bytes an ASCII piece meets an escape.
    std::string unit = Euc(u8"会議の資料 abc、");
    std::string mixed;
    while (mixed.size() < 6000)
        mixed += unit;
    std::string asciiFirst = std::string(4090, 'a') + mixed;
    for (const JapaneseCode &code : kJapaneseCodes) {
        SCOPED_TRACE(code.charset);
        for (int prefix = 0; prefix < 90; ++prefix) {
            const std::string &words = prefix < 45 ? mixed : asciiFirst;
            std::string euc = std::string(size_t(prefix % 45), 'p') + words + "\r\n";
            std::string bytes = JapaneseIn(code.iconvName, euc);
            for (const char *encoding : {"base64", "quoted-printable"}) {
                std::string body = encoding[0] == 'b' ? Base64Body(bytes) : QpBody(bytes);
                ASSERT_TRUE(WithoutLineBreaks(BodyText(code.charset, encoding, body)) ==
                            WithoutLineBreaks(euc))
                    << encoding << ", prefix " << prefix;
            }
        }
    }
}

} // namespace
