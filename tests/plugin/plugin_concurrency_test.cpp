// The plug-in under several host threads at once (run under ThreadSanitizer
// in CI): mails processed while the settings reload, update and cleanup
// waiting for a mail held inside.
#include <atomic>
#include <chrono>
#include <future>
#include <map>
#include <thread>

#include "support/plugin_host_fixture.h"

namespace {

using PluginConcurrencyTest = PluginTest;

TEST_F(PluginConcurrencyTest, MailsGetTheirVerdictsWhileSettingsReload)
{
    install.Set("Confidential", "WarningSender", "yes")
        .Set("Anti-Spam", {{"WarningAdmin", "yes"}, {"Admin", "postmaster@corp.example"}});
    const std::vector<PluginCorpusMail> corpus = PluginCorpus(180, 21);
    std::vector<PluginSpoolMail> mails;
    for (size_t i = 0; i < corpus.size(); ++i)
        mails.push_back(install.AddMail(corpus[i].text, {}, i % 4 == 3));
    const std::map<int, PluginVerdict> expected = {{PluginCorpusMail::kExecutable, {0, 4}},
                                                   {PluginCorpusMail::kJapanese, {0, 3}},
                                                   {PluginCorpusMail::kJunk, {2, 1}},
                                                   {PluginCorpusMail::kConfidential, {0, 2}}};
    Start();

    std::vector<ZWMailResult> results(mails.size());
    std::vector<int> codes(mails.size(), -100);
    std::atomic<size_t> next{0};
    std::atomic<int> working{3}, updates{0}, failedUpdates{0};
    std::thread updater([&] {
        do {
            (plugin().command("update") == 0 ? updates : failedUpdates)++;
            std::this_thread::yield();
        } while (working > 0);
    });
    std::vector<std::thread> workers;
    for (int t = 0; t < 3; ++t) {
        workers.emplace_back([&] {
            for (size_t i; (i = next++) < mails.size();) {
                ZWHostCall call = PluginCall(mails[i].af);
                codes[i] = plugin().process(&call, &results[i]);
            }
            --working;
        });
    }
    for (std::thread &worker : workers)
        worker.join();
    updater.join();
    EXPECT_EQ(0, plugin().cleanup());

    EXPECT_GE(updates.load(), 1);
    EXPECT_EQ(0, failedUpdates.load());
    std::map<int, size_t> kinds;
    for (size_t i = 0; i < mails.size(); ++i) {
        const auto found = expected.find(corpus[i].kind);
        const PluginVerdict verdict = found == expected.end() ? PluginVerdict(0, 0) : found->second;
        EXPECT_EQ(verdict, PluginVerdict(codes[i], results[i].action)) << "mail " << i;
        EXPECT_EQ(verdict.first == 2 ? 1 : 0, results[i].blocked) << "mail " << i;
        kinds[corpus[i].kind]++;
    }
    EXPECT_EQ(kinds[PluginCorpusMail::kConfidential] + kinds[PluginCorpusMail::kJunk],
              PluginQueue::Take().size());
    EXPECT_EQ(std::vector<std::string>{}, install.Files("tempdir"));
    EXPECT_EQ(kinds[PluginCorpusMail::kConfidential],
              install.Files("Quarantine/Confidential").size());
}

// The mail in progress (held in the queue function) keeps the settings it
// started with.
TEST_F(PluginConcurrencyTest, UpdateAndCleanupWaitForMailsInProgress)
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
            stopCode = stop == "update" ? plugin().command("update") : plugin().cleanup();
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
            EXPECT_EQ(0, plugin().cleanup());
        } else {
            EXPECT_EQ(-9, Run(next));
        }
        install.Set("Confidential", "Action", "Quarantine");
    }
}

} // namespace
