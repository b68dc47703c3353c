// Notification mails captured by a test queue function: the queue record,
// recipients, headers, body lines, attachment types, Japanese texts and the
// time stamp of the Date header.
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <regex>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "mail/charset.h"
#include "mail/temp_dir.h"
#include "notify/notification.h"
#include "notify/notify_globals.h"
#include "notify/time_stamp.h"
#include "support/notify_fixtures.h"

namespace {

// What the host's queue received (the record's fixed fields in one line).
struct Queued {
    int calls = 0;
    std::string record, path, mail;
    std::vector<std::string> recipients;
} g_queued;

int capture_queue(ZWEnqueRecord *record)
{
    ++g_queued.calls;
    g_queued.record = std::string(record->from) + " flags=" + std::to_string(record->flag1) +
                      std::to_string(record->flag2) +
                      (record->reserved1 || record->reserved2 ? " reserved" : "");
    g_queued.recipients.clear();
    for (char **r = record->recipients; *r; ++r)
        g_queued.recipients.push_back(*r);
    g_queued.path = record->path;
    g_queued.mail = ReadFile(record->path);
    return 0;
}

struct Args {
    const char *to = "admin@gw.example", *message = "Please check your mail.";
    std::string blocked; // empty: null
    const char *policy = "Confidential", *rule = nullptr, *attachment = nullptr;
    const char *subject = "Spam mail warning notification!";
    NOTIFY_TYPE type = NOTIFY_NONE;
};

const char kBlockedMail[] = "Received: from mx.x.example\r\nFrom: alice@x.example\r\n"
                            "Subject: =?ISO-2022-JP?B?GyRCN29MPiVGJTklSBsoQg==?=\r\n"
                            "X-Other: =?UTF-8?B?w6k=?=\r\n\r\nThe body.\r\n";
const std::string kTail = "******************* End of message *********************\r\n\r\n";
const std::string kClose = "_B78506032.R82506026--\r\n"; // the closing boundary's end

class NotificationTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        g_t_strTEMPDIR = m_dir.path().substr(0, m_dir.path().size() - 1);
        _language = LANG_JAPANESE;
        _kanji = CHARSET_EUC;
        Enque_Mail = &capture_queue;
        g_queued = Queued();
        WriteFile(m_dir.file("DFI1234"), kBlockedMail);
    }
    void TearDown() override
    {
        Enque_Mail = nullptr;
        g_t_strTEMPDIR = m_savedTemp;
        _language = m_savedLanguage;
        _kanji = m_savedKanji;
    }
    void send(const Args &a)
    {
        SendNotification("Poster", a.to, "alice@x.example", "bob@y.example", a.message,
                         a.blocked.empty() ? nullptr : a.blocked.c_str(), "unused", a.policy,
                         a.rule, "unused", "Quarantine", a.type, a.attachment, a.subject);
    }

    NotifyScratchDir m_dir;
    const t_string m_savedTemp = g_t_strTEMPDIR;
    const int m_savedLanguage = _language, m_savedKanji = _kanji;
};

TEST_F(NotificationTest, QueueRecordAndRecipients)
{
    const std::string longAddress = std::string(120, 'a') + "@x.example";
    const std::pair<std::string, std::vector<std::string>> rows[] = {
        {"admin@gw.example,boss@gw.example", {"admin@gw.example", "boss@gw.example"}},
        {"a@x.example,,b@y.example,", {"a@x.example", "b@y.example"}},
        {"a@x.example, b@y.example", {"a@x.example", " b@y.example"}},
        {longAddress, {longAddress.substr(0, 100)}},
        {"", {}},
    };
    for (const auto &row : rows) {
        Args args;
        args.to = row.first.c_str();
        send(args);
        EXPECT_EQ(g_queued.recipients, row.second) << row.first;
        EXPECT_NE(g_queued.mail.find("\r\nTo: " + row.first + "\r\n"), std::string::npos);
    }
    EXPECT_EQ(g_queued.calls, 5);
    EXPECT_EQ(g_queued.record, "Poster flags=10");
    EXPECT_EQ(g_queued.path.rfind(m_dir.path(), 0), 0u) << g_queued.path;
    EXPECT_EQ(m_dir.files().size(), 6u) << "the queued files stay for the host";
    Enque_Mail = nullptr; // without a queue function nothing happens
    send(Args());
    EXPECT_EQ(g_queued.calls, 5);
    EXPECT_EQ(m_dir.files().size(), 6u);
}

