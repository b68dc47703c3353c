// ovctl quarantine on copies as the plug-in leaves them (one with its
// envelope record); release runs a stand-in sendmail.
#include <sys/stat.h>
#include <utime.h>

#include "tools/hostkit/copy_record.h"
#include "tools/ovctl_cases.h"

namespace
{

const char kRuleCopy[] =
    "Return-Path: <header-sender@example.org>\r\nFrom: Ann <ann@example.net>\r\n"
    "To: bob@example.com\r\nSubject: Full data export\r\n\r\nbody\r\n";
const char kPolicyCopy[] =
    "Return-Path: <carol@example.com>\nTo: Dave <dave@partner.example>\nCc: erin@example.com\n"
    "Subject: =?ISO-2022-JP?B?GyRCPFIzMEhrGyhC?=\n\nsecret\n";
const char kAttachmentCopy[] = "From: frank@partner.example\nTo: bob@example.com\n"
                               "Subject: Quarterly\n =?utf-8?Q?report=0D=0A?=\n\nreport\n";

class QuarantineCommand : public ::testing::Test
{
protected:
    void SetUp() override
    {
        std::filesystem::create_directories(root.path("Plug-Ins/OV/Q/Anti-Spam/Big mails"));
        std::filesystem::create_directories(root.path("Plug-Ins/OV/Q/Confidential"));
        root.write("Plug-Ins/OV/contscan.ini", "[Advanced Options]\nQuarantineDirectory=Q\n");
        ruleCopy = root.write("Plug-Ins/OV/Q/Anti-Spam/Big mails/AF77_1.tmp", kRuleCopy);
        policyCopy = root.write("Plug-Ins/OV/Q/Confidential/AF77_2.tmp", kPolicyCopy);
        attachmentCopy = root.write("Plug-Ins/OV/Q/AF77_3.tmp", kAttachmentCopy);
        const CopyRecord record{"4XQID1", "ovmilter", "ann@example.net",
            {"bob@example.com", "hidden-bcc@example.com"}, "192.0.2.7", time(nullptr) - 3600,
            "blocked", "quarantined", "Big mails", 0, {}};
        std::string error;
        EXPECT_TRUE(write_copy_record(ruleCopy, record, &error)) << error;
        const utimbuf old{time(nullptr) - 30 * 86400, time(nullptr) - 30 * 86400}; // 30 days
        utime(attachmentCopy.c_str(), &old);
        sendmail =
            root.write("sendmail", "#!/bin/sh\necho \"$@\" > \"$0.args\"\ncat > \"$0.mail\"\n");
        chmod(sendmail.c_str(), 0755);
    }

    OvctlRun quarantine(std::vector<std::string> words)
    {
        words.insert(words.begin() + 1, {"--root", root.dir()});
        words.insert(words.begin(), "quarantine");
        return run_ovctl(words);
    }
    OvctlRun release(const std::string &id, std::vector<std::string> options = {})
    {
        options.insert(options.begin(), "release");
        if (std::find(options.begin(), options.end(), "--sendmail") == options.end())
            options.insert(options.end(), {"--sendmail", sendmail + " -oi -f SENDER --"});
        options.push_back(id);
        return quarantine(options);
    }
    std::string sent_args() const { return ReadFile(sendmail + ".args"); }
    CopyRecord record_of(const std::string &copy) const
    {
        CopyRecord record;
        std::string error;
        EXPECT_EQ(read_copy_record(copy, &record, &error), RecordRead::Found) << error;
        return record;
    }

    BaseTempDir root;
    std::string ruleCopy, policyCopy, attachmentCopy, sendmail;
};

TEST_F(QuarantineCommand, ListsShowsAndReleasesToTheEnvelopeRecipientsOnce)
{
    // Oldest first; the record's envelope (Bcc too) wins over the headers.
    OvctlRun run = quarantine({"list"});
    EXPECT_NE(run.output.find("\tBig mails\tann@example.net\tbob@example.com,hidden-bcc@example.com\t"),
              std::string::npos) << run.output;
    EXPECT_LT(run.output.find("AF77_3.tmp\t"), run.output.find("AF77_1.tmp\t"));
    EXPECT_NE(run.output.find("\tQuarterly report  \n"), std::string::npos) << run.output;
    EXPECT_NE(quarantine({"show", "4XQID1"}).output.find("mail: 4XQID1\nhost: ovmilter\n"),
              std::string::npos);
    run = release("4XQID1");
    ASSERT_EQ(run.status, 0) << run.output;
    EXPECT_EQ(sent_args(), "-oi -f ann@example.net -- bob@example.com hidden-bcc@example.com\n");
    EXPECT_EQ(ReadFile(sendmail + ".mail"), kRuleCopy);
    std::remove((sendmail + ".args").c_str());
    run = release("4XQID1");
    EXPECT_EQ(run.status, 1);
    EXPECT_NE(run.output.find("was released on"), std::string::npos) << run.output;
    EXPECT_EQ(sent_args(), "<missing>");
    const CopyRecord record = record_of(ruleCopy);
    EXPECT_NE(record.released, 0);
    EXPECT_EQ(record.client, "192.0.2.7"); // the rest of the record stays
    EXPECT_EQ(record.releasedTo.size(), 2u);

    run = release("AF77_2.tmp", {"--to", "x@example.com", "--to", "y@example.com"});
    ASSERT_EQ(run.status, 0) << run.output;
    EXPECT_EQ(sent_args(), "-oi -f carol@example.com -- x@example.com y@example.com\n");
    EXPECT_EQ(record_of(policyCopy).releasedTo,
              (std::vector<std::string>{"x@example.com", "y@example.com"}));
}

TEST_F(QuarantineCommand, ReleaseThatFailsLeavesTheCopyUnreleased)
{
    const std::pair<std::vector<std::string>, const char *> cases[] = {
        {{"--to", "-oQ/tmp/x"}, "unsafe recipient"}, // an address taken for an option
        {{"--to", "a b@example.com"}, "unsafe recipient"},
        {{"--sendmail", "/bin/false"}, "exited with 1"},
        {{"--sendmail", "/nonexistent/sendmail"}, "cannot run"},
    };
    for (const auto &c : cases) {
        OvctlRun run = release("AF77_1.tmp", c.first);
        EXPECT_EQ(run.status, 1) << c.first[1];
        EXPECT_NE(run.output.find(c.second), std::string::npos) << c.first[1] << ": " << run.output;
    }
    EXPECT_EQ(sent_args(), "<missing>");
    OvctlRun run = release("AF77_1.tmp");
    EXPECT_EQ(run.status, 0) << run.output;
}

TEST_F(QuarantineCommand, DeleteAndExpireRemoveCopiesWithTheirRecords)
{
    EXPECT_EQ(quarantine({"delete", "AF77_1.tmp"}).status, 0);
    EXPECT_EQ(ReadFile(ruleCopy) + ReadFile(copy_record_path(ruleCopy)), "<missing><missing>");
    const std::string dry = quarantine({"expire", "--older-than", "10", "--dry-run"}).output;
    EXPECT_NE(dry.find("would expire AF77_3.tmp"), std::string::npos) << dry;
    EXPECT_EQ(ReadFile(attachmentCopy), kAttachmentCopy);
    const std::string expired = quarantine({"expire", "--older-than", "10"}).output;
    EXPECT_NE(expired.find("expired AF77_3.tmp"), std::string::npos) << expired;
    EXPECT_EQ(ReadFile(attachmentCopy) + ReadFile(policyCopy), "<missing>" + std::string(kPolicyCopy));
}

} // namespace
