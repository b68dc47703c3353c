// Several threads scan mails with one policy set at once, each with its own
// MEMBUF and result list, as the plug-in's host threads do.
#include <gtest/gtest.h>

#include <atomic>
#include <memory>
#include <thread>

#include "contscan/content_scan.h"
#include "support/contscan_fixtures.h"

namespace
{

TEST(ContentScanConcurrency, ThreadsShareOnePolicySet)
{
    BaseTempDir dir;
    std::string policy =
        dir.write("CsConfig.dat",
                  PolicyFileText({"shMoney", "whfree", "wdmoney", "shWin", "whwinner", "ewtest"}));
    std::string ini = dir.write("contscan.ini", "");
    POLICYSET *set = ZWContScanInit(policy.c_str(), ini.c_str());
    ASSERT_NE(set, nullptr);
    const std::string texts[] = {"FREE money for the WINNER", "a test winner", "nothing here"};
    const int expected[][2] = {{1, 1}, {0, 0}, {0, 0}}; // matched flags of Money, Win

    std::atomic<int> wrong{0};
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t)
        threads.emplace_back([&, t] {
            std::string file = dir.write("DFI" + std::to_string(t), "");
            for (int round = 0; round < 200; ++round) {
                int which = (round + t) % 3;
                std::unique_ptr<MEMBUF> membuf(new MEMBUF{});
                membuf->m_bInMemory = round % 2;
                texts[which].copy(membuf->m_szData, sizeof membuf->m_szData - 1);
                if (!membuf->m_bInMemory)
                    dir.write("DFI" + std::to_string(t), texts[which]);
                _POLICY_MATCH_INFO win{set->m_pFirstPolicy->m_pNext, 0, 0, nullptr};
                _POLICY_MATCH_INFO money{set->m_pFirstPolicy, 0, 0, &win};
                ZWContScanScanFile(set, membuf.get(), &file[0], &money);
                wrong += money.m_nMatched != expected[which][0] || win.m_nMatched != expected[which][1];
            }
        });
    for (std::thread &thread : threads)
        thread.join();
    EXPECT_EQ(wrong.load(), 0);
    ZWContScanCleanUp(set);
}

} // namespace
