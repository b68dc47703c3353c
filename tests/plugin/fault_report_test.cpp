// The per-mail report of OVEmailPluginProcessReport: the copy made and the
// rule or policy that acted, and each fault made real (a plain file where a
// directory should be, a directory removed between mails, a full tmpfs, a
// queue that refuses). For every fault: the data file is unchanged unless
// the rewrite completed, no partial copy is left, the report has the fault
// and the event log says why.
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <random>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "support/plugin_host_fixture.h"
#include "support/plugin_mail_corpus.h"
#include "support/small_tmpfs.h"

namespace {

using PluginReportTest = PluginTest;

std::string Executable()
{
    return PluginMultipartMail({}, "x", {{"a.exe", "application/octet-stream", "MZ"}}).text;
}

bool StartsWith(const std::string &text, const std::string &prefix)
{
    return text.rfind(prefix, 0) == 0;
}

TEST_F(PluginReportTest, ReportNamesTheCopyAndWhatActed)
{
    install.Set("Specialized Filtering", "Quarantine", "yes");
    install.WriteRules({"Offers\\C\\SUBJ=IS\"*free offer*\"\\QUAR"});
    Start();
    struct Row {
        const char *label;
        std::string message;
        int code, action;
        std::string trigger;
        std::string copyDir; // under the program directory; "" for no copy
    } rows[] = {
        {"plain", PluginPlainMail({}, "hi"), 0, 0, "", ""},
        {"rule", PluginPlainMail(PluginJunkHeaders(), "hi"), 2, 2, "Offers",
         "Quarantine/Anti-Spam/Offers/A"},
        {"policy", PluginPlainMail({}, PluginSecretBody()), 0, 2, "Confidential",
         "Quarantine/Confidential/A"},
        {"attachment", Executable(), 0, 4, "Attachment Removal", "Quarantine/A"},
    };
    for (const Row &row : rows) {
        SCOPED_TRACE(row.label);
        PluginSpoolMail mail = install.AddMail(row.message);
        ZWMailResult result{};
        OVMailReport report;
        std::memset(&report, 0x55, sizeof report); // cleared by the call
        EXPECT_EQ(row.code, Run(mail, &result, &report));
        EXPECT_EQ(row.action, result.action);
        EXPECT_EQ(0u, report.faults);
        EXPECT_EQ(row.trigger, report.trigger);
        const std::string copy = report.copy_path;
        if (row.copyDir.empty()) {
            EXPECT_EQ("", copy);
        } else {
            EXPECT_TRUE(StartsWith(copy, install.Path(row.copyDir))) << copy;
            EXPECT_EQ(row.message, ReadFile(copy)); // the mail as it came
        }
        // The classic entry point gives the same verdict.
        PluginSpoolMail again = install.AddMail(row.message);
        ZWMailResult classic{};
        EXPECT_EQ(row.code, Run(again, &classic));
        EXPECT_EQ(row.action, classic.action);
    }
}

// The loader takes an action by its prefix, the scan only by its exact text:
// what only the loader knows starts from quarantine and keeps the mail.
TEST_F(PluginReportTest, MistypedRuleActionKeepsTheMail)
{
    struct Row {
        const char *action;
        int code;
    } rows[] = {{"DEL", 1},    {"QUAR", 2},       {"ARCH", 3},
                {"DELETE", 2}, {"QUARANTINE", 2}, {"ARCHIVE", 2}};
    for (const Row &row : rows) {
        SCOPED_TRACE(row.action);
        install.WriteRules({std::string("Offers\\C\\SUBJ=IS\"*free offer*\"\\") + row.action});
        Start();
        ZWMailResult result{};
        OVMailReport report{};
        EXPECT_EQ(
            2, Run(install.AddMail(PluginPlainMail(PluginJunkHeaders(), "hi")), &result, &report));
        EXPECT_EQ(row.code, result.action);
        EXPECT_EQ(row.code != 1, report.copy_path[0] != '\0');
        EXPECT_EQ(0, plugin().Cleanup());
    }
}

TEST_F(PluginReportTest, PlainFileWhereTheCopyDirectoryShouldBe)
{
    const std::string blocker = install.root() + "/not-a-directory";
    WriteFile(blocker, "x");
    install
        .Set("Advanced Options", {{"QuarantineDirectory", blocker}, {"ArchiveDirectory", blocker}})
        .Set("Specialized Filtering",
             {{"Quarantine", "yes"}, {"WarnAdmin", "yes"}, {"Admin", "postmaster@corp.example"}});
    install.WriteRules({"Offers\\C\\SUBJ=IS\"*free offer*\"\\QUAR"});
    Start();
    struct Row {
        const char *label;
        std::string message;
        int code, action;
        std::string trigger;
    } rows[] = {
        {"rule quarantine", PluginPlainMail(PluginJunkHeaders(), "hi"), 2, 2, "Offers"},
        {"policy quarantine", PluginPlainMail({}, PluginSecretBody()), 0, 2, "Confidential"},
        // No copy of the original: the attachment stays, nobody is told.
        {"special filter quarantine", Executable(), 0, 0, "Attachment Removal"},
    };
    for (const Row &row : rows) {
        SCOPED_TRACE(row.label);
        PluginSpoolMail mail = install.AddMail(row.message);
        ZWMailResult result{};
        OVMailReport report{};
        EXPECT_EQ(row.code, Run(mail, &result, &report));
        EXPECT_EQ(row.action, result.action);
        EXPECT_EQ(OV_FAULT_COPY, report.faults);
        EXPECT_STREQ("", report.copy_path);
        EXPECT_EQ(row.trigger, report.trigger);
        EXPECT_EQ(row.message, ReadFile(mail.df));
        EXPECT_TRUE(HasEvent(install, "CopyFile(" + mail.df + "," + blocker + "/"));
    }
    EXPECT_TRUE(PluginQueue::Take().empty());
    EXPECT_TRUE(HasEvent(install, "CONTENT MANAGEMENT ERROR: attachments of "));
    EXPECT_EQ("x", ReadFile(blocker));
}

TEST_F(PluginReportTest, DirectoriesRemovedBetweenMails)
{
    Start();
    ZWMailResult result{};
    OVMailReport report{};
    EXPECT_EQ(0, Run(install.AddMail(PluginPlainMail({}, PluginSecretBody())), &result, &report));
    ASSERT_EQ(0u, report.faults);

    // Gone: both are made again, and the mail is filtered as before.
    ASSERT_EQ(0, std::system(("rm -rf '" + install.Path("Quarantine") + "' '" +
                              install.Path("tempdir") + "'")
                                 .c_str()));
    PluginSpoolMail mail = install.AddMail(PluginPlainMail({}, PluginSecretBody()));
    EXPECT_EQ(0, Run(mail, &result, &report));
    EXPECT_EQ(0u, report.faults);
    EXPECT_EQ(2, result.action);
    EXPECT_TRUE(FileExists(report.copy_path));

    // A plain file in the temporary directory's place: the keyword scan
    // cannot run, and says so.
    ASSERT_EQ(0, std::system(("rm -rf '" + install.Path("tempdir") + "'").c_str()));
    WriteFile(install.Path("tempdir"), "x");
    mail = install.AddMail(PluginPlainMail({}, PluginSecretBody()));
    EXPECT_EQ(0, Run(mail, &result, &report));
    EXPECT_EQ(OV_FAULT_TEMP, report.faults);
    EXPECT_EQ(0, result.action);
    EXPECT_TRUE(HasEvent(install, "CONTENT MANAGEMENT ERROR: GetTempFileName(" +
                                      install.Path("tempdir") + ") fail! ErrCode(20)"))
        << install.EventLog();
}

TEST_F(PluginReportTest, FullDisks)
{
    SmallTmpfs disk(256 * 1024);
    if (!disk.mounted())
        GTEST_SKIP() << disk.reason();
    const std::string temp = disk.dir() + "/temp", quarantine = disk.dir() + "/q",
                      spool = disk.dir() + "/spool";
    for (const std::string &dir : {temp, quarantine, spool})
        ASSERT_EQ(0, mkdir(dir.c_str(), 0755));
    install.Set("Confidential", "Action", "Quarantine")
        .Set("Advanced Options", "QuarantineDirectory", quarantine);

    // A mail whose quarantine copy fits only in part.
    std::mt19937 random(7);
    const std::string big = PluginPlainMail({}, PluginProse(random, 1500) + PluginSecretBody());
    ASSERT_GT(big.size(), 60000u);
    const std::string exe =
        PluginMultipartMail({}, "x",
                            {{"a.exe", "application/octet-stream", PluginBinaryBytes(30000, 3)}})
            .text;

    struct Row {
        const char *label;
        bool tempOnDisk, spoolOnDisk;
        std::string message;
        uint32_t faults;
        std::string event;
    } rows[] = {
        {"temporary directory full", true, false, exe, OV_FAULT_TEMP | OV_FAULT_REPLACE,
         "CONTENT MANAGEMENT ERROR: ReplaceFileBlock("},
        {"spool full under the rewrite", false, true, exe, OV_FAULT_REPLACE,
         "CONTENT MANAGEMENT ERROR: ReplaceFileBlock("},
        {"quarantine full half way", false, false, big, OV_FAULT_COPY, "CopyFile("},
    };
    for (const Row &row : rows) {
        SCOPED_TRACE(row.label);
        install.Set("Advanced Options", "TempDir", row.tempOnDisk ? temp : install.Path("tempdir"));
        PluginSpoolMail mail = install.AddMail(row.message);
        if (row.spoolOnDisk) {
            PluginSpoolMail moved{spool + "/AFI1", spool + "/DFI1"};
            WriteFile(moved.af, ReadFile(mail.af));
            WriteFile(moved.df, row.message);
            mail = moved;
        }
        Start();
        disk.Fill(row.message == big ? 16384 : 0);
        ZWMailResult result{};
        OVMailReport report{};
        Run(mail, &result, &report);
        EXPECT_EQ(row.faults, report.faults);
        EXPECT_TRUE(row.message == ReadFile(mail.df)); // unchanged, byte for byte
        EXPECT_STREQ("", report.copy_path);
        std::vector<std::string> left = FilesBelow(disk.dir());
        left.erase(std::remove(left.begin(), left.end(), disk.dir() + "/.filler"), left.end());
        const std::vector<std::string> expectedLeft =
            row.spoolOnDisk ? std::vector<std::string>{mail.af, mail.df}
                            : std::vector<std::string>{};
        EXPECT_EQ(expectedLeft.size(), left.size()) << ::testing::PrintToString(left);
        EXPECT_TRUE(HasEvent(install, row.event)) << install.EventLog();
        EXPECT_EQ(0, plugin().Cleanup());
        std::remove((disk.dir() + "/.filler").c_str());
        for (const std::string &file : left)
            std::remove(file.c_str());
    }
}

int RefuseQueue(ZWEnqueRecord *record)
{
    if (record && record->path)
        std::remove(record->path);
    return -1;
}

TEST_F(PluginReportTest, NotificationThatIsNotQueued)
{
    install.Set("Confidential", "WarningSender", "yes");
    Start();
    PluginSpoolMail mail = install.AddMail(PluginPlainMail({}, PluginSecretBody()));
    ZWHostCall call = PluginCall(mail.af, &RefuseQueue);
    ZWMailResult result{};
    OVMailReport report{};
    EXPECT_EQ(0, plugin().ProcessReport(&call, &result, &report));
    EXPECT_EQ(2, result.action);
    EXPECT_EQ(OV_FAULT_NOTIFY, report.faults);
    EXPECT_TRUE(FileExists(report.copy_path));
    EXPECT_TRUE(HasEvent(
        install, "CONTENT MANAGEMENT ERROR: notification to alice@partner.example not queued!"))
        << install.EventLog();
    // A host without a queue wants no notifications: no fault.
    call = PluginCall(install.AddMail(PluginPlainMail({}, PluginSecretBody())).af, nullptr);
    EXPECT_EQ(0, plugin().ProcessReport(&call, &result, &report));
    EXPECT_EQ(0u, report.faults);
}

} // namespace
