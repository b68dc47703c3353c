// A captured pair takes the MTA's queue id as its name before the envelope
// is written: the data keeps flowing into the renamed file, a name in use
// is never taken over (the next one is), and the renamed pair still leaves
// the spool with the capture. The envelope record of a quarantined copy
// keeps the SMTP envelope with the queue id.
#include <gtest/gtest.h>

#include <cstdio>

#include "support/base_temp_dir.h"
#include "tools/hostkit/copy_record.h"
#include "tools/ovmilter/copy_record_note.h"
#include "tools/ovmilter/mail_capture.h"

namespace {

std::unique_ptr<MailCapture> start_in(const std::string &spool, const std::string &id,
                                      bool outbound = false)
{
    std::string error;
    auto mail = MailCapture::start(spool, id, outbound, "<a@partner.example>", 0, &error);
    EXPECT_TRUE(mail) << error;
    return mail;
}

TEST(MailCaptureName, TakesTheQueueIdOrTheNextFreeName)
{
    BaseTempDir spool;
    spool.write("AFI4Q_3", "left by someone\n");   // an envelope without data blocks its name
    const struct {
        const char *spoolId;
        bool outbound;
        const char *af, *df;
    } rows[] = {
        {"a1", false, "AFI4Q", "DFI4Q"},
        {"a2", false, "AFI4Q_2", "DFI4Q_2"},
        {"a3", false, "AFI4Q_4", "DFI4Q_4"},
        {"a4", true, "AFO4Q", "DFO4Q"},
    };
    std::vector<std::unique_ptr<MailCapture>> mails;
    for (const auto &row : rows) {
        auto mail = start_in(spool.dir(), row.spoolId, row.outbound);
        ASSERT_TRUE(mail);
        std::string error;
        ASSERT_TRUE(mail->add_header("Subject", row.spoolId, &error)) << error;
        ASSERT_TRUE(mail->rename_pair("4Q"));
        ASSERT_TRUE(mail->add_body("body\r\n", 6, &error)) << error;
        ASSERT_TRUE(mail->finish(&error)) << error;
        EXPECT_EQ(mail->pair().afPath, spool.path(row.af));
        EXPECT_EQ(mail->pair().dfPath, spool.path(row.df));
        EXPECT_EQ(ReadFile(spool.path(row.df)),
                  std::string("Subject: ") + row.spoolId + "\r\n\r\nbody\r\n");
        EXPECT_NE(ReadFile(spool.path(row.af)), "<missing>");
        EXPECT_FALSE(FileExists(spool.path(std::string("DF") + (row.outbound ? "O" : "I") +
                                                    row.spoolId)));
        EXPECT_FALSE(mail->rename_pair("later")) << "the envelope is written";
        mails.push_back(std::move(mail));
    }
    mails.clear();
    for (const auto &row : rows) {
        EXPECT_FALSE(FileExists(spool.path(row.af))) << row.af;
        EXPECT_FALSE(FileExists(spool.path(row.df))) << row.df;
    }
    EXPECT_TRUE(FileExists(spool.path("AFI4Q_3")));
}

} // namespace

namespace {

TEST(CopyRecordNote, KeepsTheSmtpEnvelopeOfAReportedCopy)
{
    BaseTempDir spool;
    auto mail = start_in(spool.dir(), "n1");
    ASSERT_TRUE(mail);
    mail->add_recipient("<bob@corp.example>");
    mail->add_recipient("<hidden@corp.example>");   // a Bcc: in no header
    std::string error;
    ASSERT_TRUE(mail->finish(&error)) << error;

    MailOutcome outcome;
    outcome.code = 2;
    outcome.result.blocked = 1;
    outcome.verdict.word = "quarantined";
    note_copy_record(*mail, "192.0.2.7", "4Q", outcome);   // no copy: nothing written
    const std::string copy = spool.write("AF9_1.tmp", "copy");
    std::snprintf(outcome.report.copy_path, sizeof outcome.report.copy_path, "%s", copy.c_str());
    std::snprintf(outcome.report.trigger, sizeof outcome.report.trigger, "Big mails");
    note_copy_record(*mail, "192.0.2.7", "4Q", outcome);

    CopyRecord record;
    ASSERT_EQ(read_copy_record(copy, &record, &error), RecordRead::Found) << error;
    EXPECT_EQ(record.id, "4Q");
    EXPECT_EQ(record.host, "ovmilter");
    EXPECT_EQ(record.sender, "a@partner.example");
    EXPECT_EQ(record.recipients,
              (std::vector<std::string>{"bob@corp.example", "hidden@corp.example"}));
    EXPECT_EQ(record.client, "192.0.2.7");
    EXPECT_EQ(record.verdict, "blocked");
    EXPECT_EQ(record.action, "quarantined");
    EXPECT_EQ(record.trigger, "Big mails");
}

} // namespace
