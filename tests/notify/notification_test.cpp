// Notification mails captured by a test queue function: the queue record and
// its recipients, headers, body lines, Japanese texts, the three attachment
// types and a blocked file that is missing; each mail is also checked with
// Python's MIME parser (tests/notify/check_mime.py).
#include <ctime>
#include <memory>
#include <regex>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "mail/charset.h"
#include "mail/mail_info.h"
#include "mail/mime_walk.h"
#include "mail/temp_dir.h"
#include "notify/notification.h"
#include "notify/notify_globals.h"
#include "support/notify_fixtures.h"

namespace {

// What the host's queue received.
struct Queued {
    int calls = 0;
    std::string from;
    std::vector<std::string> recipients;
    bool reservedNull = false;
    std::string path;
    int flag1 = -1;
    int flag2 = -1;
    std::string mail;
};
Queued g_queued;

int capture_queue(ZWEnqueRecord *record)
{
    ++g_queued.calls;
    g_queued.from = record->from;
    g_queued.recipients.clear();
    for (char **r = record->recipients; *r; ++r)
        g_queued.recipients.push_back(*r);
    g_queued.reservedNull = !record->reserved1 && !record->reserved2;
    g_queued.path = record->path;
    g_queued.flag1 = record->flag1;
    g_queued.flag2 = record->flag2;
    g_queued.mail = ReadFile(record->path);
    return 0;
}

// The arguments of one notification; tests change what they need.
struct Args {
    const char *from = "Poster";
    const char *to = "admin@gw.example";
    const char *source = "alice@x.example";
    const char *destination = "bob@y.example";
    const char *message = "Please check your mail.";
    std::string blocked; // empty: null
    const char *policy = "Confidential";
    const char *rule = nullptr;
    const char *action = "Quarantine";
    NOTIFY_TYPE type = NOTIFY_NONE;
    const char *attachment = nullptr;
    const char *subject = "Spam mail warning notification!";
};

const char *kBlockedMail = "Received: from mx.x.example\r\n"
                           "From: alice@x.example\r\n"
                           "Subject: =?ISO-2022-JP?B?GyRCN29MPiVGJTklSBsoQg==?=\r\n"
                           "X-Other: =?UTF-8?B?w6k=?=\r\n"
                           "\r\n"
                           "The body.\r\n";

class NotificationTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        m_savedTemp = g_t_strTEMPDIR;
        g_t_strTEMPDIR = m_dir.path().substr(0, m_dir.path().size() - 1);
        m_savedLanguage = _language;
        m_savedKanji = _kanji;
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
        SendNotification(a.from, a.to, a.source, a.destination, a.message,
                         a.blocked.empty() ? nullptr : a.blocked.c_str(), "unused", a.policy,
                         a.rule, "unused", a.action, a.type, a.attachment, a.subject);
    }
    std::string blocked_file() const { return m_dir.file("DFI1234"); }
    // Keeps the captured mail for check_mime.py with its options (shell
    // quoted); run_python_checks checks them all in one run of python3.
    void check_with_python(const std::string &options)
    {
        const std::string mail = m_dir.file("checked" + std::to_string(m_checks.size()) + ".eml");
        WriteFile(mail, g_queued.mail);
        m_checks += "'" + mail + "' " + options + "\n";
    }
    // Empty when every kept mail passed.
    std::string run_python_checks()
    {
        const std::string list = m_dir.file("checks.txt");
        const std::string output = m_dir.file("checks.out");
        WriteFile(list, m_checks);
        const std::string command = "python3 " OV_SOURCE_DIR
                                    "/tests/notify/check_mime.py --batch '" +
                                    list + "' >'" + output + "' 2>&1";
        return std::system(command.c_str()) == 0 ? "" : "check_mime.py: " + ReadFile(output);
    }
    static bool python_available()
    {
        return std::system("python3 -c 'import email' >/dev/null 2>&1") == 0;
    }

    NotifyScratchDir m_dir;
    t_string m_savedTemp;
    int m_savedLanguage = 0;
    int m_savedKanji = 0;
    std::string m_checks;
};

