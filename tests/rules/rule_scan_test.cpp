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

// A rule as "name|sentence|action text|action type|mail type", with "|vendor"
// for a vendor rule and "|off" for a disabled one.
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
    std::vector<std::string> out;
    for (const std::string &rule : rules(scan))
        out.push_back(rule.substr(0, rule.find('|')));
    return out;
}

TEST(RuleLine, ParseLineTable)
{
    const std::pair<const char *, const char *> rows[] = {   // the rule, or the error
        {"R1\\C\\SUBJ=\"a\\b\"\\DEL", "R1|SUBJ=\"a\\b\"|DEL|del|both"},
        {"Big mails\\C\\SIZE>3000000\\QUAR\r\n", "Big mails|SIZE>3000000|QUAR|quar|both"},
        {"R1\\A\\SIZE>10", "R1|SIZE>10||del|in"},
        {"R1\\A\\SIZE>10\n", "R1|SIZE>10||del|in"},
        {"\\Bxx\\FROM=I\"a,b\",SIZE<5\\DELETE \t\r", "|FROM=I\"a,b\",SIZE<5|DELETE|del|out"},
        {"R\\C\\SIZE>1\\ARCH\\more", "R|SIZE>1|ARCH|arch|both"},
        {"R\\C\\SIZE>1\\BOGUS", "R|SIZE>1||del|both"},
        {"no backslash", "No Rule Name Error!"},
        {"R1\\A", "No Mail Type Error!"},
        {"R1\\X\\SIZE>1\\DEL", "Mail Type Error!"},
        {"R1\\a\\SIZE>1\\DEL", "Mail Type Error!"},
        {"R1\\X\\", "Mail Type Error!"},
        {"R1\\A\\\\DEL", "Sentence Syntax Error!"},
        {"R1\\A\\", "No Sentence Error!"},
        {"R1\\A\\SUBJ=\"a\\DEL", "No Sentence Error!"},
        {"R1\\A\\FOO=\"x\"\\DEL", "Sentence Syntax Error!"},
        {"R1\\A\\SUBJ=\"x\"y\\DEL", "Sentence Syntax Error!"},
        {"", ""},
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
        {"R1", true, RULE_LINE_NO_NAME, -1, -1, -1}, {"Name\\", true, RULE_LINE_NO_TYPE, 4, -1, -1},
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
    const std::pair<const char *, const char *> rows[] = {   // table (null: none), enabled rules
        {"101", "1011"}, {"0000000", "0000"}, {"x0\n0", "1010"}, {"", "1111"}, {nullptr, "1111"}};
    for (const auto &row : rows) {
        std::remove(dir.file("spamruleEnable.txt").c_str());
        if (row.first)
            WriteFile(dir.file("spamruleEnable.txt"), row.first);
        CRuleScan scan;
        ASSERT_TRUE(scan.Initialize(file.c_str()));
        std::string enabled;
        for (int i = 0; i < scan.GetCount(); ++i)
            enabled += scan.GetExpression(i)->IsEnabled() ? "1" : "0";
        EXPECT_EQ(enabled, row.second) << (row.first ? row.first : "(none)");
    }
}

TEST(RuleList, AddGetAndDelete)
{
    CRuleScan scan;
    char error[RULE_ERROR_SIZE];
    for (const char *name : {"a", "b", "c", "d"})
        ASSERT_TRUE(scan.ParseLine((std::string(name) + "\\C\\SIZE>1\\DEL").c_str(), error));
    EXPECT_EQ(scan.GetExpression(4), nullptr);
    EXPECT_EQ(scan.GetExpression(-1), nullptr);
    EXPECT_FALSE(scan.DeleteExpression(4));
    for (int index : {3, 1, 0})   // the tail, the middle, the head
        EXPECT_TRUE(scan.DeleteExpression(index));
    scan.AddExpression()->SetName("e");
    EXPECT_EQ(names(scan), (std::vector<std::string>{"c", "e"}));
    EXPECT_TRUE(scan.DeleteExpression(0));
    EXPECT_TRUE(scan.DeleteExpression(0));
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
    const std::pair<const char *, std::string> rows[] = {   // settings (null: none), action
        {nullptr, "QUAR|quar"},
        {"[Anti-Spam(Vendor)]\nAction=delete\n", "DEL|del"},
        {"[Anti-Spam(Vendor)]\nAction=QUARANTINE\n", "QUAR|quar"},
        {"[Anti-Spam(Vendor)]\nAction=Archive\n", "ARCH|arch"},
        {"[Anti-Spam(Vendor)]\nAction=Deleted\n", "ARCH|arch"},
        {"[Other]\nx=1\n", "QUAR|quar"},
    };
    for (const auto &row : rows) {
        SCOPED_TRACE(row.first ? row.first : "(none)");
        RulesTempDir dir;
        std::unique_ptr<ScopedSettings> settings;
        if (row.first)
            settings.reset(new ScopedSettings(dir, row.first));
        WriteFile(dir.file("vendor.txt"), "V1\\C\\SIZE>1\\DEL\nbroken\nV2\\A\\SUBJ=\"x\"\\ARCH\n" +
                                                     std::string(600, 'x') + "\n");
        CRuleScan scan;
        char error[RULE_ERROR_SIZE];
        ASSERT_TRUE(scan.ParseLine("admin\\C\\SIZE>1\\DEL", error));
        ASSERT_TRUE(scan.LoadImportRuleFile(dir.file("vendor.txt").c_str()));
        EXPECT_FALSE(scan.LoadImportRuleFile(dir.file("missing").c_str()));
        EXPECT_EQ(rules(scan), (std::vector<std::string>{"admin|SIZE>1|DEL|del|both",
                                                         "V1|SIZE>1|" + row.second + "|both|vendor",
                                                         "V2|SUBJ=\"x\"|" + row.second + "|in|vendor"}));
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
    EXPECT_EQ(rules(scan), (std::vector<std::string>{"S1|SIZE>1|QUAR|quar|both|vendor",
                                                     "S2|SIZE<9|QUAR|quar|out|vendor"}));

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
