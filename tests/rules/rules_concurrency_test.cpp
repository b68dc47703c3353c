// Several threads scan mails while another reloads the rule file, the vendor
// rules and the specialized filter: every scan sees one whole rule set.
#include "rules/rule_scan.h"

#include <gtest/gtest.h>

#include <atomic>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "sfilter/sfrule_file.h"
#include "support/rules_fixtures.h"

namespace {

TEST(RulesConcurrency, ScansWhileReloading)
{
    BaseTempDir dir;
    const std::string af = dir.write("AFI0001", "Sfigures\nOa@example.org\n");
    const std::string df = dir.write("DFI0001", kRulesExeMail);
    const std::string first = dir.write("first.txt", "a\\C\\DOM=\"mx.example.net\"\\QUAR\n");
    const std::string second = dir.write("second.txt", "b\\C\\SIZE>-1\\DEL\nc\\C\\SIZE>-1\\DEL\n");
    const std::string vendor = dir.write("vendor.txt", "v\\C\\SIZE>-1\\DEL\n");
    tagSFRuleContent content;
    content.name = "exe", content.attach = "*.exe";
    ASSERT_TRUE(c_special_filter_savor().SaveRuleFile({content}, dir.path("SFRule.txt").c_str()));

    CRuleScan scan;
    ASSERT_TRUE(scan.Initialize(first.c_str()));
    scan.LoadSFilterSetting(dir.path("SFRule.txt").c_str(), nullptr);

    std::atomic<bool> stop{false};
    std::atomic<int> unexpected{0}, scans{0};
    std::vector<std::thread> readers;
    for (int r = 0; r < 4; ++r)
        readers.emplace_back([&, r] {
            std::unique_ptr<MEMBUF> text(new MEMBUF());
            const std::string textFile = dir.path("text" + std::to_string(r));
            for (int i = 0; i < 60 || !stop.load(); ++i) {
                CMailInfo info;
                info.ParseAFInfo(af.c_str(), true);
                Replace_Stru replace;
                std::string name, sentence, action;
                TriggerType trigger = TRIGGER_ADMIN;
                bool matched = scan.Scan(af.c_str(), df.c_str(), name, sentence, action, trigger,
                                         info, text.get(), textFile.c_str(), &replace);
                bool known = matched && (name == "a" || name == "b" || name == "v") &&
                             (name == "v") == (trigger == TRIGGER_VENDOR);
                unexpected += !known || replace.count > 1;
                if (++scans, i > 10000)
                    break;
            }
        });
    for (int round = 0; round < 40; ++round) {
        ASSERT_TRUE(scan.LoadRuleFile(round % 2 ? first.c_str() : second.c_str()));
        ASSERT_TRUE(scan.LoadImportRuleFile(vendor.c_str()));
        scan.LoadSFilterSetting(dir.path("SFRule.txt").c_str(), nullptr);
    }
    stop = true;
    for (std::thread &reader : readers)
        reader.join();
    EXPECT_EQ(unexpected.load(), 0);
    EXPECT_GE(scans.load(), 240);
}

} // namespace
