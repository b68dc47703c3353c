// The rule set: rule lines and their messages, the editor's check, the rule
// file, enable table, vendor files (plain and sealed) and the list edits.
#include "rules/rule_scan.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "base/config_file.h"
#include "rules/rule_line.h"
#include "rules/sealed_file.h"
#include "sfilter/filter_config.h"
#include "support/rules_fixtures.h"

namespace {

struct RuleView {
    std::string name, sentence, actionText;
    ACT_TYPE action;
    MAIL_TYPE type;
    bool vendor, enabled;
};

RuleView view(CRuleScan &scan, int index)
{
    CExpression *rule = scan.GetExpression(index);
    EXPECT_NE(rule, nullptr);
    RuleView v{};
    if (!rule)
        return v;
    rule->GetName(v.name);
    rule->GetRule(v.sentence);
    rule->GetAction(v.actionText);
    v.action = rule->GetAction();
    v.type = rule->GetMailType();
    v.vendor = rule->IsVendor();
    v.enabled = rule->IsEnabled();
    return v;
}

std::vector<std::string> names(CRuleScan &scan)
{
    std::vector<std::string> out;
    for (int i = 0; i < scan.GetCount(); ++i)
        out.push_back(view(scan, i).name);
    return out;
}

TEST(RuleLine, ParseLineTable)
{
    struct Row {
        const char *line;
        const char *error;   // null: accepted
        const char *name, *sentence, *actionText;
        ACT_TYPE action;
        MAIL_TYPE type;
    } rows[] = {
        {"R1\\C\\SUBJ=\"a\\b\"\\DEL", nullptr, "R1", "SUBJ=\"a\\b\"", "DEL", ACT_DEL, MAIL_BOTH},
        {"Big mails\\C\\SIZE>3000000\\QUAR\r\n", nullptr, "Big mails", "SIZE>3000000", "QUAR", ACT_QUAR, MAIL_BOTH},
        {"R1\\A\\SIZE>10", nullptr, "R1", "SIZE>10", "", ACT_DEL, MAIL_INBOUND},
        {"R1\\A\\SIZE>10\n", nullptr, "R1", "SIZE>10", "", ACT_DEL, MAIL_INBOUND},
        {"\\Bxx\\FROM=I\"a,b\",SIZE<5\\DELETE \t\r", nullptr, "", "FROM=I\"a,b\",SIZE<5", "DELETE", ACT_DEL, MAIL_OUTBOUND},
        {"R\\C\\SIZE>1\\ARCH\\more", nullptr, "R", "SIZE>1", "ARCH", ACT_ARCH, MAIL_BOTH},
        {"R\\C\\SIZE>1\\BOGUS", nullptr, "R", "SIZE>1", "", ACT_DEL, MAIL_BOTH},
        {"no backslash", "No Rule Name Error!", "", "", "", ACT_DEL, MAIL_BOTH},
        {"R1\\A", "No Mail Type Error!", "", "", "", ACT_DEL, MAIL_BOTH},
        {"R1\\X\\SIZE>1\\DEL", "Mail Type Error!", "", "", "", ACT_DEL, MAIL_BOTH},
        {"R1\\a\\SIZE>1\\DEL", "Mail Type Error!", "", "", "", ACT_DEL, MAIL_BOTH},
        {"R1\\X\\", "Mail Type Error!", "", "", "", ACT_DEL, MAIL_BOTH},
        {"R1\\A\\\\DEL", "Sentence Syntax Error!", "", "", "", ACT_DEL, MAIL_BOTH},
        {"R1\\A\\", "No Sentence Error!", "", "", "", ACT_DEL, MAIL_BOTH},
        {"R1\\A\\SUBJ=\"a\\DEL", "No Sentence Error!", "", "", "", ACT_DEL, MAIL_BOTH},
        {"R1\\A\\FOO=\"x\"\\DEL", "Sentence Syntax Error!", "", "", "", ACT_DEL, MAIL_BOTH},
        {"R1\\A\\SUBJ=\"x\"y\\DEL", "Sentence Syntax Error!", "", "", "", ACT_DEL, MAIL_BOTH},
        {"", "", "", "", "", ACT_DEL, MAIL_BOTH},
        {"\r\n", "", "", "", "", ACT_DEL, MAIL_BOTH},
    };
    for (const Row &row : rows) {
        SCOPED_TRACE(row.line);
        CRuleScan scan;
        char error[RULE_ERROR_SIZE] = "stale";
        bool ok = scan.ParseLine(row.line, error);
        ASSERT_EQ(ok, row.error == nullptr);
        if (!ok) {
            EXPECT_STREQ(error, row.error);
            EXPECT_EQ(scan.GetCount(), 0);
            continue;
        }
        ASSERT_EQ(scan.GetCount(), 1);
        RuleView v = view(scan, 0);
        EXPECT_EQ(v.name, row.name);
        EXPECT_EQ(v.sentence, row.sentence);
        EXPECT_EQ(v.actionText, row.actionText);
        EXPECT_EQ(v.action, row.action);
        EXPECT_EQ(v.type, row.type);
        EXPECT_FALSE(v.vendor);
    }
    CRuleScan scan;
    char error[RULE_ERROR_SIZE];
    EXPECT_FALSE(scan.ParseLine(nullptr, error));
    EXPECT_TRUE(scan.ParseLine("V\\C\\SIZE>1\\DEL", error, true));
    EXPECT_TRUE(view(scan, 0).vendor);
}

TEST(RuleLine, CheckSyntaxTable)
{
    struct Row {
        const char *line;
        bool checkAction;
        RuleLineError error;
        int nameEnd, typeEnd, sentenceEnd;   // -1: not set
    } rows[] = {
        {"Big mails\\C\\SIZE>3000000\\QUAR", true, RULE_LINE_OK, 9, 11, 24},
        {"R1\\C\\SUBJ=\"a\\b\"\\DEL", true, RULE_LINE_OK, 2, 4, 15},
        {"R1\\A\\SIZE>10", true, RULE_LINE_NO_ACTION, 2, 4, 12},
        {"R1\\A\\SIZE>10", false, RULE_LINE_NO_ACTION, 2, 4, 12},
        {"R1\\A\\SIZE>10\\ \r\n", false, RULE_LINE_NO_ACTION, 2, 4, 12},
        {"R1\\A\\SIZE>10\\BOGUS", true, RULE_LINE_BAD_ACTION, 2, 4, 12},
        {"R1\\A\\SIZE>10\\BOGUS", false, RULE_LINE_OK, 2, 4, 12},
        {"R1\\AB\\FOO\\DEL", true, RULE_LINE_BAD_SENTENCE, 2, 5, 9},
        {"R1\\Q\\SIZE>1\\DEL", true, RULE_LINE_BAD_TYPE, 2, 4, -1},
        {"R1", true, RULE_LINE_NO_NAME, -1, -1, -1},
        {"Name\\", true, RULE_LINE_NO_TYPE, 4, -1, -1},
    };
    for (const Row &row : rows) {
        SCOPED_TRACE(row.line);
        CRuleScan scan;
        int nameEnd = -1, typeEnd = -1, sentenceEnd = -1;
        EXPECT_EQ(scan.CheckSyntax(row.line, nameEnd, typeEnd, sentenceEnd, row.checkAction),
                  row.error == RULE_LINE_OK);
        EXPECT_EQ(CheckRuleLine(row.line, row.checkAction), row.error);
        EXPECT_EQ(nameEnd, row.nameEnd);
        EXPECT_EQ(typeEnd, row.typeEnd);
        EXPECT_EQ(sentenceEnd, row.sentenceEnd);
        EXPECT_EQ(scan.GetCount(), 0);
    }
    EXPECT_STREQ(RuleLineMessage(RULE_LINE_NO_ACTION), "No Action Error!");
    EXPECT_STREQ(RuleLineMessage(RULE_LINE_BAD_ACTION), "Action Error!");
}

TEST(RuleFile, LoadSaveAndReload)
{
    RulesTempDir dir;
    const std::string file = dir.file("spamrule.txt");
    WriteFile(file, "R1\\A\\SIZE>10\\DEL\r\n"
                           "bad line\n"
                           "\n"
                           "R2\\B\\SUBJ=I\"a\\\\b, c\"\\QUAR\n"
                           "R3\\C\\FROM=S\"*x*\"\\ARCH");
    CRuleScan scan;
    ASSERT_TRUE(scan.Initialize(file.c_str()));
    EXPECT_EQ(names(scan), (std::vector<std::string>{"R1", "R2", "R3"}));
    char error[RULE_ERROR_SIZE];
    ASSERT_TRUE(scan.ParseLine("V1\\C\\SIZE>1\\DEL", error, true));

    ASSERT_TRUE(scan.SaveRuleFile(dir.file("saved.txt").c_str()));
    EXPECT_EQ(ReadFile(dir.file("saved.txt")),
              "R1\\A\\SIZE>10\\DEL\n"
              "R2\\B\\SUBJ=I\"a\\\\b, c\"\\QUAR\n"
              "R3\\C\\FROM=S\"*x*\"\\ARCH\n"
              "V1\\C\\SIZE>1\\DEL\n");

    // A reload replaces every rule, the vendor's too.
    WriteFile(file, "N1\\C\\SIZE>1\\DEL\n");
    ASSERT_TRUE(scan.LoadRuleFile(file.c_str()));
    EXPECT_EQ(names(scan), (std::vector<std::string>{"N1"}));
    EXPECT_FALSE(scan.LoadRuleFile(dir.file("missing.txt").c_str()));
    EXPECT_EQ(names(scan), (std::vector<std::string>{"N1"}));
    CRuleScan fresh;
    EXPECT_FALSE(fresh.Initialize(dir.file("missing.txt").c_str()));
    EXPECT_FALSE(fresh.SaveRuleFile(dir.file("no/dir/x").c_str()));
}

TEST(RuleFile, EnableTableBesideTheRuleFile)
{
    RulesTempDir dir;
    const std::string file = dir.file("spamrule.txt");
    WriteFile(file, "A\\C\\SIZE>1\\DEL\nB\\C\\SIZE>1\\DEL\nC\\C\\SIZE>1\\DEL\nD\\C\\SIZE>1\\DEL\n");
    struct Row {
        const char *table;   // null: no table
        std::vector<bool> enabled;
    } rows[] = {
        {"101", {true, false, true, true}},
        {"0000000", {false, false, false, false}},
        {"x0\n0", {true, false, true, false}},
        {"", {true, true, true, true}},
        {nullptr, {true, true, true, true}},
    };
    for (const Row &row : rows) {
        SCOPED_TRACE(row.table ? row.table : "(none)");
        std::remove(dir.file("spamruleEnable.txt").c_str());
        if (row.table)
            WriteFile(dir.file("spamruleEnable.txt"), row.table);
        CRuleScan scan;
        ASSERT_TRUE(scan.Initialize(file.c_str()));
        ASSERT_EQ(scan.GetCount(), 4);
        for (int i = 0; i < 4; ++i)
            EXPECT_EQ(view(scan, i).enabled, row.enabled[i]) << "rule " << i;
    }
}

TEST(RuleList, AddGetAndDelete)
{
    CRuleScan scan;
    char error[RULE_ERROR_SIZE];
    for (const char *line : {"a\\C\\SIZE>1\\DEL", "b\\C\\SIZE>1\\DEL", "c\\C\\SIZE>1\\DEL",
                             "d\\C\\SIZE>1\\DEL"})
        ASSERT_TRUE(scan.ParseLine(line, error));
    EXPECT_EQ(scan.GetExpression(4), nullptr);
    EXPECT_EQ(scan.GetExpression(-1), nullptr);
    EXPECT_FALSE(scan.DeleteExpression(4));
    EXPECT_TRUE(scan.DeleteExpression(3));   // the tail
    EXPECT_TRUE(scan.DeleteExpression(1));   // the middle
    EXPECT_TRUE(scan.DeleteExpression(0));   // the head
    EXPECT_EQ(names(scan), (std::vector<std::string>{"c"}));
    CExpression *added = scan.AddExpression();
    ASSERT_NE(added, nullptr);
    added->SetName("e");
    EXPECT_EQ(names(scan), (std::vector<std::string>{"c", "e"}));
    EXPECT_TRUE(scan.DeleteExpression(0));
    EXPECT_TRUE(scan.DeleteExpression(0));
    EXPECT_EQ(scan.GetCount(), 0);
    EXPECT_EQ(scan.AddExpression(nullptr), nullptr);
    ASSERT_TRUE(scan.ParseLine("f\\C\\SIZE>1\\DEL", error));
    EXPECT_EQ(names(scan), (std::vector<std::string>{"f"}));
}

// Points the filters' settings at an ini file for the life of the object.
class ScopedSettings {
public:
    ScopedSettings(const RulesTempDir &dir, const std::string &text)
        : m_path(dir.file("contscan.ini"))
    {
        WriteFile(m_path, text);
        m_config = new ConfigFile(m_path.c_str(), 0);
        SetFilterConfigSource(&m_config);
    }
    ~ScopedSettings()
    {
        SetFilterConfigSource(nullptr);
        delete m_config;
    }

private:
    std::string m_path;
    ConfigFile *m_config;
};

TEST(VendorRules, ImportedRulesFollowWithTheConfiguredAction)
{
    struct Row {
        const char *setting;   // null: no settings at all
        const char *actionText;
        ACT_TYPE action;
    } rows[] = {
        {nullptr, "QUAR", ACT_QUAR},
        {"[Anti-Spam(Vendor)]\nAction=delete\n", "DEL", ACT_DEL},
        {"[Anti-Spam(Vendor)]\nAction=QUARANTINE\n", "QUAR", ACT_QUAR},
        {"[Anti-Spam(Vendor)]\nAction=Archive\n", "ARCH", ACT_ARCH},
        {"[Anti-Spam(Vendor)]\nAction=Deleted\n", "ARCH", ACT_ARCH},
        {"[Other]\nx=1\n", "QUAR", ACT_QUAR},
    };
    for (const Row &row : rows) {
        SCOPED_TRACE(row.setting ? row.setting : "(none)");
        RulesTempDir dir;
        std::unique_ptr<ScopedSettings> settings;
        if (row.setting)
            settings.reset(new ScopedSettings(dir, row.setting));
        WriteFile(dir.file("vendor.txt"),
                         "V1\\C\\SIZE>1\\DEL\nbroken\nV2\\A\\SUBJ=\"x\"\\ARCH\n" +
                             std::string(600, 'x') + "\n");
        CRuleScan scan;
        char error[RULE_ERROR_SIZE];
        ASSERT_TRUE(scan.ParseLine("admin\\C\\SIZE>1\\DEL", error));
        ASSERT_TRUE(scan.LoadImportRuleFile(dir.file("vendor.txt").c_str()));
        EXPECT_EQ(names(scan), (std::vector<std::string>{"admin", "V1", "V2"}));
        EXPECT_FALSE(view(scan, 0).vendor);
        for (int i = 1; i < 3; ++i) {
            RuleView v = view(scan, i);
            EXPECT_TRUE(v.vendor);
            EXPECT_EQ(v.actionText, row.actionText);
            EXPECT_EQ(v.action, row.action);
        }
        EXPECT_FALSE(scan.LoadImportRuleFile(dir.file("missing").c_str()));
        EXPECT_EQ(scan.GetCount(), 3);
    }
}

TEST(VendorRules, SealedFileLoadsAndLeavesNoPlainCopy)
{
    RulesTempDir dir;
    const std::string work = dir.file("work");
    std::filesystem::create_directory(work);
    WriteFile(dir.file("plain.txt"), "S1\\C\\SIZE>1\\DEL\nS2\\B\\SIZE<9\\DEL\n");
    ASSERT_NE(EncrptFileWithCRC(dir.file("plain.txt").c_str(), dir.file("sealed").c_str()), -1);

    CRuleScan scan;
    EXPECT_TRUE(scan.LoadEncrptFile(dir.file("sealed").c_str(), (work + "/").c_str()));
    EXPECT_EQ(names(scan), (std::vector<std::string>{"S1", "S2"}));
    EXPECT_TRUE(view(scan, 1).vendor);

    std::string damaged = ReadFile(dir.file("sealed"));
    damaged.back() ^= 1;
    WriteFile(dir.file("damaged"), damaged);
    EXPECT_FALSE(scan.LoadEncrptFile(dir.file("damaged").c_str(), (work + "/").c_str()));
    EXPECT_FALSE(scan.LoadEncrptFile(dir.file("missing").c_str(), (work + "/").c_str()));
    EXPECT_EQ(scan.GetCount(), 2);
    EXPECT_TRUE(std::filesystem::is_empty(work));
}

TEST(RuleSettings, ProfileDefaultsAndValues)
{
    RulesTempDir dir;
    CRuleScan scan;
    scan.LoadProfile();
    EXPECT_EQ(scan.GetMaxWriteLine(), 50);
    EXPECT_EQ(scan.GetDecodeTnef(), 1);
    EXPECT_FALSE(scan.GetEnableAttachScan());
    struct Row {
        const char *value;
        bool enabled;
    } rows[] = {{"1", true}, {"2", false}, {"yes", false}, {"0", false}};
    for (const Row &row : rows) {
        ScopedSettings settings(dir, std::string("[Content Filter]\nMaxWriteLine=7\nDECODETNEF=0\n"
                                                 "EnableAttachScan=") +
                                         row.value + "\n");
        scan.LoadProfile();
        EXPECT_EQ(scan.GetMaxWriteLine(), 7);
        EXPECT_EQ(scan.GetDecodeTnef(), 0);
        EXPECT_EQ(scan.GetEnableAttachScan(), row.enabled) << row.value;
    }
}

TEST(RuleScanDirection, FromEnvelopeName)
{
    struct Row {
        const char *af;
        MAIL_TYPE direction;
    } rows[] = {
        {"xxO123", MAIL_OUTBOUND}, {"/spool/AFO1234", MAIL_OUTBOUND}, {"xxI123", MAIL_INBOUND},
        {"ab", MAIL_INBOUND},      {"xO", MAIL_INBOUND},              {"xxO", MAIL_INBOUND},
        {"AFO/xxI1", MAIL_INBOUND}, {"", MAIL_INBOUND},               {nullptr, MAIL_INBOUND},
    };
    for (const Row &row : rows)
        EXPECT_EQ(MailDirectionFromName(row.af), row.direction) << (row.af ? row.af : "(null)");
}

} // namespace
