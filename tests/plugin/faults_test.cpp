// Faults around one mail: missing or empty envelope and data files, bad call
// records, a temporary directory that cannot be written (the copy
// directories and full disks: fault_report_test.cpp), a
// data file that vanishes or changes size while the mail is processed, and
// update or cleanup arriving while mails are in progress. Each gives a result
// code or an event-log line, never a crash, and the host's mail is never
// destroyed by the plug-in.
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstring>
#include <mutex>
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
    const std::string missing = "No such file or directory";
    const std::string empty = "File length=0";
    struct Row {
        const char *label;
        bool af, afEmpty, df, dfEmpty;
        std::string line; // with <AF> and <DF> standing for the paths
    } rows[] = {
        {"no data file", true, false, false, false, "DF(<DF>): " + missing},
        {"empty data file", true, false, true, true, "DF(<DF>): " + empty},
        {"no envelope", false, false, true, false, "AF(<AF>): " + missing},
        {"empty envelope", true, true, true, false, "AF(<AF>): " + empty},
        {"neither", false, false, false, false, "AF(<AF>): " + missing + ", DF(<DF>): " + missing},
        {"both empty", true, true, true, true, "AF(<AF>): " + empty + ", DF(<DF>): " + empty},
    };
    Start();
    for (const Row &row : rows) {
        SCOPED_TRACE(row.label);
        PluginSpoolMail mail = install.AddMail(PluginPlainMail(PluginJunkHeaders(), "hi"));
        if (!row.af || row.afEmpty)
            row.af ? WriteFile(mail.af, "") : (void)std::remove(mail.af.c_str());
        if (!row.df || row.dfEmpty)
            row.df ? WriteFile(mail.df, "") : (void)std::remove(mail.df.c_str());
        ZWMailResult result{};
        EXPECT_EQ(-6, Run(mail, &result));
        EXPECT_EQ(0, result.action);
        std::string line = "CONTENT MANAGEMENT ERROR: " + row.line;
        for (size_t at; (at = line.find("<AF>")) != std::string::npos;)
            line.replace(at, 4, mail.af);
        for (size_t at; (at = line.find("<DF>")) != std::string::npos;)
            line.replace(at, 4, mail.df);
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
    for (const std::string &path :
         {std::string(""), install.SpoolDir(), install.SpoolDir() + "/A"}) {
        call = PluginCall(path);
        EXPECT_EQ(-6, plugin().Process(&call, &result)) << path;
    }
    EXPECT_EQ(0, Run(mail));
}

TEST_F(PluginFaultTest, UnwritableTemporaryDirectoryIsLogged)
{
    const std::string blocker = install.root() + "/temp-is-a-file";
    WriteFile(blocker, "x");
    install.Set("Advanced Options", "TempDir", blocker)
        .Set("Specialized Filtering", {{"WarnAdmin", "yes"}, {"Admin", "postmaster@corp.example"}});
    char cwd[4096];
    ASSERT_NE(nullptr, getcwd(cwd, sizeof cwd));
    const bool strayBefore = FileExists(std::string(cwd) + "/temp.txt");
    Start();
    ZWMailResult result{};
    // The rule filter needs no temporary file.
    EXPECT_EQ(2, Run(install.AddMail(PluginPlainMail(PluginJunkHeaders(), "hi")), &result));
    EXPECT_EQ(1, result.action);
    // An attachment cannot be cut out without a work file: the message stays
    // as it was and the failure is logged.
    const std::string message =
        PluginMultipartMail({}, "x", {{"a.exe", "application/octet-stream", "MZ"}}).text;
    PluginSpoolMail mail = install.AddMail(message);
    EXPECT_EQ(0, Run(mail, &result));
    EXPECT_EQ(0, result.action);
    EXPECT_EQ(message, ReadFile(mail.df));
    EXPECT_TRUE(
        HasEvent(install, "CONTENT MANAGEMENT ERROR: ReplaceFileBlock(" + mail.df + ") fail!"))
        << install.EventLog();
    EXPECT_TRUE(HasEvent(install, "CONTENT MANAGEMENT ERROR: GetTempFileName(" + blocker))
        << install.EventLog();
    EXPECT_FALSE(HasEvent(install, "CONTENT MANAGEMENT: An attachment file"));
    EXPECT_EQ(strayBefore, FileExists(std::string(cwd) + "/temp.txt"));
    EXPECT_EQ("x", ReadFile(blocker));
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
    ZWMailResult result{};
    EXPECT_EQ(2, Run(vanished, &result));
    EXPECT_EQ(2, result.action);
    EXPECT_FALSE(FileExists(vanished.df)); // not recreated half-written
    EXPECT_TRUE(
        HasEvent(install, "CONTENT MANAGEMENT ERROR: ReplaceFileBlock(" + vanished.df + ") fail!"));
    EXPECT_TRUE(HasEvent(install, "CopyFile(" + vanished.df + ","));
    PluginQueue::SetHook(nullptr);
    EXPECT_EQ(std::vector<std::string>{}, install.Files("tempdir"));
}

// Holds one mail inside the plug-in (in the queue function) until released.
class MailGate {
public:
    void Hold(const PluginQueuedMail &)
    {
        std::unique_lock<std::mutex> lock(m_mutex);
        m_inside = true;
        m_changed.notify_all();
        m_changed.wait(lock, [this] { return m_released; });
    }
    void WaitInside()
    {
        std::unique_lock<std::mutex> lock(m_mutex);
        m_changed.wait(lock, [this] { return m_inside; });
    }
    void Release()
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        m_released = true;
        m_changed.notify_all();
    }

private:
    std::mutex m_mutex;
    std::condition_variable m_changed;
    bool m_inside = false;
    bool m_released = false;
};

// Update and cleanup wait for the mail in progress, which finishes with its
// verdict under the settings it started with.
TEST_F(PluginFaultTest, UpdateAndCleanupWaitForMailsInProgress)
{
    install.Set("Confidential", "WarningSender", "yes");
    for (const char *stop : {"update", "cleanup"}) {
        SCOPED_TRACE(stop);
        Start();
        MailGate gate;
        PluginQueue::SetHook([&](const PluginQueuedMail &mail) { gate.Hold(mail); });
        PluginSpoolMail mail = install.AddMail(PluginPlainMail({}, PluginSecretBody()));
        ZWMailResult result{};
        int code = -100;
        std::thread worker([&] { code = Run(mail, &result); });
        gate.WaitInside();

        install.Set("Confidential", "Action", "Delete");
        std::atomic<bool> stopped{false};
        int stopCode = -100;
        std::thread stopper([&] {
            stopCode =
                std::string(stop) == "update" ? plugin().Command("update") : plugin().Cleanup();
            stopped = true;
        });
        std::this_thread::sleep_for(std::chrono::milliseconds(200));
        EXPECT_FALSE(stopped);
        gate.Release();
        worker.join();
        stopper.join();
        PluginQueue::SetHook(nullptr);
        EXPECT_EQ(0, stopCode);
        EXPECT_EQ(0, code);
        EXPECT_EQ(2, result.action); // quarantined, as the settings said when it began
        if (std::string(stop) == "update") {
            EXPECT_EQ(0, Run(install.AddMail(PluginPlainMail({}, PluginSecretBody())), &result));
            EXPECT_EQ(1, result.action);
            EXPECT_EQ(0, plugin().Cleanup());
        } else {
            EXPECT_EQ(-9, Run(install.AddMail(PluginPlainMail({}, PluginSecretBody()))));
        }
        install.Set("Confidential", "Action", "Quarantine");
    }
}

} // namespace
