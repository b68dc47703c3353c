// The administrator's guide (docs/) shows what the plug-in does: its example
// installation loads clean, judges the example mails as the guide says, and
// the files quoted in the pages are the files the tests load.
#include <set>

#include "contscan/content_scan.h"
#include "contscan/policy.h"
#include "rules/rule_line.h"
#include "rules/rule_scan.h"
#include "tools/hostkit/copy_record.h"
#include "tools/ovctl_cases.h"

namespace
{

const std::string kDocs = std::string(OV_SOURCE_DIR) + "/docs/";
const std::string kOv = kDocs + "examples/gateway/Plug-Ins/OV/";

// The first fenced block of `page` after the line that contains `after`.
std::string fenced_block(const std::string &page, const std::string &after)
{
    const std::string text = ReadFile(kDocs + page);
    size_t at = text.find(after);
    if (at == std::string::npos)
        return "<no " + after + ">";
    size_t open = text.find("```", at);
    size_t start = text.find('\n', open) + 1;
    size_t close = text.find("\n```", start);
    return text.substr(start, close - start + 1);
}

std::string replace_all(std::string text, const std::string &from, const std::string &to)
{
    for (size_t at = 0; (at = text.find(from, at)) != std::string::npos; at += to.size())
        text.replace(at, from.size(), to);
    return text;
}

// A copy of the guide's installation with its vendor file sealed.
struct GuideInstallation : ExampleRoot {
    GuideInstallation() : ExampleRoot("docs/examples/gateway")
    {
        EXPECT_EQ(run_ovctl({"rules", "seal", kOv + "spamrule/vendor-rules.txt",
                             file("spamrule/Zelto$RF.1")})
                      .status,
                  0);
    }
};

TEST(DocsExamplesTest, InstallationLintsWithOnlyItsExampleAddresses)
{
    GuideInstallation install;
    OvctlRun run = run_ovctl({"lint", "--root", install.root()}, false);
    EXPECT_EQ(run.status, 0) << run.output;
    size_t lines = 0;
    for (size_t at = 0, end; (end = run.output.find('\n', at)) != std::string::npos;
         at = end + 1, ++lines)
        EXPECT_NE(run.output.substr(at, end - at).find(": warning: "), std::string::npos)
            << run.output;
    EXPECT_EQ(lines, 2u) << run.output;
}

TEST(DocsExamplesTest, MailsAreJudgedAsTheGuideSays)
{
    GuideInstallation install;
    OvctlOptions options;
    options.workDir = OV_SOURCE_DIR;
    options.mergeStderr = false;
    OvctlRun run = run_ovctl({"scan", "--root", install.root(), "docs/examples/mail"}, options);
    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(run.output, fenced_block("README.md", "<!-- scan-output -->"));
}

TEST(DocsExamplesTest, QuotedFilesAreTheExampleFiles)
{
    const struct {
        const char *page, *after, *file;
    } rows[] = {
        {"rule-file.md", "spamrule.txt):", "spamrule/spamrule.txt"},
        {"sfrule.md", "removes programs", "spamrule/SFRule.txt"},
        {"keyword-policies.md", "for each tab:", "CsConfig.dat"},
        {"keyword-policies.md", "[junk-words.txt]", "junk-words.txt"},
    };
    for (const auto &row : rows) {
        std::string quoted = replace_all(fenced_block(row.page, row.after), "⇥", "\t");
        std::string file = replace_all(ReadFile(kOv + row.file), "\r\n", "\n");
        if (quoted.size() == file.size() + 1 && quoted.back() == '\n')
            quoted.pop_back(); // a file without a last newline
        EXPECT_EQ(quoted, file) << row.page << " quotes " << row.file;
    }
}

TEST(DocsExamplesTest, ReadersLoadTheExampleFiles)
{
    CRuleScan scan;
    ASSERT_TRUE(scan.Initialize((kOv + "spamrule/spamrule.txt").c_str()));
    int rules = 0;
    for (; CExpression *rule = scan.GetExpression(rules); ++rules)
        EXPECT_TRUE(rule->IsEnabled());
    EXPECT_EQ(rules, 3);

    OvctlRun sfrules = run_ovctl({"sfrule", "list", kOv + "spamrule/SFRule.txt"});
    EXPECT_EQ(sfrules.output, "Programs\tA\tINCLUDE\t\t*.exe,*.scr,*.vbs\n");

    POLICYSET *set = ZWContScanInit((kOv + "CsConfig.dat").c_str(), (kOv + "contscan.ini").c_str());
    ASSERT_NE(set, nullptr);
    std::vector<std::pair<std::string, int>> policies;
    for (POLICY_STRU *policy = set->m_pFirstPolicy; policy; policy = policy->m_pNext) {
        int lists = 0;
        for (KEYWORDLIST_STRU *list = policy->m_pFirstKeywordList; list; list = list->m_pNext)
            ++lists;
        policies.emplace_back(policy->m_szName, lists);
    }
    ZWContScanCleanUp(set);
    const std::vector<std::pair<std::string, int>> expected = {{"Junk", 3}, {"Projects", 2}};
    EXPECT_EQ(policies, expected);
}

TEST(DocsExamplesTest, QuarantineRecordExampleReadsAndEveryFieldIsDescribed)
{
    const std::string page = ReadFile(kDocs + "quarantine-record.md");
    const std::string text = ReadFile(kDocs + "examples/quarantine-record.json");
    CopyRecord record;
    std::string error;
    ASSERT_TRUE(parse_copy_record(text, &record, &error)) << error;
    EXPECT_EQ(record.recipients.size(), 2u);
    EXPECT_EQ(record.action, "quarantined");
    std::set<std::string> described;
    for (size_t at = 0; (at = page.find("\n| `", at)) != std::string::npos;) {
        at += 4;
        described.insert(page.substr(at, page.find('`', at) - at));
    }
    EXPECT_EQ(described.size(), 12u);
    for (size_t at = 0; (at = text.find("\n  \"", at)) != std::string::npos;) {
        at += 4;
        const std::string name = text.substr(at, text.find('"', at) - at);
        EXPECT_EQ(described.count(name), 1u) << name;
    }
}

} // namespace
