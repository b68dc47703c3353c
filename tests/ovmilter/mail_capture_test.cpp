// One mail captured into the spool: the data and envelope files, the pair's
// names and removal, the spool's lock and its stale pairs.
#include "tools/ovmilter/mail_capture.h"

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include "mail/mail_info.h"
#include "support/base_temp_dir.h"

namespace {

// "日本" as an ISO-2022-JP encoded word; the plug-in reads it in EUC-JP.
const char kEncodedNihon[] = "=?ISO-2022-JP?B?GyRCRnxLXBsoQg==?=";

std::unique_ptr<MailCapture> Start(const std::string &spool, const std::string &id,
                                   bool outbound = false)
{
    std::string error;
    auto mail =
        MailCapture::start(spool, id, outbound, "<alice@partner.example>", 1054599164, &error);
    EXPECT_TRUE(mail) << error;
    return mail;
}

TEST(MailCapture, WritesTheDataAndEnvelopeFiles)
{
    BaseTempDir spool;
    auto mail = Start(spool.dir(), "0001");
    ASSERT_TRUE(mail);
    std::string error;
    mail->add_recipient("<bob@corp.example>");
    mail->add_recipient(" carol@corp.example ");
    const std::pair<const char *, std::string> headers[] = {
        {"From", std::string(kEncodedNihon) + " <ja@partner.example>"}, {"To", "bob@corp.example"},
        {"Cc", "carol@corp.example"}, {"Reply-To", "<help@partner.example>"},
        {"Subject", "Quarterly\n\tfigures"}, {"Content-Type", "text/plain"}};
    for (const auto &header : headers)
        ASSERT_TRUE(mail->add_header(header.first, header.second, &error)) << error;
    ASSERT_TRUE(mail->end_headers(&error));
    ASSERT_TRUE(mail->add_body("line one\r\nli", 12, &error));
    ASSERT_TRUE(mail->add_body("ne two\r\n", 8, &error));
    ASSERT_TRUE(mail->finish(&error)) << error;

    EXPECT_EQ(ReadFile(mail->pair().dfPath),
              std::string("From: ") + kEncodedNihon +
                  " <ja@partner.example>\r\n"
                  "To: bob@corp.example\r\nCc: carol@corp.example\r\n"
                  "Reply-To: <help@partner.example>\r\nSubject: Quarterly\r\n\tfigures\r\n"
                  "Content-Type: text/plain\r\n\r\nline one\r\nline two\r\n");
    EXPECT_EQ(ReadFile(mail->pair().afPath),
              std::string("F<alice@partner.example>\nT<bob@corp.example>\nT<carol@corp.example>\n"
                          "O") +
                  kEncodedNihon +
                  " <ja@partner.example>\n"
                  "Dbob@corp.example\nCcarol@corp.example\nP<help@partner.example>\n"
                  "SQuarterly figures\nR1054599164\n");

    CMailInfo info; // as the plug-in reads it (raw, as its pipeline does)
    info.ParseAFInfo(mail->pair().afPath.c_str(), true);
    EXPECT_EQ(info.m_strEnvelopeFrom + "|" + info.m_strEnvelopeTo + "|" + info.m_strFrom + "|" +
                  info.m_strTo + "|" + info.m_strCc + "|" + info.m_strReplyTo + "|" +
                  info.m_strSubject + "|" + std::to_string(info.m_lReceivedTime),
              "<alice@partner.example>|<carol@corp.example>|\xC6\xFC\xCB\xDC <ja@partner.example>|"
              "bob@corp.example|carol@corp.example|<help@partner.example>|Quarterly figures|"
              "1054599164"); // the last T line is the envelope's recipient
}

// Renamed by the MTA's queue id until the envelope is written; a name in
// use, even by an envelope alone, is never taken over.
TEST(MailCapture, NamesThePairAndRemovesItWhenDestroyed)
{
    BaseTempDir spool;
    spool.write("AFI4Q_3", "left by someone\n");
    const struct {
        const char *spoolId;
        bool outbound, finished;
        const char *queueId, *af; // the data file's name starts with "D"
    } rows[] = {
        {"43", true, true, nullptr, "AFO43"},  {"44", true, false, nullptr, "AFO44"}, // unfinished
        {"a1", false, true, "4Q", "AFI4Q"},    {"a2", false, true, "4Q", "AFI4Q_2"},
        {"a3", false, true, "4Q", "AFI4Q_4"},  {"a4", true, true, "4Q", "AFO4Q"},
    };
    std::vector<std::unique_ptr<MailCapture>> mails;
    for (const auto &row : rows) {
        SCOPED_TRACE(row.spoolId);
        auto mail = Start(spool.dir(), row.spoolId, row.outbound);
        ASSERT_TRUE(mail);
        const std::string df = "D" + std::string(row.af + 1);
        std::string error;
        ASSERT_TRUE(mail->add_header("Subject", row.spoolId, &error));
        EXPECT_TRUE(!row.queueId || mail->rename_pair(row.queueId));
        ASSERT_TRUE(mail->add_body("body\r\n", 6, &error)) << error;
        EXPECT_EQ(mail->pair().afPath + "|" + mail->pair().dfPath,
                  spool.path(row.af) + "|" + spool.path(df));
        if (row.finished) {
            ASSERT_TRUE(mail->finish(&error)) << error;
            EXPECT_EQ(ReadFile(spool.path(df)), std::string("Subject: ") + row.spoolId + "\r\n\r\nbody\r\n");
            EXPECT_FALSE(mail->rename_pair("later")) << "the envelope is written";
        }
        EXPECT_EQ(FileExists(spool.path(row.af)), row.finished);
        EXPECT_EQ(FileExists(spool.path(std::string("DF") + (row.outbound ? "O" : "I") + row.spoolId)),
                  !row.queueId);
        mails.push_back(std::move(mail));
    }
    std::string error;
    ASSERT_EQ(link(mails[2]->pair().dfPath.c_str(), spool.path("held").c_str()), 0);
    mails.clear();
    EXPECT_EQ(ReadFile(spool.path("held")), "Subject: a1\r\n\r\nbody\r\n") << "a linked file stays whole";
    for (const std::string &file : spool.files()) // emptied for the next pairs
        EXPECT_TRUE(file == "AFI4Q_3" || file == "held" || ReadFile(spool.path(file)).empty()) << file;

    // A pair made of spare files holds only its own mail.
    auto next = Start(spool.dir(), "n1");
    ASSERT_TRUE(next && next->add_body("b\r\n", 3, &error) && next->finish(&error)) << error;
    EXPECT_EQ(ReadFile(next->pair().dfPath) + ReadFile(next->pair().afPath),
              "\r\nb\r\nF<alice@partner.example>\nR1054599164\n");
    next.reset();
    EXPECT_EQ(remove_stale_pairs(spool.dir()), 1);
    EXPECT_EQ(spool.files(), std::vector<std::string>{"held"});
}

TEST(MailCapture, TheSpoolIsNeverShared)
{
    BaseTempDir spool;
    std::string error;
    EXPECT_FALSE(MailCapture::start(spool.path("missing"), "1", false, "<a@b>", 0, &error));
    EXPECT_NE(error.find(spool.path("missing") + "/DFI1: No such file"), std::string::npos) << error;
    auto first = Start(spool.dir(), "7");
    error.clear();
    EXPECT_FALSE(MailCapture::start(spool.dir(), "7", false, "<a@b>", 0, &error));
    EXPECT_FALSE(error.empty());
    EXPECT_TRUE(FileExists(spool.path("DFI7")));

    BaseTempDir stale;
    stale.write("AFI1", "F<a@b>\n");
    stale.write("DFI1", "Subject: x\r\n\r\n");
    stale.write("AFO2", "F<a@b>\n"); // its data file never came
    stale.write("DFO3", "Subj");     // cut off before its envelope
    stale.write("notes.txt", "kept");
    EXPECT_EQ(remove_stale_pairs(stale.dir()), 4);
    EXPECT_EQ(stale.files(), std::vector<std::string>{"notes.txt"});

    ASSERT_TRUE(lock_spool(spool.dir(), &error)) << error;
    pid_t child = fork(); // a second daemon on the same spool
    if (child == 0)
        _exit(lock_spool(spool.dir(), &error) ? 1 : error.find("in use") != std::string::npos ? 0 : 2);
    int status = 0;
    waitpid(child, &status, 0);
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0);
    EXPECT_FALSE(lock_spool(spool.dir() + "/missing", &error));
}

TEST(MailCapture, AddressesAndLineBreaks)
{
    const std::pair<const char *, const char *> addresses[] = {
        {"<a@b>", "a@b"}, {" <a@b> ", "a@b"}, {"a@b", "a@b"},   {"<>", ""},
        {"", ""},         {" \t", ""},        {"<a@b", "<a@b"}, {"a@b>", "a@b>"},
    };
    for (const auto &row : addresses)
        EXPECT_EQ(strip_angle_brackets(row.first), row.second) << row.first;
    // No value may start a header field or end the header block.
    const std::pair<const char *, const char *> values[] = {
        {"one", "one"},   {"a\n\tb", "a\r\n\tb"}, {"a\r\n\tb", "a\r\n\tb"},
        {"end\n", "end"}, {"end\r\n\r\n", "end"}, {"\n", ""},
        {"a\r\tb", "a \tb"}, {"a\rContent-Type: text/plain", "a Content-Type: text/plain"},
        {"a\nX-Forged: 1", "a\r\n X-Forged: 1"}, {"a\n\n b", "a\r\n \r\n b"},
    };
    for (const auto &row : values)
        EXPECT_EQ(crlf_line_breaks(row.first), row.second) << row.first;
}

} // namespace
