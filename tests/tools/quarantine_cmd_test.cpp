// ovctl quarantine on an installation laid out as the plug-in leaves it: a
// rule's copy with its envelope record, a policy's copy and an attachment
// removal's copy without one, an archived copy. Release runs a stand-in
// sendmail that keeps its arguments and its input.
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
        const std::string ov = root.path("Plug-Ins/OV/");
        ASSERT_EQ(std::system(("mkdir -p " + ovctl_shell_quote(ov + "Q/Anti-Spam/Big mails") + " " +
                               ovctl_shell_quote(ov + "Q/Confidential") + " " +
                               ovctl_shell_quote(ov + "Archive/Japanese"))
                                  .c_str()),
                  0);
        root.write("Plug-Ins/OV/contscan.ini", "[Advanced Options]\nQuarantineDirectory=Q\n");
        ruleCopy = root.write("Plug-Ins/OV/Q/Anti-Spam/Big mails/AF77_1.tmp", kRuleCopy);
        policyCopy = root.write("Plug-Ins/OV/Q/Confidential/AF77_2.tmp", kPolicyCopy);
        attachmentCopy = root.write("Plug-Ins/OV/Q/AF77_3.tmp", kAttachmentCopy);
        root.write("Plug-Ins/OV/Archive/Japanese/AF77_4.tmp", kPolicyCopy);

        CopyRecord record;
        record.id = "4XQID1";
        record.host = "ovmilter";
        record.sender = "ann@example.net";
        record.recipients = {"bob@example.com", "hidden-bcc@example.com"};
        record.client = "192.0.2.7";
        record.time = time(nullptr) - 3600;
        record.verdict = "blocked";
        record.action = "quarantined";
        record.trigger = "Big mails";
        std::string error;
        EXPECT_TRUE(write_copy_record(ruleCopy, record, &error)) << error;

        // The attachment removal's copy is 30 days old.
        struct utimbuf old {
            time(nullptr) - 30 * 86400, time(nullptr) - 30 * 86400
        };
        utime(attachmentCopy.c_str(), &old);

        sendmail =
            root.write("sendmail", "#!/bin/sh\necho \"$@\" > \"$0.args\"\ncat > \"$0.mail\"\n");
        chmod(sendmail.c_str(), 0755);
    }

    OvctlRun quarantine(std::vector<std::string> words)
    {
        words.insert(words.begin(), {"quarantine"});
        words.insert(words.begin() + 2, {"--root", root.dir()});
        return run_ovctl(words);
    }
    // A release through the stand-in sendmail, after `options`.
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

TEST_F(QuarantineCommand, ListsEachCopyWithItsEnvelope)
{
    OvctlRun run = quarantine({"list"});
    ASSERT_EQ(run.status, 0) << run.output;
    // Oldest first; the record's envelope (Bcc too) wins over the headers.
    size_t at = 0;
    for (const std::string part :
         {"AF77_3.tmp\t", "\t(attachment removal)\tfrank@partner.example\tbob@example.com\t",
          "\tQuarterly report  \n", "AF77_1.tmp\t",
          "\tBig mails\tann@example.net\tbob@example.com,hidden-bcc@example.com\t",
          "\tFull data export\n", "AF77_2.tmp\t",
          "\tConfidential\tcarol@example.com\tdave@partner.example,erin@example.com\t",
          "\t\xE7\xA4\xBE\xE5\xA4\x96\xE7\xA7\x98\n"}) {
        const size_t found = run.output.find(part, at);
        ASSERT_NE(found, std::string::npos) << "missing \"" << part << "\" in\n" << run.output;
        at = found + part.size();
    }
    EXPECT_NE(run.output.find("ovctl: 3 copies in"), std::string::npos);
    EXPECT_EQ(run.output.find("header-sender"), std::string::npos);

    run = quarantine({"list", "--archive", "--json"});
    ASSERT_EQ(run.status, 0) << run.output;
    for (const char *part :
         {"\"id\": \"AF77_4.tmp\"", "\"kind\": \"policy\", \"trigger\": \"Japanese\"",
          "\"record\": \"missing\""})
        EXPECT_NE(run.output.find(part), std::string::npos) << run.output;
    EXPECT_EQ(run.output.find("AF77_1"), std::string::npos);
}

TEST_F(QuarantineCommand, ShowFindsACopyByAnyOfItsNames)
{
    for (const char *id : {"AF77_1.tmp", "Anti-Spam/Big mails/AF77_1.tmp", "4XQID1"}) {
        OvctlRun run = quarantine({"show", id});
        ASSERT_EQ(run.status, 0) << id << "\n" << run.output;
        EXPECT_NE(run.output.find("mail: 4XQID1\nhost: ovmilter\nclient: 192.0.2.7\n"),
                  std::string::npos)
            << run.output;
        EXPECT_NE(run.output.find("\nSubject: Full data export\n"), std::string::npos);
    }
    OvctlRun run = quarantine({"show", "AF77_9.tmp"});
    EXPECT_EQ(run.status, 1);
    EXPECT_NE(run.output.find("no copy AF77_9.tmp"), std::string::npos) << run.output;
}

TEST_F(QuarantineCommand, ReleasesToTheEnvelopeRecipientsOnce)
{
    OvctlRun run = release("4XQID1");
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
}

TEST_F(QuarantineCommand, ReleaseToGivenAddressesMarksACopyWithoutRecord)
{
    OvctlRun run = release("AF77_2.tmp", {"--to", "x@example.com", "--to", "y@example.com"});
    ASSERT_EQ(run.status, 0) << run.output;
    EXPECT_EQ(sent_args(), "-oi -f carol@example.com -- x@example.com y@example.com\n");
    const CopyRecord record = record_of(policyCopy);
    EXPECT_EQ(record.releasedTo, (std::vector<std::string>{"x@example.com", "y@example.com"}));
    EXPECT_EQ(record.recipients,
              (std::vector<std::string>{"dave@partner.example", "erin@example.com"}));
    run = quarantine({"show", "AF77_2.tmp"});
    EXPECT_NE(run.output.find("envelope: from the headers"), std::string::npos) << run.output;
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
    OvctlRun run = quarantine({"delete", "AF77_1.tmp"});
    ASSERT_EQ(run.status, 0) << run.output;
    EXPECT_EQ(ReadFile(ruleCopy), "<missing>");
    EXPECT_EQ(ReadFile(copy_record_path(ruleCopy)), "<missing>");

    run = quarantine({"expire", "--older-than", "10", "--dry-run"});
    ASSERT_EQ(run.status, 0) << run.output;
    EXPECT_NE(run.output.find("would expire AF77_3.tmp"), std::string::npos) << run.output;
    EXPECT_EQ(ReadFile(attachmentCopy), kAttachmentCopy);

    run = quarantine({"expire", "--older-than", "10"});
    ASSERT_EQ(run.status, 0) << run.output;
    EXPECT_NE(run.output.find("expired AF77_3.tmp"), std::string::npos) << run.output;
    EXPECT_EQ(ReadFile(attachmentCopy), "<missing>");
    EXPECT_EQ(ReadFile(policyCopy), kPolicyCopy);
}

TEST_F(QuarantineCommand, UsageErrors)
{
    for (const std::vector<std::string> &words :
         std::vector<std::vector<std::string>>{{"expire"},
                                               {"show"},
                                               {"move", "AF77_1.tmp"},
                                               {"list", "--older-than", "x"},
                                               {"list", "extra"}})
        EXPECT_EQ(quarantine(words).status, 2) << words[0];
    EXPECT_EQ(run_ovctl({"quarantine", "list"}).status, 2) << "--root is required";
}

} // namespace
