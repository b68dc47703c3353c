// ovctl keywords: verdict lines, --explain, exit codes.
#include <gtest/gtest.h>

#include <string>

#include "support/base_temp_dir.h"
#include "support/tools_ovctl.h"

namespace
{

// Runs ovctl in dir with the words of a command line, stderr into the output.
OvctlRun Ovctl(const std::string &dir, const std::string &line)
{
    OvctlOptions options;
    options.workDir = dir;
    return run_ovctl(ovctl_words(line), options);
}

class OvctlKeywordsTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        m_dir.write("CsConfig.dat",
                    "CsConfig.dat2\tshMoney\tse=t\twhfree\twdmoney\tsycash\twhwinner\t"
                    "shSpam\tewinternal\twhoffer\t");
        m_dir.write("contscan.ini", "[Spam]\nOutboundMailScan=no\n");
        m_dir.write("DFI1", "Free CASH offer\n");
        m_dir.write("DFO2", "special offer\n");
        m_dir.write("DFI3", "winner\noffer internal\n");
    }

    BaseTempDir m_dir;
};

TEST_F(OvctlKeywordsTest, PrintsMatchedPoliciesPerFile)
{
    OvctlRun run =
        Ovctl(m_dir.dir(), "keywords --policy CsConfig.dat --settings contscan.ini DFI1 DFO2 DFI3");
    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(run.output, "DFI1\tMoney\nDFI1\tSpam\nDFO2\tpass\nDFI3\tMoney\n");
}

TEST_F(OvctlKeywordsTest, ExplainNamesTheListsAndNoActionWords)
{
    OvctlRun run = Ovctl(
        m_dir.dir(), "keywords --explain --policy CsConfig.dat --settings contscan.ini DFI1 DFI3");
    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(run.output, "DFI1\tMoney\tfree+money\nDFI1\tSpam\toffer\n"
                          "DFI3\tMoney\twinner\nDFI3\tSpam (no action)\tinternal\n");
}

TEST_F(OvctlKeywordsTest, ExitCodes)
{
    const std::pair<std::string, int> cases[] = {
        {"keywords --policy CsConfig.dat DFI1", 2},
        {"keywords --policy CsConfig.dat --settings contscan.ini", 2},
        {"keywords --bogus --policy CsConfig.dat --settings contscan.ini DFI1", 2},
        {"keywords --policy missing.dat --settings contscan.ini DFI1", 1},
        {"keywords --policy CsConfig.dat --settings contscan.ini missing DFI1", 1},
    };
    for (const auto &c : cases)
        EXPECT_EQ(Ovctl(m_dir.dir(), c.first).status, c.second) << c.first;
    OvctlRun run =
        Ovctl(m_dir.dir(), "keywords --policy CsConfig.dat --settings contscan.ini missing DFI1");
    EXPECT_NE(run.output.find("ovctl: cannot scan missing: "), std::string::npos);
    EXPECT_NE(run.output.find("DFI1\tMoney\n"), std::string::npos); // the other file still scanned
}

// A mail is read as the plug-in reads it: its base64 body is decoded before
// the scan; --raw scans the bytes as they are. Text past the in-memory
// buffer goes through a temporary file that does not stay behind.
TEST_F(OvctlKeywordsTest, WalksTheMailUnlessRaw)
{
    m_dir.write("DFI4", "Subject: hello\nContent-Type: text/plain\n"
                        "Content-Transfer-Encoding: base64\n\nZnJlZSBtb25leQo=\n");
    std::string big = "Subject: long\n\n";
    for (int i = 0; i < 12000; ++i)
        big += "filler words\n";
    m_dir.write("DFI5", big + "winner\n");
    BaseTempDir tmp;
    OvctlOptions options;
    options.workDir = m_dir.dir();
    const std::string policy = "keywords --policy CsConfig.dat --settings contscan.ini ";
    const struct {
        std::string line;
        std::string output;
    } rows[] = {
        {policy + "DFI4", "DFI4\tMoney\n"},
        {policy + "--raw DFI4", "DFI4\tpass\n"},
        {policy + "DFI5", "DFI5\tMoney\n"},
        {policy + "--raw DFI5", "DFI5\tMoney\n"},
    };
    options.tmpDir = tmp.dir();
    for (const auto &row : rows) {
        OvctlRun run = run_ovctl(ovctl_words(row.line), options);
        EXPECT_EQ(run.status, 0) << row.line;
        EXPECT_EQ(run.output, row.output) << row.line;
    }
    EXPECT_TRUE(tmp.empty()) << "a temporary text file stayed behind";
}

} // namespace