// The whole mail: headers, body lines and the blocked mail attached in each
// form; a missing blocked file attaches nothing.
TEST_F(NotificationTest, HeadersAndBodyLines)
{
    const std::string head =
        "**************** Orvane Notification *****************\r\n\r\n"
        "The following mail was blocked since it contains sensitive content.\r\n\r\n"
        "Source mailbox: alice@x.example\r\nDestination mailbox(es): bob@y.example\r\n"
        "Policy: Confidential\r\n";
    const std::string action = "Action: Quarantine\r\n\r\n", part = "Content-Type: text/plain;\r\n\t";
    const std::string headerLines = "Received: from mx.x.example\r\nFrom: alice@x.example\r\n";
    const struct {
        const char *rule, *attachment, *message;
        NOTIFY_TYPE type;
        std::string middle, attached = ""; // attached: the blocked mail's part, "" missing
        int kanji = CHARSET_EUC, language = LANG_JAPANESE;
    } rows[] = {
        {nullptr, nullptr, "", NOTIFY_NONE, action},
        {"subject contains \"offer\"", "price.xls", "Call the help desk.", NOTIFY_NONE,
         "Rule: subject contains \"offer\"\r\nAttachment file name: price.xls\r\n"
         "Action: Quarantine\r\n\r\nCall the help desk.\r\n\r\n"},
        {"", nullptr, nullptr, NOTIFY_NONE, action},
        {nullptr, nullptr, "", NOTIFY_HEADER, action},
        {nullptr, nullptr, "", NOTIFY_MESSAGE, action},
        {nullptr, nullptr, "", NOTIFY_MESSAGE_TEXT, action},
        {nullptr, nullptr, "", NOTIFY_HEADER, action,
         part + "charset=\"iso-8859-1\"\r\nContent-Transfer-Encoding: 8bit\r\n\r\n" + headerLines +
             "Subject: \xB7\xEF\xCC\xBE\xA5\xC6\xA5\xB9\xA5\xC8\r\nX-Other: =?UTF-8?B?w6k=?=\r\n\r\n"},
        {nullptr, nullptr, "", NOTIFY_HEADER, action,
         part + "charset=\"shift_jis\"\r\nContent-Transfer-Encoding: 8bit\r\n\r\n" + headerLines +
             "Subject: \x8C\x8F\x96\xBC\x83\x65\x83\x58\x83\x67\r\nX-Other: =?UTF-8?B?w6k=?=\r\n\r\n",
         CHARSET_SJIS},
        {nullptr, nullptr, "", NOTIFY_HEADER, action, // Japanese words stay as read
         part + "charset=\"iso-8859-1\"\r\nContent-Transfer-Encoding: 7bit\r\n\r\n" +
             std::string(kBlockedMail, std::string(kBlockedMail).find("\r\n\r\n") + 2) + "\r\n",
         CHARSET_EUC, LANG_CHINESE},
        {nullptr, nullptr, "", NOTIFY_MESSAGE, action,
         "Content-Type: message/rfc822;\r\n\tname=\"Message\"\r\nContent-Transfer-Encoding: "
         "7bit\r\n\r\n" + std::string(kBlockedMail) + "\r\n"},
        {nullptr, nullptr, "", NOTIFY_MESSAGE_TEXT, action,
         part + "name=\"Message.txt\"\r\nContent-Transfer-Encoding: 7bit\r\n\r\n" +
             std::string(kBlockedMail) + "\r\n"},
    };
    const std::regex headers(
        "From: Poster\r\nTo: admin@gw.example\r\n"
        "Subject: Spam mail warning notification! \\(Confidential\\)\r\n"
        "Date: [A-Z][a-z]{2}, \\d\\d [A-Z][a-z]{2} \\d{4} \\d\\d:\\d\\d:\\d\\d [-+]\\d{4,}\r\n"
        "MIME-Version: 1.0\r\nContent-Type: multipart/mixed;\r\n"
        "\tboundary=\"----=_NextPart_000_(\\d+)_B78506032.R82506026\"\r\n\r\n"
        "This is a multi-part message in MIME format.\r\n\r\n"
        "------=_NextPart_000_\\1_B78506032.R82506026\r\n"
        "Content-Type: text/plain;\r\n\tcharset=\"iso-8859-1\"\r\n"
        "Content-Transfer-Encoding: 7bit\r\n\r\n([\\s\\S]*)");
    for (const auto &row : rows) {
        SCOPED_TRACE(std::to_string(row.type) + " " + row.attached);
        _kanji = row.kanji;
        _language = row.language;
        Args args;
        args.rule = row.rule;
        args.attachment = row.attachment;
        args.message = row.message;
        if ((args.type = row.type) != NOTIFY_NONE)
            args.blocked = m_dir.file(row.attached.empty() ? "DFmissing" : "DFI1234");
        const long before = static_cast<long>(time(nullptr));
        send(args);
        std::smatch m;
        ASSERT_TRUE(std::regex_match(g_queued.mail, m, headers)) << g_queued.mail;
        const long stamp = std::stol(m[1]);
        EXPECT_TRUE(stamp >= before && stamp <= static_cast<long>(time(nullptr)));
        const std::string boundary = "------=_NextPart_000_" + m[1].str() + kClose;
        EXPECT_EQ(m[2].str(), head + row.middle + kTail +
                                  (row.attached.empty() ? ""
                                                        : boundary.substr(0, boundary.size() - 4) +
                                                              "\r\n" + row.attached + boundary));
    }
}

