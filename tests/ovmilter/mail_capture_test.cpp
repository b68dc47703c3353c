// One mail captured into the spool: the data file byte for byte, the
// envelope file as text and as the plug-in reads it, the pair's names by
// direction and by the MTA's queue id, the removal of the pair with the
// capture, and the envelope record of a quarantined copy.
#include "tools/ovmilter/mail_capture.h"

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <set>

#include "mail/mail_info.h"
#include "support/base_temp_dir.h"
#include "tools/hostkit/copy_record.h"
#include "tools/ovmilter/copy_record_note.h"

namespace {

// "日本" as an ISO-2022-JP encoded word, and in EUC-JP, the plug-in's host code.
const char kEncodedNihon[] = "=?ISO-2022-JP?B?GyRCRnxLXBsoQg==?=";
const char kEucNihon[] = "\xC6\xFC\xCB\xDC";

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
        {"From", std::string(kEncodedNihon) + " <ja@partner.example>"},
        {"To", "bob@corp.example"},
        {"Cc", "carol@corp.example"},
        {"Reply-To", "<help@partner.example>"},
        {"Subject", "Quarterly\n\tfigures"},
        {"Content-Type", "text/plain"}};
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
    EXPECT_EQ(mail->headers()[4].value, "Quarterly\r\n\tfigures");

    // ... and as the plug-in reads it (raw, as its pipeline does).
    CMailInfo info;
    info.ParseAFInfo(mail->pair().afPath.c_str(), true);
    EXPECT_EQ(info.m_strEnvelopeFrom, "<alice@partner.example>");
    EXPECT_EQ(info.m_strEnvelopeTo, "<carol@corp.example>"); // the last T line
    EXPECT_EQ(info.m_strFrom, std::string(kEucNihon) + " <ja@partner.example>");
    EXPECT_EQ(info.m_strTo + "|" + info.m_strCc + "|" + info.m_strReplyTo + "|" + info.m_strSubject,
              "bob@corp.example|carol@corp.example|<help@partner.example>|Quarterly figures");
    EXPECT_EQ(info.m_lReceivedTime, 1054599164);
}

// Named by direction, then by the MTA's queue id before the envelope is
// written (the data flows on into the renamed file; a name in use, even by
// an envelope alone, is never taken over); the pair goes with the capture.
TEST(MailCapture, NamesThePairAndRemovesItWhenDestroyed)
{
    BaseTempDir spool;
    spool.write("AFI4Q_3", "left by someone\n");
    const struct {
        const char *spoolId;
        bool outbound, finished;
        const char *queueId, *af, *df;
    } rows[] = {
        {"42", false, true, nullptr, "AFI42", "DFI42"},
        {"43", true, true, nullptr, "AFO43", "DFO43"},
        {"44", true, false, nullptr, "AFO44", "DFO44"}, // answered before its end
        {"a1", false, true, "4Q", "AFI4Q", "DFI4Q"},
        {"a2", false, true, "4Q", "AFI4Q_2", "DFI4Q_2"},
        {"a3", false, true, "4Q", "AFI4Q_4", "DFI4Q_4"},
        {"a4", true, true, "4Q", "AFO4Q", "DFO4Q"},
    };
    std::vector<std::unique_ptr<MailCapture>> mails;
    for (const auto &row : rows) {
        SCOPED_TRACE(row.spoolId);
        auto mail = Start(spool.dir(), row.spoolId, row.outbound);
        ASSERT_TRUE(mail);
        EXPECT_EQ(mail->outbound(), row.outbound);
        std::string error;
        ASSERT_TRUE(mail->add_header("Subject", row.spoolId, &error));
        if (row.queueId) {
            ASSERT_TRUE(mail->rename_pair(row.queueId));
        }
        ASSERT_TRUE(mail->add_body("body\r\n", 6, &error)) << error;
        EXPECT_EQ(mail->pair().afPath, spool.path(row.af));
        EXPECT_EQ(mail->pair().dfPath, spool.path(row.df));
        if (row.finished) {
            ASSERT_TRUE(mail->finish(&error)) << error;
            EXPECT_EQ(ReadFile(spool.path(row.df)),
                      std::string("Subject: ") + row.spoolId + "\r\n\r\nbody\r\n");
            EXPECT_FALSE(mail->rename_pair("later")) << "the envelope is written";
        }
        EXPECT_EQ(FileExists(spool.path(row.af)), row.finished);
        EXPECT_TRUE(FileExists(spool.path(row.df)));
        EXPECT_EQ(FileExists(spool.path(std::string("DF") + (row.outbound ? "O" : "I") +
                                                 row.spoolId)),
                  !row.queueId);
        mails.push_back(std::move(mail));
    }
    mails.clear();
    EXPECT_EQ(ReadFile(spool.path("AFI4Q_3")), "left by someone\n");
    for (const auto &row : rows) {
        EXPECT_FALSE(FileExists(spool.path(row.af))) << row.af;
        EXPECT_FALSE(FileExists(spool.path(row.df))) << row.df;
    }
}

