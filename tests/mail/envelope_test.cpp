// The envelope file read into CMailInfo, value decoding and the recipient list.
#include <gtest/gtest.h>

#include <cstring>
#include <random>
#include <string>
#include <vector>

#include "mail/charset.h"
#include "mail/envelope.h"
#include "mail/mail_info.h"
#include "mail/mail_list.h"
#include "support/base_temp_dir.h"

namespace {

// "日本" as an ISO-2022-JP encoded word, and in EUC-JP (the host code).
const char kEncodedNihon[] = "=?ISO-2022-JP?B?GyRCRnxLXBsoQg==?=";
const char kEucNihon[] = "\xC6\xFC\xCB\xDC";

// From, To, Cc, Reply-To, Subject, envelope from and to, A, received text and time.
std::string Read(const CMailInfo &info)
{
    std::string out;
    for (const std::string *field : {&info.m_strFrom, &info.m_strTo, &info.m_strCc, &info.m_strReplyTo,
                                  &info.m_strSubject, &info.m_strEnvelopeFrom, &info.m_strEnvelopeTo,
                                  &info.m_strA, &info.m_strReceivedTime})
        out += *field + "|";
    return out + std::to_string(info.m_lReceivedTime);
}

TEST(ParseAFInfo, StoresEachLetterInBothModes)
{
    const std::string all = "F<s@x>\nT<r@y>\nO<o@x>\nD<d@y>\nC<c@z>\nP<p@x>\nSHello\nAextra\nR1039410000\n";
    struct Row {
        const char *what;
        std::string af;
        bool raw;
        std::string expected;
    } rows[] = {
        {"every letter, raw", all, true, "<o@x>|<d@y>|<c@z>|<p@x>|Hello|<s@x>|<r@y>|extra|1039410000|1039410000"},
        {"every letter, stripped", all, false, "o@x|d@y|c@z|p@x|Hello|s@x|r@y|extra|1039410000|1039410000"},
        {"later lines win", "SFirst\nSSecond\nT<a>\nT<b>\n", true, "||||Second||<b>|||0"},
        {"trailing blanks and CR LF trimmed", "SHi there \t\r\nO<o@x>  \r\n", false, "o@x||||Hi there|||||0"},
        {"one-sided brackets", "O<o@x\nD d@y>\n", false, "o@x| d@y||||||||0"},
        {"empty brackets skipped when stripping", "T<>\nT<\nT>\n", false, "|||||||||0"},
        {"empty brackets kept raw", "T<>\n", true, "||||||<>|||0"},
        {"unknown letters and short lines ignored", "X1\nsLower\nS\n\nBvalue\nQ\n", true, "|||||||||0"},
        {"received time is a decimal prefix", "R12abc\n", true, "||||||||12abc|12"},
        {"encoded subject decoded to the host code", std::string("S") + kEncodedNihon + "\n", false,
         std::string("||||") + kEucNihon + "|||||0"},
        {"encoded word inside brackets", std::string("O<") + kEncodedNihon + ">\n", false,
         kEucNihon + std::string("|||||||||0")},
    };
    for (const Row &row : rows) {
        BaseTempDir dir;
        CMailInfo info;
        EXPECT_TRUE(info.ParseAFInfo(dir.write("AFI1", row.af).c_str(), row.raw));
        EXPECT_EQ(Read(info), row.expected) << row.what;
    }
}

// The plain-value fast path against the full decoding, in every host setting.
TEST(DecodeValue, PlainFastPathGivesTheFullDecoding)
{
    const std::string alphabet("a=?B$(~ \t\x1b\x0e\x0f\x80\xa4\0Q_", 17);
    std::mt19937 random(1342);
    std::vector<std::string> values = {"Status report", "x=\x1b$B", kEncodedNihon};
    for (int i = 0; i < 3000; ++i) {
        values.emplace_back(random() % 14, ' ');
        for (char &c : values.back())
            c = alphabet[random() % alphabet.size()];
    }
    const int savedKanji = _kanji, savedLanguage = _language;
    size_t plain = 0;
    for (int kanji : {CHARSET_PLAIN, CHARSET_JIS, CHARSET_SJIS, CHARSET_EUC, CHARSET_ISO2022CN})
        for (int language : {LANG_OTHER, LANG_JAPANESE, LANG_CHINESE, LANG_TAIWAN}) {
            _kanji = kanji;
            _language = language;
            for (const std::string &value : values) {
                plain += envelope::IsPlainValue(value);
                ASSERT_EQ(envelope::DecodeEncodedValue(value), envelope::DecodeValue(value))
                    << kanji << " " << language << " [" << value << "]";
            }
        }
    _kanji = savedKanji;
    _language = savedLanguage;
    EXPECT_GT(plain, values.size());   // the fast path was taken often
    EXPECT_FALSE(envelope::IsPlainValue(std::string("a\0b", 3)));   // c_str() would cut it
}

TEST(CMailList, KeepsEachRecipientOnceInEnvelopeOrder)
{
    struct {
        const char *af;
        const char *list; // null: no list
    } rows[] = {
        {"T<a@x>\nT<b@x>\nT<a@x>\n", "<a@x>,<b@x>"},
        {"T<a@x>  \r\nT<A@x>\n", "<a@x>,<A@x>"}, // case matters
        {"T\nT \nF<s@x>\n", nullptr},
    };
    for (const auto &row : rows) {
        BaseTempDir dir;
        CMailList list;
        list.GatherMailList(dir.write("AF", row.af).c_str());
        EXPECT_STREQ(list.GetListString(), row.list) << row.af;
        EXPECT_EQ(list.QueryListLen(), row.list ? int(std::strlen(row.list)) + 1 : 0) << row.af;
    }
}

} // namespace