TEST_F(NotificationTest, JapaneseSubjectAndTexts)
{
    Args args;
    args.subject = "\xB7\xD9\xB9\xF0";                // "warning"
    args.policy = "\xA5\xDD\xA5\xEA\xA5\xB7\xA1\xBC"; // "policy"
    args.attachment = "\xC5\xBA\xC9\xD5.doc";         // "attached.doc"
    send(args);
    const std::string &mail = g_queued.mail;
    for (const char *piece : {"\r\nSubject: =?ISO-2022-JP?B?GyRCN1k5cBsoQg==?= "
                              "(=?ISO-2022-JP?B?GyRCJV0laiU3ITwbKEI=?=)\r\n",
                              "\tcharset=\"iso-2022-jp\"\r\n", "Policy: \x1B$B%]%j%7!<\x1B(B\r\n",
                              "Attachment file name: \x1B$BE:IU\x1B(B.doc\r\n"})
        EXPECT_NE(mail.find(piece), std::string::npos) << piece << "\n" << mail;
    for (unsigned char c : mail)
        ASSERT_LT(c, 0x80) << "the whole mail is 7-bit";
}

// portwallTimeStamp, the Date header, and IsDST in several zones (POSIX TZ
// strings, so no zone database is needed; ",0/0,J365/25" keeps daylight
// saving in force all year).
const char kFormat[] = "%a, %d %b %Y %H:%M:%S"; // the zone follows

TEST(TimeStamp, LocalTimeAndZoneSuffixCutAtMaxLen)
{
    const struct {
        const char *zone;
        bool dst;
        std::string suffix;
        int maxLen;
    } rows[] = {
        {"EST5", false, " -0500", 255},               // five hours west
        {"EST5EDT,0/0,J365/25", true, " -0400", 255}, // the same with daylight saving
        {"JST-9", false, " +0900", 255},
        {"CET-1CEST,0/0,J365/25", true, " +0200", 255}, // east: one hour more
        {"IST-5:30", false, " +0500", 255},             // the half hour is not shown
        {"NST3:30NDT,0/0,J365/25", true, " -0200", 255},
        {"UTC0", false, " -0000", 255},
        // At UTC with daylight saving the hour 0 - 1 wraps through an unsigned field.
        {"GMT0BST,0/0,J365/25", true, " -429496729500", 255},
        {"EST5", false, " -0500", 0},  {"EST5", false, " -0500", 1},
        {"EST5", false, " -0500", 5},  {"EST5", false, " -0500", 16},
        {"EST5", false, " -0500", 25}, {"EST5", false, " -0500", 31},
    };
    const char *zone = std::getenv("TZ");
    const std::string savedZone = zone ? zone : "";
    for (const auto &row : rows) {
        SCOPED_TRACE(std::string(row.zone) + " " + std::to_string(row.maxLen));
        setenv("TZ", row.zone, 1);
        tzset();
        EXPECT_EQ(IsDST(), row.dst);
        char text[300];
        std::memset(text, '#', sizeof text);
        const std::string before = NotifyLocalNow(kFormat) + row.suffix;
        EXPECT_EQ(portwallTimeStamp(text, row.maxLen), 0);
        const std::string after = NotifyLocalNow(kFormat) + row.suffix;
        const size_t length = static_cast<size_t>(row.maxLen);
        EXPECT_TRUE(before.substr(0, length) == text || after.substr(0, length) == text) << text;
        EXPECT_EQ(text[row.maxLen + 1], '#') << "wrote past maxLen + 1 bytes";
    }
    EXPECT_EQ(portwallTimeStamp(nullptr, 10), 0);
    zone ? setenv("TZ", savedZone.c_str(), 1) : unsetenv("TZ");
    tzset();
}

} // namespace
