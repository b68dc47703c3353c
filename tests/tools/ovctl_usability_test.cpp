// What ovctl users meet first: help for every command, the version, and the
// verdict words that ovctl and ovmilter share.
#include "tools/hostkit/verdict_words.h"
#include "tools/ovctl_cases.h"

namespace
{

TEST(OvctlHelpTest, EveryCommandExplainsItselfAndTheVersionNamesBoth)
{
    OvctlRun list = run_ovctl({"--help"}, false);
    ASSERT_EQ(list.status, 0);
    std::vector<std::string> commands;
    size_t at = list.output.find("commands:\n");
    ASSERT_NE(at, std::string::npos);
    for (at += 10; list.output.compare(at, 2, "  ") == 0;) {
        size_t end = list.output.find('\n', at);
        std::string name = list.output.substr(at + 2, list.output.find(' ', at + 2) - at - 2);
        EXPECT_GT(end - at, name.size() + 8) << "no summary for " << name;
        commands.push_back(name);
        at = end + 1;
    }
    EXPECT_GE(commands.size(), 16u);
    for (const std::string &name : commands) {
        for (const std::vector<std::string> &words :
             {std::vector<std::string>{name, "--help"}, std::vector<std::string>{"help", name}}) {
            OvctlRun help = run_ovctl(words, false);
            EXPECT_EQ(help.status, 0) << name;
            EXPECT_EQ(help.output.rfind("usage: ovctl " + name, 0), 0u) << help.output;
            EXPECT_GT(help.output.size(), help.output.find('\n') + 20) << name << " has no text";
        }
    }
    EXPECT_EQ(run_ovctl({"help", "nonsense"}).status, 2);

    // The version names both versions.
    OvctlRun run = run_ovctl({"version"});
    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(run.output.rfind("ovctl ", 0), 0u) << run.output;
    EXPECT_NE(run.output.find("\nplug-in 3.8_Linux_Build_1036, built 12/20/2002 18:02:39\n"),
              std::string::npos);
}

TEST(VerdictWordsTest, ColumnsOfEachResult)
{
    const struct {
        int code, blocked, action;
        const char *result, *actionWord;
    } rows[] = {
        {0, 0, 0, "pass", "none"},           {2, 1, 1, "blocked", "deleted"},
        {0, 0, 2, "blocked", "quarantined"}, // a keyword policy's quarantine
        {0, 0, 3, "blocked", "archived"},    {0, 0, 4, "pass", "replaced"},
        {-6, 0, 0, "error", "none"},
    };
    for (const auto &row : rows) {
        ZWMailResult result{};
        result.blocked = row.blocked;
        result.action = row.action;
        VerdictWords words = describe_verdict(row.code, result);
        EXPECT_STREQ(words.result, row.result) << row.code << "/" << row.action;
        EXPECT_STREQ(words.action, row.actionWord) << row.code << "/" << row.action;
    }
}

} // namespace