TEST(MailCapture, StartFailsWithAReason)
{
    BaseTempDir spool;
    std::string error;
    EXPECT_FALSE(MailCapture::start(spool.path("missing"), "1", false, "<a@b>", 0, &error));
    EXPECT_NE(error.find(spool.path("missing") + "/DFI1"), std::string::npos) << error;
    EXPECT_NE(error.find("No such file"), std::string::npos) << error;

    // A pair of the same name is never overwritten, nor removed by the failure.
    auto first = Start(spool.dir(), "7");
    error.clear();
    EXPECT_FALSE(MailCapture::start(spool.dir(), "7", false, "<a@b>", 0, &error));
    EXPECT_FALSE(error.empty());
    EXPECT_TRUE(FileExists(spool.path("DFI7")));
}

TEST(MailCapture, TheBlankLineIsWrittenOnceAndTheDataFileClosesAtFinish)
{
    const struct {
        bool header, endHeaders, body;
        std::string df;
    } rows[] = {
        {true, false, true, "A: b\r\n\r\nbody"}, {true, true, true, "A: b\r\n\r\nbody"},
        {true, false, false, "A: b\r\n\r\n"},    {false, false, false, "\r\n"},
        {false, false, true, "\r\nbody"},
    };
    for (const auto &row : rows) {
        BaseTempDir spool;
        auto mail = Start(spool.dir(), "1");
        ASSERT_TRUE(mail);
        std::string error;
        EXPECT_TRUE(!row.header || mail->add_header("A", "b", &error));
        EXPECT_TRUE(!row.endHeaders || mail->end_headers(&error));
        EXPECT_TRUE(!row.body || mail->add_body("body", 4, &error));
        ASSERT_TRUE(mail->finish(&error)) << error;
        EXPECT_EQ(ReadFile(mail->pair().dfPath), row.df);
        EXPECT_FALSE(mail->add_body("late", 4, &error));
        EXPECT_NE(error.find("closed"), std::string::npos) << error;
    }
}

TEST(MailCapture, SpoolIdsAreDistinct)
{
    std::set<std::string> ids;
    for (int i = 0; i < 5000; ++i) {
        std::string id = make_spool_id();
        EXPECT_EQ(id.find_first_not_of("0123456789abcdef"), std::string::npos) << id;
        ids.insert(id);
    }
    EXPECT_EQ(ids.size(), 5000u);
}

TEST(MailCapture, StalePairsOfAnEarlierRunAreRemoved)
{
    BaseTempDir spool;
    spool.write("AFI1", "F<a@b>\n");
    spool.write("DFI1", "Subject: x\r\n\r\n");
    spool.write("AFO2", "F<a@b>\n"); // its data file never came
    spool.write("DFO3", "Subj");     // cut off before its envelope
    spool.write("notes.txt", "kept");
    EXPECT_EQ(remove_stale_pairs(spool.dir()), 4);
    EXPECT_FALSE(FileExists(spool.path("DFI1")));
    EXPECT_EQ(ReadFile(spool.path("notes.txt")), "kept");
    EXPECT_EQ(remove_stale_pairs(spool.dir()), 0);
}

TEST(MailCapture, OneDaemonPerSpool)
{
    BaseTempDir spool;
    std::string error;
    ASSERT_TRUE(lock_spool(spool.dir(), &error)) << error;
    // A second daemon on the same spool, played by a child process.
    pid_t child = fork();
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
    // Nothing in a value may start a header field the MTA did not see, nor
    // end the header block early.
    const std::pair<const char *, const char *> values[] = {
        {"one", "one"},   {"a\n\tb", "a\r\n\tb"}, {"a\r\n\tb", "a\r\n\tb"},
        {"end\n", "end"}, {"end\r\n\r\n", "end"}, {"\n", ""},
        {"a\r\tb", "a \tb"}, {"a\rContent-Type: text/plain", "a Content-Type: text/plain"},
        {"a\nX-Forged: 1", "a\r\n X-Forged: 1"}, {"a\n\n b", "a\r\n \r\n b"},
    };
    for (const auto &row : values)
        EXPECT_EQ(crlf_line_breaks(row.first), row.second) << row.first;
}

TEST(CopyRecordNote, KeepsTheSmtpEnvelopeOfAReportedCopy)
{
    BaseTempDir spool;
    auto mail = Start(spool.dir(), "n1");
    ASSERT_TRUE(mail);
    mail->add_recipient("<bob@corp.example>");
    mail->add_recipient("<hidden@corp.example>"); // a Bcc: in no header
    std::string error;
    ASSERT_TRUE(mail->finish(&error)) << error;

    MailOutcome outcome;
    outcome.code = 2;
    outcome.result.blocked = 1;
    outcome.verdict.word = "quarantined";
    note_copy_record(*mail, "192.0.2.7", "4Q", outcome); // no copy: nothing written
    const std::string copy = spool.write("AF9_1.tmp", "copy");
    std::snprintf(outcome.report.copy_path, sizeof outcome.report.copy_path, "%s", copy.c_str());
    std::snprintf(outcome.report.trigger, sizeof outcome.report.trigger, "Big mails");
    note_copy_record(*mail, "192.0.2.7", "4Q", outcome);

    CopyRecord record;
    ASSERT_EQ(read_copy_record(copy, &record, &error), RecordRead::Found) << error;
    EXPECT_EQ(record.id + "|" + record.host + "|" + record.sender + "|" + record.client + "|" +
                  record.verdict + "|" + record.action + "|" + record.trigger,
              "4Q|ovmilter|alice@partner.example|192.0.2.7|blocked|quarantined|Big mails");
    EXPECT_EQ(record.recipients,
              (std::vector<std::string>{"bob@corp.example", "hidden@corp.example"}));
}

} // namespace
