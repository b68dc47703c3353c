// What ovctl users meet first: help for every command and the version.
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
    for (const std::string &name : commands)
        for (const OvctlRun &help : {run_ovctl({name, "--help"}, false), run_ovctl({"help", name}, false)}) {
            EXPECT_EQ(help.status, 0) << name;
            EXPECT_EQ(help.output.rfind("usage: ovctl " + name, 0), 0u) << help.output;
            EXPECT_GT(help.output.size(), help.output.find('\n') + 20) << name << " has no text";
        }
    EXPECT_EQ(run_ovctl({"help", "nonsense"}).status, 2);

    OvctlRun run = run_ovctl({"version"});
    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(run.output.rfind("ovctl ", 0), 0u) << run.output;
    EXPECT_NE(run.output.find("\nplug-in 3.8_Linux_Build_1036, built 12/20/2002 18:02:39\n"),
              std::string::npos);
}

} // namespace