// The part of the mail between the first and the second boundary line.
std::string text_part_body(const std::string &mail)
{
    const size_t start = mail.find("\r\n\r\n", mail.find("\r\n--"));
    const size_t end = mail.find("\r\n--", start);
    return mail.substr(start + 4, end == std::string::npos ? std::string::npos : end - start - 4);
}

TEST_F(NotificationTest, NothingHappensWithoutAQueueFunction)
{
    Enque_Mail = nullptr;
    send(Args());
    EXPECT_EQ(g_queued.calls, 0);
    EXPECT_EQ(m_dir.files(), std::vector<std::string>{"DFI1234"});
}

TEST_F(NotificationTest, QueueRecordAndRecipients)
{
    const std::string longAddress = std::string(120, 'a') + "@x.example";
    struct Row {
        std::string to;
        std::vector<std::string> expected;
    } rows[] = {
        {"admin@gw.example", {"admin@gw.example"}},
        {"admin@gw.example,boss@gw.example", {"admin@gw.example", "boss@gw.example"}},
        {"a@x.example,,b@y.example,", {"a@x.example", "b@y.example"}},
        {"a@x.example, b@y.example", {"a@x.example", " b@y.example"}},
        {longAddress, {longAddress.substr(0, 100)}},
        {"", {}},
    };
    for (const Row &row : rows) {
        Args args;
        args.to = row.to.c_str();
        send(args);
        EXPECT_EQ(g_queued.recipients, row.expected) << row.to;
        EXPECT_NE(g_queued.mail.find("\r\nTo: " + row.to + "\r\n"), std::string::npos) << row.to;
    }
    EXPECT_EQ(g_queued.calls, 6);
    EXPECT_EQ(g_queued.from, "Poster");
    EXPECT_TRUE(g_queued.reservedNull);
    EXPECT_EQ(g_queued.flag1, 1);
    EXPECT_EQ(g_queued.flag2, 0);
    EXPECT_EQ(g_queued.path.rfind(m_dir.path(), 0), 0u) << g_queued.path;
    EXPECT_EQ(m_dir.files().size(), 7u) << "the queued files stay for the host";
}

TEST_F(NotificationTest, HeadersOfAnAsciiNotification)
{
    const long before = static_cast<long>(time(nullptr));
    send(Args());
    const long after = static_cast<long>(time(nullptr));
    std::smatch m;
    ASSERT_TRUE(std::regex_search(
        g_queued.mail, m,
        std::regex(
            "^From: Poster\r\nTo: admin@gw.example\r\n"
            "Subject: Spam mail warning notification! \\(Confidential\\)\r\n"
            "Date: [A-Z][a-z]{2}, \\d\\d [A-Z][a-z]{2} \\d{4} \\d\\d:\\d\\d:\\d\\d [-+]\\d{4,}\r\n"
            "MIME-Version: 1.0\r\nContent-Type: multipart/mixed;\r\n"
            "\tboundary=\"----=_NextPart_000_(\\d+)_B78506032.R82506026\"\r\n\r\n"
            "This is a multi-part message in MIME format.\r\n\r\n"
            "------=_NextPart_000_\\1_B78506032.R82506026\r\n"
            "Content-Type: text/plain;\r\n\tcharset=\"iso-8859-1\"\r\n"
            "Content-Transfer-Encoding: 7bit\r\n\r\n")))
        << g_queued.mail;
    const long stamp = std::stol(m[1]);
    EXPECT_TRUE(stamp >= before && stamp <= after);
}

