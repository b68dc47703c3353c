// The rule set: rule lines and their messages, the rule file, enable table,
// vendor files (plain and sealed) and the settings.
#include "rules/rule_scan.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "base/config_file.h"
#include "rules/sealed_file.h"
#include "sfilter/filter_config.h"
#include "support/rules_fixtures.h"

namespace {

// "name|sentence|action text|action|mail type[|vendor][|off]"
std::string describe(CRuleScan &scan, int index)
{
    CExpression *rule = scan.GetExpression(index);
    if (!rule)
        return "(none)";
    static const char *const actions[] = {"del", "quar", "arch"};
    static const char *const types[] = {"in", "out", "both"};
    std::string name, sentence, action;
    rule->GetName(name);
    rule->GetRule(sentence);
    rule->GetAction(action);
    return name + "|" + sentence + "|" + action + "|" + actions[rule->GetAction()] + "|" +
           types[rule->GetMailType()] + (rule->IsVendor() ? "|vendor" : "") +
           (rule->IsEnabled() ? "" : "|off");
}

std::vector<std::string> rules(CRuleScan &scan)
{
    std::vector<std::string> out;
    for (int i = 0; i < scan.GetCount(); ++i)
        out.push_back(describe(scan, i));
    return out;
}

std::vector<std::string> names(CRuleScan &scan)
{
    std::vector<std::string> out = rules(scan);
    for (std::string &rule : out)
        rule.erase(rule.find('|'));
    return out;
}

TEST(RuleLine, ParseLineTable)
{
    const std::pair<const char *, const char *> rows[] = {   // the rule, or the error
        {"R1\\C\\SUBJ=\"a\\b\"\\DEL", "R1|SUBJ=\"a\\b\"|DEL|del|both"},
        {"Big mails\\C\\SIZE>3000000\\QUAR\r\n", "Big mails|SIZE>3000000|QUAR|quar|both"},
        {"R1\\A\\SIZE>10\n", "R1|SIZE>10||del|in"}, {"R\\C\\SIZE>1\\BOGUS", "R|SIZE>1||del|both"},
        {"\\Bxx\\FROM=I\"a,b\",SIZE<5\\DELETE \t\r", "|FROM=I\"a,b\",SIZE<5|DELETE|del|out"},
        {"R\\C\\SIZE>1\\ARCH\\more", "R|SIZE>1|ARCH|arch|both"}, {"no backslash", "No Rule Name Error!"},
        {"R1\\A", "No Mail Type Error!"}, {"R1\\a\\SIZE>1\\DEL", "Mail Type Error!"},
        {"R1\\A\\\\DEL", "Sentence Syntax Error!"}, {"R1\\A\\", "No Sentence Error!"},
        {"R1\\A\\SUBJ=\"a\\DEL", "No Sentence Error!"}, {"R1\\A\\SUBJ=\"x\"y\\DEL", "Sentence Syntax Error!"},
        {"\r\n", ""},
    };
    for (const auto &row : rows) {
        CRuleScan scan;
        char error[RULE_ERROR_SIZE] = "stale";
        const bool ok = scan.ParseLine(row.first, error);
        EXPECT_EQ(ok ? describe(scan, 0) : error, row.second) << row.first;
        EXPECT_EQ(scan.GetCount(), ok ? 1 : 0) << row.first;
    }
    CRuleScan scan;
    char error[RULE_ERROR_SIZE];
    EXPECT_FALSE(scan.ParseLine(nullptr, error));
    EXPECT_TRUE(scan.ParseLine("V\\C\\SIZE>1\\DEL", error, true));
    EXPECT_EQ(describe(scan, 0), "V|SIZE>1|DEL|del|both|vendor");
}

TEST(RuleFile, LoadSaveAndReload)
{
    BaseTempDir dir;
    const std::string file = dir.write("spamrule.txt", "R1\\A\\SIZE>10\\DEL\r\nbad line\n\nR2\\B\\SUBJ=I\"a\\\\b, c\"\\QUAR\n"
                    "R3\\C\\FROM=S\"*x*\"\\ARCH");
    CRuleScan scan;
    ASSERT_TRUE(scan.Initialize(file.c_str()));
    EXPECT_EQ(names(scan), (std::vector<std::string>{"R1", "R2", "R3"}));
    char error[RULE_ERROR_SIZE];
    ASSERT_TRUE(scan.ParseLine("V1\\C\\SIZE>1\\DEL", error, true));

    ASSERT_TRUE(scan.SaveRuleFile(dir.path("saved.txt").c_str()));
    EXPECT_EQ(ReadFile(dir.path("saved.txt")), "R1\\A\\SIZE>10\\DEL\nR2\\B\\SUBJ=I\"a\\\\b, c\"\\QUAR\n"
                                               "R3\\C\\FROM=S\"*x*\"\\ARCH\nV1\\C\\SIZE>1\\DEL\n");

    WriteFile(file, "N1\\C\\SIZE>1\\DEL\n");
    ASSERT_TRUE(scan.LoadRuleFile(file.c_str()));
    EXPECT_EQ(names(scan), (std::vector<std::string>{"N1"}));
    EXPECT_FALSE(scan.LoadRuleFile(dir.path("missing.txt").c_str()));
    EXPECT_EQ(names(scan), (std::vector<std::string>{"N1"}));
    CRuleScan fresh;
    EXPECT_FALSE(fresh.Initialize(dir.path("missing.txt").c_str()));
    EXPECT_FALSE(fresh.SaveRuleFile(dir.path("no/dir/x").c_str()));
}

TEST(RuleFile, EnableTableBesideTheRuleFile)
{
    BaseTempDir dir;
    const std::string file = dir.write("spamrule.txt", "A\\C\\SIZE>1\\DEL\nB\\C\\SIZE>1\\DEL\nC\\C\\SIZE>1\\DEL\nD\\C\\SIZE>1\\DEL\n");
    const std::pair<const char *, const char *> rows[] = {   // table (null: none), enabled rules
        {"101", "1011"}, {"0000000", "0000"}, {"x0\n0", "1010"}, {"", "1111"}, {nullptr, "1111"}};
    for (const auto &row : rows) {
        std::remove(dir.path("spamruleEnable.txt").c_str());
        if (row.first)
            WriteFile(dir.path("spamruleEnable.txt"), row.first);
        CRuleScan scan;
        ASSERT_TRUE(scan.Initialize(file.c_str()));
        std::string enabled;
        for (int i = 0; i < scan.GetCount(); ++i)
            enabled += scan.GetExpression(i)->IsEnabled() ? "1" : "0";
        EXPECT_EQ(enabled, row.second) << (row.first ? row.first : "(none)");
    }
}

// Points the filters' settings at an ini file for the life of the object.
class ScopedSettings {
public:
    ScopedSettings(const BaseTempDir &dir, const std::string &text)
        : m_config(new ConfigFile(dir.write("contscan.ini", text).c_str(), 0))
    {
        SetFilterConfigSource(&m_config);
    }
    ~ScopedSettings()
    {
        SetFilterConfigSource(nullptr);
        delete m_config;
    }

private:
    ConfigFile *m_config;
};

TEST(VendorRules, ImportedRulesFollowWithTheConfiguredAction)
{
    const std::pair<const char *, std::string> rows[] = {   // settings (null: none), action
        {nullptr, "QUAR|quar"}, {"[Anti-Spam(Vendor)]\nAction=delete\n", "DEL|del"},
        {"[Anti-Spam(Vendor)]\nAction=Archive\n", "ARCH|arch"},
        {"[Anti-Spam(Vendor)]\nAction=Deleted\n", "ARCH|arch"},
    };
    for (const auto &row : rows) {
        SCOPED_TRACE(row.first ? row.first : "(none)");
        BaseTempDir dir;
        std::unique_ptr<ScopedSettings> settings;
        if (row.first)
            settings.reset(new ScopedSettings(dir, row.first));
        dir.write("vendor.txt", "V1\\C\\SIZE>1\\DEL\nbroken\nV2\\A\\SUBJ=\"x\"\\ARCH\n" + std::string(600, 'x') + "\n");
        CRuleScan scan;
        char error[RULE_ERROR_SIZE];
        ASSERT_TRUE(scan.ParseLine("admin\\C\\SIZE>1\\DEL", error));
        ASSERT_TRUE(scan.LoadImportRuleFile(dir.path("vendor.txt").c_str()));
        EXPECT_FALSE(scan.LoadImportRuleFile(dir.path("missing").c_str()));
        EXPECT_EQ(rules(scan), (std::vector<std::string>{"admin|SIZE>1|DEL|del|both",
                                                         "V1|SIZE>1|" + row.second + "|both|vendor",
                                                         "V2|SUBJ=\"x\"|" + row.second + "|in|vendor"}));
    }
}

TEST(VendorRules, SealedFileLoadsAndLeavesNoPlainCopy)
{
    BaseTempDir dir;
    const std::string work = dir.path("work");
    std::filesystem::create_directory(work);
    const std::string plain = dir.write("plain.txt", "S1\\C\\SIZE>1\\DEL\nS2\\B\\SIZE<9\\DEL\n");
    ASSERT_NE(EncrptFileWithCRC(plain.c_str(), dir.path("sealed").c_str()), -1);

    CRuleScan scan;
    EXPECT_TRUE(scan.LoadEncrptFile(dir.path("sealed").c_str(), (work + "/").c_str()));
    EXPECT_EQ(rules(scan), (std::vector<std::string>{"S1|SIZE>1|QUAR|quar|both|vendor",
                                                     "S2|SIZE<9|QUAR|quar|out|vendor"}));

    std::string damaged = ReadFile(dir.path("sealed"));
    damaged.back() ^= 1;
    WriteFile(dir.path("damaged"), damaged);
    EXPECT_FALSE(scan.LoadEncrptFile(dir.path("damaged").c_str(), (work + "/").c_str()));
    EXPECT_FALSE(scan.LoadEncrptFile(dir.path("missing").c_str(), (work + "/").c_str()));
    EXPECT_EQ(scan.GetCount(), 2);
    EXPECT_TRUE(std::filesystem::is_empty(work));
}

} // namespace
