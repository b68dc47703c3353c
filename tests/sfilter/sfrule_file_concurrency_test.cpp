// One loader and one savor shared by several threads: each call sees whole
// files and whole records.
#include "sfilter/sfrule_file.h"

#include <gtest/gtest.h>

#include <atomic>
#include <string>
#include <thread>
#include <vector>

#include "support/rules_fixtures.h"

namespace {

TEST(SFRuleFileConcurrency, SharedLoaderAndSavor)
{
    BaseTempDir dir;
    std::vector<tagSFRuleContent> rules(20);
    for (size_t i = 0; i < rules.size(); ++i) {
        rules[i].name = "rule" + std::to_string(i);
        rules[i].attach = "*.exe";
    }
    c_special_filter_savor savor;
    ASSERT_TRUE(savor.SaveRuleFile(rules, dir.path("shared.txt").c_str()));

    c_special_filter_loader loader;
    std::atomic<int> wrong{0};
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t)
        threads.emplace_back([&, t] {
            const std::string own = dir.path("own" + std::to_string(t));
            for (int i = 0; i < 30; ++i) {
                std::vector<tagSFRuleContent> loaded;
                loader.LoadRuleFile(loaded, dir.path("shared.txt").c_str());
                wrong += loaded.size() != rules.size() || loaded.back().name != "rule19" ||
                         !savor.SaveRuleFile(loaded, own.c_str());
            }
        });
    for (std::thread &thread : threads)
        thread.join();
    EXPECT_EQ(wrong.load(), 0);
}

} // namespace