TEST_F(NotificationTest, BodyLines)
{
    const std::string head =
        "**************** Orvane Notification *****************\r\n\r\n"
        "The following mail was blocked since it contains sensitive content.\r\n\r\n"
        "Source mailbox: alice@x.example\r\n"
        "Destination mailbox(es): bob@y.example\r\n"
        "Policy: Confidential\r\n";
    const std::string tail = "******************* End of message *********************\r\n\r\n";
    struct Row {
        const char *rule;
        const char *attachment;
        const char *message;
        std::string middle;
    } rows[] = {
        {nullptr, nullptr, "", "Action: Quarantine\r\n\r\n"},
        {"subject contains \"offer\"", "price.xls", "Call the help desk.",
         "Rule: subject contains \"offer\"\r\nAttachment file name: price.xls\r\n"
         "Action: Quarantine\r\n\r\nCall the help desk.\r\n\r\n"},
        {"", nullptr, nullptr, "Action: Quarantine\r\n\r\n"},
    };
    for (const Row &row : rows) {
        Args args;
        args.rule = row.rule;
        args.attachment = row.attachment;
        args.message = row.message;
        send(args);
        EXPECT_EQ(text_part_body(g_queued.mail), head + row.middle + tail);
        EXPECT_EQ(g_queued.mail.substr(g_queued.mail.size() - tail.size()), tail)
            << "without an attachment the mail ends after its text part";
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
    EXPECT_NE(mail.find("\r\nSubject: =?ISO-2022-JP?B?"), std::string::npos) << mail;
    EXPECT_NE(mail.find("\tcharset=\"iso-2022-jp\"\r\n"), std::string::npos);
    EXPECT_NE(mail.find("Policy: \x1B$B%]%j%7!<\x1B(B\r\n"), std::string::npos);
    EXPECT_NE(mail.find("Attachment file name: \x1B$BE:IU\x1B(B.doc\r\n"), std::string::npos);
    for (unsigned char c : mail)
        ASSERT_LT(c, 0x80) << "the whole mail is 7-bit";
    if (!python_available())
        GTEST_SKIP() << "python3 not available";
    check_with_python("--parts text/plain --open-end --subject '警告 (ポリシー)' "
                      "--contains 'Policy: ポリシー' "
                      "--contains 'Attachment file name: 添付.doc'");
    EXPECT_EQ(run_python_checks(), "");
}

TEST_F(NotificationTest, AttachmentTypes)
{
    const std::string boundaryEnd = "_B78506032.R82506026--\r\n";
    struct Row {
        NOTIFY_TYPE type;
        int kanji;
        int language;
        std::string partHead; // from the part's Content-Type on
        std::string content;  // what follows the part's empty line
        const char *pythonOptions;
    } rows[] = {
        {NOTIFY_HEADER, CHARSET_EUC, LANG_JAPANESE,
         "Content-Type: text/plain;\r\n\tcharset=\"iso-8859-1\"\r\nContent-Transfer-Encoding: "
         "8bit\r\n",
         "Received: from mx.x.example\r\nFrom: alice@x.example\r\n"
         "Subject: \xB7\xEF\xCC\xBE\xA5\xC6\xA5\xB9\xA5\xC8\r\nX-Other: =?UTF-8?B?w6k=?=\r\n\r\n",
         "--parts text/plain,text/plain"},
        {NOTIFY_HEADER, CHARSET_SJIS, LANG_JAPANESE,
         "Content-Type: text/plain;\r\n\tcharset=\"shift_jis\"\r\nContent-Transfer-Encoding: "
         "8bit\r\n",
         "Received: from mx.x.example\r\nFrom: alice@x.example\r\n"
         "Subject: \x8C\x8F\x96\xBC\x83\x65\x83\x58\x83\x67\r\nX-Other: =?UTF-8?B?w6k=?=\r\n\r\n",
         "--parts text/plain,text/plain"},
        {NOTIFY_HEADER, CHARSET_EUC, LANG_CHINESE, // Japanese words stay as read
         "Content-Type: text/plain;\r\n\tcharset=\"iso-8859-1\"\r\nContent-Transfer-Encoding: "
         "7bit\r\n",
         std::string(kBlockedMail, std::string(kBlockedMail).find("\r\n\r\n") + 2) + "\r\n",
         "--parts text/plain,text/plain"},
        {NOTIFY_MESSAGE, CHARSET_EUC, LANG_JAPANESE,
         "Content-Type: message/rfc822;\r\n\tname=\"Message\"\r\nContent-Transfer-Encoding: "
         "7bit\r\n",
         std::string(kBlockedMail) + "\r\n",
         "--parts text/plain,message/rfc822 --inner-subject "
         "'=?ISO-2022-JP?B?GyRCN29MPiVGJTklSBsoQg==?='"},
        {NOTIFY_MESSAGE_TEXT, CHARSET_EUC, LANG_JAPANESE,
         "Content-Type: text/plain;\r\n\tname=\"Message.txt\"\r\nContent-Transfer-Encoding: "
         "7bit\r\n",
         std::string(kBlockedMail) + "\r\n", "--parts text/plain,text/plain"},
    };
    for (const Row &row : rows) {
        _kanji = row.kanji;
        _language = row.language;
        Args args;
        args.type = row.type;
        args.blocked = blocked_file();
        send(args);
        const std::string &mail = g_queued.mail;
        const size_t part = mail.find("\r\n--", mail.find("End of message"));
        ASSERT_NE(part, std::string::npos) << row.type;
        const size_t head = mail.find("\r\n", part + 2) + 2;
        const size_t body = mail.find("\r\n\r\n", head) + 4;
        EXPECT_EQ(mail.substr(head, body - 2 - head), row.partHead) << row.type;
        ASSERT_GE(mail.size(), body + boundaryEnd.size());
        const size_t close = mail.rfind("------=_NextPart_000_");
        EXPECT_EQ(mail.substr(body, close - body), row.content) << row.type;
        EXPECT_EQ(mail.substr(mail.size() - boundaryEnd.size()), boundaryEnd);
        check_with_python(row.pythonOptions);
    }
    if (!python_available())
        GTEST_SKIP() << "python3 not available";
    EXPECT_EQ(run_python_checks(), "");
}

TEST_F(NotificationTest, MissingBlockedFileGivesOnlyTheTextPart)
{
    for (NOTIFY_TYPE type : {NOTIFY_HEADER, NOTIFY_MESSAGE, NOTIFY_MESSAGE_TEXT, NOTIFY_NONE}) {
        Args args;
        args.type = type;
        args.blocked = m_dir.file("DFmissing");
        send(args);
        EXPECT_EQ(g_queued.mail.find("_B78506032.R82506026--"), std::string::npos) << type;
        const std::string tail = "******************* End of message *********************\r\n\r\n";
        EXPECT_EQ(g_queued.mail.substr(g_queued.mail.size() - tail.size()), tail) << type;
        check_with_python("--parts text/plain --open-end --subject "
                          "'Spam mail warning notification! (Confidential)' "
                          "--contains 'Source mailbox: alice@x.example'");
    }
    if (!python_available())
        GTEST_SKIP() << "python3 not available";
    EXPECT_EQ(run_python_checks(), "");
}

TEST_F(NotificationTest, TheMimeWalkFindsTheAttachedMessage)
{
    struct Row {
        NOTIFY_TYPE type;
        std::vector<std::string> attachments; // "name type"
    } rows[] = {
        {NOTIFY_NONE, {}},
        {NOTIFY_HEADER, {}},
        {NOTIFY_MESSAGE, {"Message message/rfc822"}},
        {NOTIFY_MESSAGE_TEXT, {"Message.txt text/plain"}},
    };
    for (const Row &row : rows) {
        Args args;
        args.type = row.type;
        args.blocked = blocked_file();
        send(args);
        auto text = std::make_unique<MEMBUF>();
        *text = MEMBUF();
        CMailInfo info;
        ASSERT_TRUE(GetAttachmentInfo(g_queued.path.c_str(), text.get(), nullptr, &info));
        // The walk lists an enclosed message again for its own headers, so
        // only the distinct entries are compared.
        std::vector<std::string> found;
        for (int i = 0; i < info.m_nAttachCount; ++i) {
            const std::string entry =
                std::string(info.m_pAttach[i]->m_szName) + " " + info.m_pAttach[i]->m_szContentType;
            if (found.empty() || found.back() != entry)
                found.push_back(entry);
        }
        EXPECT_EQ(found, row.attachments) << row.type;
        ASSERT_TRUE(text->m_bInMemory);
        EXPECT_NE(std::string(text->m_szData).find("Destination mailbox(es): bob@y.example"),
                  std::string::npos)
            << row.type;
    }
}

} // namespace
