// ovctl rules check|seal|unseal|scan and ovctl sfrule list on generated files.
#include <sys/wait.h>

#include <cstdio>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "support/rules_fixtures.h"
#include "support/tools_ovctl.h"

namespace {

TEST(OvctlRules, CheckReportsEachRejectedLine)
{
    RulesTempDir dir;
    const std::string bad = dir.file("bad.txt"), good = dir.file("good.txt");
    WriteFile(bad, "R1\\C\\SUBJ=\"a\\b\"\\DEL\n"
                          "R2\\A\\SIZE>10\n"
                          "R3\\X\\SIZE>1\\DEL\n"
                          "R4\\A\\SIZE>1\\FOO\n"
                          "\n"
                          "R5\\A\\FOO\\DEL\r\n"
                          "plain text\n");
    WriteFile(good, "R1\\C\\SIZE>1\\DELETE\n\nR2\\B\\DOM=\"x\"\\QUAR\n");
    OvctlRun run = run_ovctl({"rules", "check", bad});
    EXPECT_EQ(run.status, 1);
    EXPECT_EQ(run.output, bad + ":2: No Action Error!\n" + bad + ":3: Mail Type Error!\n" + bad +
                           ":4: Action Error!\n" + bad + ":6: Sentence Syntax Error!\n" + bad +
                           ":7: No Rule Name Error!\n");
    run = run_ovctl({"rules", "check", good});
    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(run.output, "");
    EXPECT_EQ(run_ovctl({"rules", "check", dir.file("missing")}).status, 1);
    EXPECT_EQ(run_ovctl({"rules", "check"}).status, 2);
}

TEST(OvctlRules, SealAndUnseal)
{
    RulesTempDir dir;
    WriteFile(dir.file("plain"), "V1\\C\\SIZE>1\\DEL\n");
    EXPECT_EQ(run_ovctl({"rules", "seal", dir.file("plain"), dir.file("sealed")}).status, 0);
    EXPECT_EQ(run_ovctl({"rules", "unseal", dir.file("sealed"), dir.file("back")}).status, 0);
    EXPECT_EQ(ReadFile(dir.file("back")), "V1\\C\\SIZE>1\\DEL\n");
    WriteFile(dir.file("sealed"), ReadFile(dir.file("sealed")) + "x");
    OvctlRun run = run_ovctl({"rules", "unseal", dir.file("sealed"), dir.file("again")});
    EXPECT_EQ(run.status, 1);
    EXPECT_EQ(run.output.rfind("ovctl: ", 0), 0u);
    EXPECT_EQ(run_ovctl({"rules", "seal", dir.file("missing"), dir.file("x")}).status, 1);
}

TEST(OvctlRules, ScanPrintsTheVerdictAndThePicks)
{
    RulesTempDir dir;
    const std::string af = dir.file("AFO0001"), df = dir.file("DFO0001");
    WriteFile(af, "Sfigures\nOa@example.org\n");
    WriteFile(df, kRulesExeMail);
    WriteFile(dir.file("rules.txt"), "in\\A\\SIZE>0\\DEL\nrelay\\B\\DOM=\"mx.example.net\"\\ARCH\n");
    WriteFile(dir.file("none.txt"), "x\\C\\SUBJ=\"other\"\\DEL\n");
    WriteFile(dir.file("SFRule.txt"), "<RULE NAME>exe</RULE NAME><MAIL TYPE>C</MAIL TYPE>"
                                             "<ATTACH><NAME>*.exe</NAME></ATTACH>\r\n");
    OvctlRun run = run_ovctl({"rules", "scan", "--rules", dir.file("rules.txt"), af, df});
    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(run.output, "rule\trelay\tARCH\t0\n");

    run = run_ovctl({"rules", "scan", "--sfrule", dir.file("SFRule.txt"), "--rules",
                 dir.file("none.txt"), af, df});
    EXPECT_EQ(run.status, 0);
    ASSERT_EQ(run.output.rfind("pass\nreplace\ttool.exe\t", 0), 0u) << run.output;

    EXPECT_EQ(run_ovctl({"rules", "scan", af, df}).status, 2);
    EXPECT_EQ(run_ovctl({"rules", "scan", "--rules", dir.file("none.txt"), af}).status, 2);
    EXPECT_EQ(run_ovctl({"rules", "scan", "--rules", dir.file("missing"), af, df}).status, 1);
}

TEST(OvctlSfrule, ListShowsLoadedRules)
{
    RulesTempDir dir;
    WriteFile(dir.file("SFRule.txt"),
                     "; Written by Orvane Unix Configuration Standard v3.8 2002 ZeltoWorks\r\n"
                     "<RULE NAME>exe</RULE NAME><MAIL TYPE>B</MAIL TYPE><MIME><NAME>All, Video/"
                     "</NAME></MIME><ATTACH><NAME>*.EXE re*me.txt</NAME></ATTACH><ATTR><NAME>"
                     "EXCLUDE</NAME></ATTR>\r\n"
                     "<RULE NAME>no type</RULE NAME>\r\n"
                     "<MAIL TYPE>A</MAIL TYPE><RULE NAME>bare</RULE NAME>\r\n");
    OvctlRun run = run_ovctl({"sfrule", "list", dir.file("SFRule.txt")});
    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(run.output, "exe\tB\tEXCLUDE\tall,video/\t*.exe,re*me.txt\n"
                       "bare\tA\tINCLUDE\t\t\n");
    EXPECT_EQ(run_ovctl({"sfrule", "list", dir.file("missing")}).status, 1);
    EXPECT_EQ(run_ovctl({"sfrule", "show", dir.file("SFRule.txt")}).status, 2);
}

} // namespace
