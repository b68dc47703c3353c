// Faults around one mail: missing or empty envelope and data files, bad call
// records, a data file that vanishes or changes size while the mail is
// processed, and update or cleanup arriving while mails are in progress
// (copy directories and full disks: fault_report_test.cpp). Each gives a
// result code or an event-log line, never a crash, and the host's mail is
// never destroyed by the plug-in.
#include <atomic>
#include <chrono>
#include <cstring>
#include <future>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "support/plugin_host_fixture.h"
#include "support/plugin_mail_corpus.h"

namespace {

using PluginFaultTest = PluginTest;

TEST_F(PluginFaultTest, MissingOrEmptyFilesAreRefused)
{
    const std::string missing = "No such file or directory", empty = "File length=0";
    struct Row {
        const char *af, *df; // "" missing, "0" empty, "ok"
        std::string line;    // <AF> and <DF> stand for the paths
    } rows[] = {
        {"ok", "", "DF(<DF>): " + missing},
        {"ok", "0", "DF(<DF>): " + empty},
        {"", "ok", "AF(<AF>): " + missing},
        {"0", "ok", "AF(<AF>): " + empty},
        {"", "", "AF(<AF>): " + missing + ", DF(<DF>): " + missing},
        {"0", "0", "AF(<AF>): " + empty + ", DF(<DF>): " + empty},
    };
    Start();
    for (const Row &row : rows) {
        SCOPED_TRACE(row.line);
        PluginSpoolMail mail = install.AddMail(PluginPlainMail(PluginJunkHeaders(), "hi"));
        std::string line = "CONTENT MANAGEMENT ERROR: " + row.line;
        for (const auto &file : {std::make_pair(row.af, mail.af), std::make_pair(row.df, mail.df)}) {
            if (std::string(file.first) != "ok")
                *file.first ? WriteFile(file.second, "") : (void)std::remove(file.second.c_str());
            const std::string mark = file.second == mail.af ? "<AF>" : "<DF>";
            if (line.find(mark) != std::string::npos)
                line.replace(line.find(mark), 4, file.second);
        }
        EXPECT_EQ(PluginVerdict(-6, 0), Verdict(mail));
        EXPECT_EQ(line, PluginEvents(install.EventLog()).back().text);
    }
    // No filter ran: nothing blocked, nothing copied.
    EXPECT_EQ(std::vector<std::string>{}, install.Files("Quarantine"));
    EXPECT_EQ(std::vector<std::string>{}, install.Files("tempdir"));
}

TEST_F(PluginFaultTest, BadCallRecordsAreRefused)
{
    PluginSpoolMail mail = install.AddMail(PluginPlainMail({}, "hi"));
    Start();
    ZWHostCall call = PluginCall(mail.af);
    ZWMailResult result{};
    EXPECT_EQ(-6, plugin().Process(nullptr, &result));
    EXPECT_EQ(-6, plugin().Process(&call, nullptr));
    EXPECT_EQ(-6, plugin().Process(nullptr, nullptr));
    // A path that fills the whole field without a terminator, an empty path,
    // a directory, a one-letter name; then the plug-in still works.
    std::memset(call.af_path, 'A', sizeof call.af_path);
    EXPECT_EQ(-6, plugin().Process(&call, &result));
    for (const std::string &path : {std::string(""), install.SpoolDir(), install.SpoolDir() + "/A"}) {
        call = PluginCall(path);
        EXPECT_EQ(-6, plugin().Process(&call, &result)) << path;
    }
    EXPECT_EQ(0, Run(mail));
}

// The host's queue function runs inside the mail's processing, so a hook in
// it can change the data file at a chosen moment: here, between the
// attachment scan and the rewrite.
TEST_F(PluginFaultTest, DataFileChangingUnderTheMail)
{
    install.Set("Specialized Filtering",
                {{"WarnAdmin", "yes"}, {"Admin", "postmaster@corp.example"}});
    install.WriteRules({"Offers\\C\\SUBJ=IS\"*free offer*\"\\QUAR"});
    const PluginMessage message =
        PluginMultipartMail(PluginJunkHeaders(), "x",
                            {{"a.exe", "application/octet-stream", PluginBinaryBytes(6000, 9)}});
    const auto range = message.attachmentRanges[0];
    const std::string block = "Content-Type: text/plain\r\nContent-Transfer-Encoding: 7bit\r\n\r\n"
                              "[Filename: a.exe, Content-Type: application/octet-stream]\r\n"
                              "The attachment was removed.\r\n\r\n";
    const std::string tail(5000, 'z');
    Start();

    PluginSpoolMail grown = install.AddMail(message.text);
    PluginQueue::SetHook(
        [&](const PluginQueuedMail &) { WriteFile(grown.df, message.text + tail); });
    EXPECT_EQ(2, Run(grown));
    EXPECT_EQ(message.text.substr(0, range.first) + block + message.text.substr(range.second) +
                  tail,
              ReadFile(grown.df));

    PluginSpoolMail shrunk = install.AddMail(message.text);
    PluginQueue::SetHook([&](const PluginQueuedMail &) {
        WriteFile(shrunk.df, message.text.substr(0, range.first + 100));
    });
    EXPECT_EQ(2, Run(shrunk));
    EXPECT_EQ(message.text.substr(0, range.first) + block, ReadFile(shrunk.df));

    PluginSpoolMail vanished = install.AddMail(message.text);
    PluginQueue::SetHook([&](const PluginQueuedMail &) { std::remove(vanished.df.c_str()); });
    EXPECT_EQ(PluginVerdict(2, 2), Verdict(vanished));
    EXPECT_FALSE(FileExists(vanished.df)); // not recreated half-written
    EXPECT_TRUE(
        HasEvent(install, "CONTENT MANAGEMENT ERROR: ReplaceFileBlock(" + vanished.df + ") fail!"));
    EXPECT_TRUE(HasEvent(install, "CopyFile(" + vanished.df + ","));
    PluginQueue::SetHook(nullptr);
    EXPECT_EQ(std::vector<std::string>{}, install.Files("tempdir"));
}

// Update and cleanup wait for the mail in progress (held in the queue
// function), which finishes with its verdict under the settings it started
// with.
TEST_F(PluginFaultTest, UpdateAndCleanupWaitForMailsInProgress)
{
    install.Set("Confidential", "WarningSender", "yes");
    for (const std::string stop : {"update", "cleanup"}) {
        SCOPED_TRACE(stop);
        Start();
        std::promise<void> inside, release;
        std::shared_future<void> released = release.get_future().share();
        PluginQueue::SetHook([&](const PluginQueuedMail &) {
            inside.set_value();
            released.wait();
        });
        PluginVerdict verdict;
        std::thread worker(
            [&] { verdict = Verdict(install.AddMail(PluginPlainMail({}, PluginSecretBody()))); });
        inside.get_future().wait();

        install.Set("Confidential", "Action", "Delete");
        std::atomic<bool> stopped{false};
        int stopCode = -100;
        std::thread stopper([&] {
            stopCode = stop == "update" ? plugin().Command("update") : plugin().Cleanup();
            stopped = true;
        });
        std::this_thread::sleep_for(std::chrono::milliseconds(200));
        EXPECT_FALSE(stopped);
        release.set_value();
        worker.join();
        stopper.join();
        PluginQueue::SetHook(nullptr);
        EXPECT_EQ(0, stopCode);
        EXPECT_EQ(PluginVerdict(0, 2), verdict); // quarantined, as when it began
        const PluginSpoolMail next = install.AddMail(PluginPlainMail({}, PluginSecretBody()));
        if (stop == "update") {
            EXPECT_EQ(PluginVerdict(0, 1), Verdict(next));
            EXPECT_EQ(0, plugin().Cleanup());
        } else {
            EXPECT_EQ(-9, Run(next));
        }
        install.Set("Confidential", "Action", "Quarantine");
    }
}

} // namespace
