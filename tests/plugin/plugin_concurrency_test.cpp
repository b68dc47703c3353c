// The plug-in under several host threads at once (run under ThreadSanitizer
// in CI): mails of every kind processed in parallel while another thread
// reloads the settings over and over, and a Cleanup arriving while mails are
// still coming in. Every mail gets the verdict its kind calls for.
#include <atomic>
#include <map>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "support/plugin_host_fixture.h"
#include "support/plugin_mail_corpus.h"

namespace {

using PluginConcurrencyTest = PluginTest;

struct Outcome {
    int code = -100;
    ZWMailResult result{};
};

// Result code and action code that each kind of corpus mail must get from
// the default installation.
std::pair<int, int> Expected(PluginCorpusMail::Kind kind)
{
    switch (kind) {
    case PluginCorpusMail::kExecutable:
        return {0, 4};
    case PluginCorpusMail::kJapanese:
        return {0, 3};
    case PluginCorpusMail::kJunk:
        return {2, 1};
    case PluginCorpusMail::kConfidential:
        return {0, 2};
    default:
        return {0, 0};
    }
}

TEST_F(PluginConcurrencyTest, MailsGetTheirVerdictsWhileSettingsReload)
{
    install.Set("Confidential", "WarningSender", "yes")
        .Set("Anti-Spam", {{"WarningAdmin", "yes"}, {"Admin", "postmaster@corp.example"}});
    const std::vector<PluginCorpusMail> corpus = PluginCorpus(180, 21);
    std::vector<PluginSpoolMail> mails;
    for (size_t i = 0; i < corpus.size(); ++i)
        mails.push_back(install.AddMail(corpus[i].text, {}, i % 4 == 3));
    Start();

    std::vector<Outcome> outcomes(mails.size());
    std::atomic<size_t> next{0};
    std::atomic<int> working{3};
    std::atomic<int> updates{0}, failedUpdates{0};
    std::thread updater([&] {
        do {
            (plugin().Command("update") == 0 ? updates : failedUpdates)++;
            std::this_thread::yield();
        } while (working > 0);
    });
    std::vector<std::thread> workers;
    for (int t = 0; t < 3; ++t) {
        workers.emplace_back([&] {
            for (size_t i; (i = next++) < mails.size();) {
                ZWHostCall call = PluginCall(mails[i].af);
                outcomes[i].code = plugin().Process(&call, &outcomes[i].result);
            }
            --working;
        });
    }
    for (std::thread &worker : workers)
        worker.join();
    updater.join();
    EXPECT_EQ(0, plugin().Cleanup());

    EXPECT_GE(updates.load(), 1);
    EXPECT_EQ(0, failedUpdates.load());
    std::map<int, int> warnings; // expected notifications
    for (size_t i = 0; i < mails.size(); ++i) {
        const std::pair<int, int> expected = Expected(corpus[i].kind);
        EXPECT_EQ(expected.first, outcomes[i].code) << "mail " << i;
        EXPECT_EQ(expected.second, outcomes[i].result.action) << "mail " << i;
        EXPECT_EQ(expected.first == 2 ? 1 : 0, outcomes[i].result.blocked) << "mail " << i;
        warnings[corpus[i].kind]++;
    }
    EXPECT_EQ(static_cast<size_t>(warnings[PluginCorpusMail::kConfidential] +
                                  warnings[PluginCorpusMail::kJunk]),
              PluginQueue::Take().size());
    EXPECT_EQ(std::vector<std::string>{}, install.Files("tempdir"));
    EXPECT_EQ(static_cast<size_t>(warnings[PluginCorpusMail::kConfidential]),
              install.Files("Quarantine/Confidential").size());
}

// Cleanup waits for the mails inside; calls made after it returned are
// refused with -9; nothing crashes while the objects go away.
TEST_F(PluginConcurrencyTest, CleanupWhileMailsKeepComing)
{
    install.Set("Content Filter", "DebugLog", "yes");
    const std::vector<PluginCorpusMail> corpus = PluginCorpus(30, 4);
    std::vector<PluginSpoolMail> mails;
    for (const PluginCorpusMail &mail : corpus)
        mails.push_back(install.AddMail(mail.text));
    Start();

    std::atomic<bool> stopped{false};
    std::atomic<int> processed{0}, badCodes{0}, lateSuccesses{0};
    std::vector<std::thread> workers;
    // Each thread keeps to mails of its own, as a host never hands one mail
    // to two threads: a mail whose attachment is replaced is rewritten in place.
    const size_t threads = 3;
    for (size_t t = 0; t < threads; ++t) {
        workers.emplace_back([&, t] {
            for (size_t i = t;; i = i + threads < mails.size() ? i + threads : t) {
                const bool afterStop = stopped;
                ZWHostCall call = PluginCall(mails[i].af);
                ZWMailResult result{};
                const int code = plugin().Process(&call, &result);
                ++processed;
                if (code != 0 && code != 2 && code != -9)
                    ++badCodes;
                if (afterStop && code != -9)
                    ++lateSuccesses;
                if (afterStop && code == -9)
                    return;
            }
        });
    }
    while (processed < 40)
        std::this_thread::yield();
    EXPECT_EQ(0, plugin().Cleanup());
    stopped = true;
    for (std::thread &worker : workers)
        worker.join();
    EXPECT_EQ(0, badCodes.load());
    EXPECT_EQ(0, lateSuccesses.load());
    EXPECT_NE(std::string::npos, install.DebugLog().find("ZWEmailPluginCleanup: OK!!"));
    EXPECT_EQ(std::vector<std::string>{}, install.Files("tempdir"));
}

} // namespace
