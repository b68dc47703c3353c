// Faults around one mail, made real. Each gives a result code, the fault in
// the report and an event-log line; the data file is unchanged unless the
// rewrite completed, and no partial copy stays.
#include <sys/stat.h>

#include <cstdio>
#include <random>

#include "support/plugin_host_fixture.h"
#include "support/small_tmpfs.h"

namespace {

using PluginFaultTest = PluginTest;
using Files = std::vector<std::string>;

TEST_F(PluginFaultTest, UnusableFilesAndCallRecordsAreRefused)
{
    const std::string missing = "No such file or directory", empty = "File length=0";
    struct Row {
        const char *af, *df; // "" missing, "0" empty, "ok"
        std::string line;    // <AF> and <DF> stand for the paths
    } rows[] = {
        {"ok", "", "DF(<DF>): " + missing},
        {"0", "ok", "AF(<AF>): " + empty},
        {"", "0", "AF(<AF>): " + missing + ", DF(<DF>): " + empty},
    };
    Start();
    for (const Row &row : rows) {
        SCOPED_TRACE(row.line);
        PluginSpoolMail mail = install.AddMail(PluginPlainMail(PluginJunkHeaders(), "hi"));
        std::string line = "CONTENT MANAGEMENT ERROR: " + row.line;
        for (const auto &file : {std::make_pair(row.af, mail.af), std::make_pair(row.df, mail.df)}) {
            if (std::string(file.first) != "ok")
                *file.first ? WriteFile(file.second, "") : (void)std::remove(file.second.c_str());
            const size_t mark = line.find(file.second == mail.af ? "<AF>" : "<DF>");
            if (mark != std::string::npos)
                line.replace(mark, 4, file.second);
        }
        EXPECT_EQ(PluginVerdict(-6, 0), Verdict(mail));
        EXPECT_EQ(line, PluginEvents(install.EventLog()).back().text);
    }
    EXPECT_EQ(Files{}, install.Files("Quarantine")); // no filter ran
    EXPECT_EQ(Files{}, install.LeftInTempdir());

    // Null records, an unterminated, empty, directory or one-letter path.
    PluginSpoolMail mail = install.AddMail(PluginPlainMail({}, "hi"));
    ZWHostCall call = PluginCall(mail.af);
    ZWMailResult result{};
    EXPECT_EQ(-6, plugin().process(nullptr, &result));
    EXPECT_EQ(-6, plugin().process(&call, nullptr));
    std::memset(call.af_path, 'A', sizeof call.af_path);
    EXPECT_EQ(-6, plugin().process(&call, &result));
    for (const std::string &path : {std::string(""), install.SpoolDir(), install.SpoolDir() + "/A"}) {
        call = PluginCall(path);
        EXPECT_EQ(-6, plugin().process(&call, &result)) << path;
    }
    EXPECT_EQ(0, Run(mail));
}

// The host's queue function runs inside the mail's processing, so a hook in
// it can change the data file between the attachment scan and the rewrite.
TEST_F(PluginFaultTest, DataFileChangingUnderTheMail)
{
    install.Set("Specialized Filtering",
                {{"WarnAdmin", "yes"}, {"Admin", "postmaster@corp.example"}});
    install.WriteRules({"Offers\\C\\SUBJ=IS\"*free offer*\"\\QUAR"});
    const PluginMessage message =
        PluginMultipartMail(PluginJunkHeaders(), "x",
                            {{"a.exe", "application/octet-stream", PluginBinaryBytes(6000, 9)}});
    const auto range = message.attachmentRanges[0];
    const std::string head = message.text.substr(0, range.first) +
                             "Content-Type: text/plain\r\nContent-Transfer-Encoding: 7bit\r\n\r\n"
                             "[Filename: a.exe, Content-Type: application/octet-stream]\r\n"
                             "The attachment was removed.\r\n\r\n";
    const std::string tail(5000, 'z');
    Start();

    PluginSpoolMail grown = install.AddMail(message.text);
    PluginQueue::SetHook(
        [&](const PluginQueuedMail &) { WriteFile(grown.df, message.text + tail); });
    EXPECT_EQ(2, Run(grown));
    EXPECT_EQ(head + message.text.substr(range.second) + tail, ReadFile(grown.df));

    PluginSpoolMail shrunk = install.AddMail(message.text);
    PluginQueue::SetHook([&](const PluginQueuedMail &) {
        WriteFile(shrunk.df, message.text.substr(0, range.first + 100));
    });
    EXPECT_EQ(2, Run(shrunk));
    EXPECT_EQ(head, ReadFile(shrunk.df));

    PluginSpoolMail vanished = install.AddMail(message.text);
    PluginQueue::SetHook([&](const PluginQueuedMail &) { std::remove(vanished.df.c_str()); });
    EXPECT_EQ(PluginVerdict(2, 2), Verdict(vanished));
    EXPECT_FALSE(FileExists(vanished.df)); // not recreated half-written
    EXPECT_TRUE(
        HasEvent(install, "CONTENT MANAGEMENT ERROR: ReplaceFileBlock(" + vanished.df + ") fail!"));
    EXPECT_TRUE(HasEvent(install, "CopyFile(" + vanished.df + ","));
    EXPECT_EQ(Files{}, install.LeftInTempdir());
}

// The report names the copy and the rule or policy that acted. With a plain
// file for the copy directories: the copy fault, the mail as it was, no warning.
TEST_F(PluginFaultTest, ReportNamesTheCopyOrItsFault)
{
    const std::string blocker = install.root() + "/not-a-directory";
    WriteFile(blocker, "x");
    install.Set("Specialized Filtering",
                {{"Quarantine", "yes"}, {"WarnAdmin", "yes"}, {"Admin", "postmaster@corp.example"}});
    install.WriteRules({"Offers\\C\\SUBJ=IS\"*free offer*\"\\QUAR"});
    struct Row {
        std::string message;
        int code, action, blockedAction;
        std::string trigger, copyDir; // copyDir: under the program directory, "" for none
    } rows[] = {
        {PluginPlainMail({}, "hi"), 0, 0, 0, "", ""},
        {PluginPlainMail(PluginJunkHeaders(), "hi"), 2, 2, 2, "Offers",
         "Quarantine/Anti-Spam/Offers/A"},
        {PluginPlainMail({}, PluginSecretBody()), 0, 2, 2, "Confidential",
         "Quarantine/Confidential/A"},
        {PluginMultipartMail({}, "x", {{"a.exe", "application/octet-stream", "MZ"}}).text, 0, 4, 0,
         "Attachment Removal", "Quarantine/A"},
    };
    for (const bool blocked : {false, true}) {
        if (blocked)
            install.Set("Advanced Options",
                        {{"QuarantineDirectory", blocker}, {"ArchiveDirectory", blocker}});
        Start();
        for (const Row &row : rows) {
            SCOPED_TRACE(row.trigger + (blocked ? " blocked" : ""));
            PluginSpoolMail mail = install.AddMail(row.message);
            ZWMailResult result{};
            OVMailReport report;
            std::memset(&report, 0x55, sizeof report); // cleared by the call
            EXPECT_EQ(row.code, Run(mail, &result, &report));
            EXPECT_EQ(blocked ? row.blockedAction : row.action, result.action);
            EXPECT_EQ(blocked && !row.copyDir.empty() ? OV_FAULT_COPY : 0u, report.faults);
            EXPECT_EQ(row.trigger, report.trigger);
            const std::string copy = report.copy_path;
            if (blocked || row.copyDir.empty()) {
                EXPECT_EQ("", copy);
                EXPECT_EQ(row.message, ReadFile(mail.df));
                EXPECT_EQ(blocked && !row.copyDir.empty(),
                          HasEvent(install, "CopyFile(" + mail.df + "," + blocker + "/"));
            } else {
                EXPECT_EQ(0u, copy.rfind(install.Path(row.copyDir), 0)) << copy;
                EXPECT_EQ(row.message, ReadFile(copy)); // the mail as it came
            }
        }
        EXPECT_EQ(0, plugin().cleanup());
        EXPECT_EQ(blocked, PluginQueue::Take().empty());
    }
    EXPECT_TRUE(HasEvent(install, "CONTENT MANAGEMENT ERROR: attachments of "));
    EXPECT_EQ("x", ReadFile(blocker));
}

TEST_F(PluginFaultTest, FullDisks)
{
    SmallTmpfs disk(256 * 1024);
    if (!disk.mounted())
        GTEST_SKIP() << disk.reason();
    const std::string temp = disk.dir() + "/temp";
    for (const std::string &dir : {temp, disk.dir() + "/q"})
        ASSERT_EQ(0, mkdir(dir.c_str(), 0755));
    install.Set("Advanced Options", "QuarantineDirectory", disk.dir() + "/q");
    std::mt19937 random(7);
    const std::string big = // its quarantine copy fits only in part
        PluginPlainMail({}, PluginProse(random, 1500) + PluginSecretBody());
    const std::string exe = PluginMultipartMail(
        {}, "x", {{"a.exe", "application/octet-stream", PluginBinaryBytes(30000, 3)}}).text;
    struct Row {
        bool tempOnDisk;
        std::string message;
        uint32_t faults;
        std::string event;
    } rows[] = {
        {true, exe, OV_FAULT_TEMP | OV_FAULT_REPLACE, "CONTENT MANAGEMENT ERROR: ReplaceFileBlock("},
        {false, big, OV_FAULT_COPY, "CopyFile("}, // the quarantine full half way
    };
    for (const Row &row : rows) {
        SCOPED_TRACE(row.faults);
        install.Set("Advanced Options", "TempDir", row.tempOnDisk ? temp : install.Path("tempdir"));
        PluginSpoolMail mail = install.AddMail(row.message);
        Start();
        disk.Fill(row.message == big ? 16384 : 0);
        OVMailReport report{};
        Run(mail, nullptr, &report);
        EXPECT_EQ(row.faults, report.faults);
        EXPECT_TRUE(row.message == ReadFile(mail.df)); // unchanged, byte for byte
        EXPECT_STREQ("", report.copy_path);
        EXPECT_EQ(Files{disk.dir() + "/.filler"}, FilesBelow(disk.dir())); // no partial copy
        EXPECT_TRUE(HasEvent(install, row.event)) << install.EventLog();
        EXPECT_EQ(0, plugin().cleanup());
        std::remove((disk.dir() + "/.filler").c_str());
    }
}

int RefuseQueue(ZWEnqueRecord *record)
{
    if (record && record->path)
        std::remove(record->path);
    return -1;
}

// A queue that refuses is a fault; a host without a queue wants no
// notifications: the mail is handled all the same and no file is left.
TEST_F(PluginFaultTest, NotificationThatIsNotQueued)
{
    install.Set("Confidential", "WarningSender", "yes");
    Start();
    for (const ZWEnqueMailFn queue : {&RefuseQueue, ZWEnqueMailFn(nullptr)}) {
        ZWHostCall call = PluginCall(install.AddMail(PluginPlainMail({}, PluginSecretBody())).af, queue);
        ZWMailResult result{};
        OVMailReport report{};
        EXPECT_EQ(0, plugin().process(&call, &result, &report));
        EXPECT_EQ(2, result.action);
        EXPECT_EQ(queue ? OV_FAULT_NOTIFY : 0u, report.faults);
        EXPECT_TRUE(FileExists(report.copy_path));
    }
    EXPECT_TRUE(HasEvent(
        install, "CONTENT MANAGEMENT ERROR: notification to alice@partner.example not queued!"));
    EXPECT_EQ(0u, PluginQueue::Take().size());
    EXPECT_EQ(Files{}, install.LeftInTempdir());
}

} // namespace
