// The guide's example installation lints clean (until its vendor file
// breaks) and judges the example mails as the guide says.
#include "tools/ovctl_cases.h"

namespace
{

const std::string kDocs = std::string(OV_SOURCE_DIR) + "/docs/";

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

// A copy of the guide's installation with its vendor file sealed.
struct GuideInstallation : ExampleRoot {
    GuideInstallation() : ExampleRoot("docs/examples/gateway")
    {
        EXPECT_EQ(run_ovctl({"rules", "seal", file("spamrule/vendor-rules.txt"),
                             file("spamrule/Zelto$RF.1")}).status, 0);
    }
};

TEST(DocsExamplesTest, InstallationLintsWithOnlyItsExampleAddresses)
{
    GuideInstallation install;
    OvctlRun run = run_ovctl({"lint", "--root", install.root()}, false);
    EXPECT_EQ(run.status, 0) << run.output;
    EXPECT_EQ(SplitLines(run.output).size(), 2u) << run.output;
    for (const std::string &line : SplitLines(run.output))
        EXPECT_NE(line.find(": warning: "), std::string::npos) << run.output;

    const std::string vendor = install.file("spamrule/Zelto$RF.1");
    install.write("spamrule/Zelto$RF.1", ReadFile(vendor) + "x");
    run = run_ovctl({"lint", "--root", install.root()}, false);
    EXPECT_EQ(run.status, 1);
    EXPECT_NE(run.output.find(vendor + ": unreadable, or its CRC does not agree"),
              std::string::npos)
        << run.output;
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

} // namespace
