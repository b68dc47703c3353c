// ovctl envelope, rules check|test|scan|seal|unseal and sfrule list on
// generated envelope, data and rule files.
#include "support/rules_fixtures.h"
#include "tools/ovctl_cases.h"

namespace
{

TEST(OvctlRules, EnvelopeAndRuleCommands)
{
    BaseTempDir tmp;
    const std::string full =
        tmp.write("AFI1", "R1038738600\nSHello\nF<s@x>\nT<a@y>\nT<b@y>\nT<a@y>\n"
                          "X1\nC\nO=?ISO-2022-JP?B?GyRCRnxLXBsoQg==?=\n");
    const std::string af =
        tmp.write("AFI3", "F<s@x>\nO<from@example.com>\nSFree offer\nR1038738600\n");
    tmp.write("DFI3", std::string(300, 'x'));
    const std::string lone = tmp.write("AFI4", "SFree offer\n"); // no DF beside it
    const std::string bad = tmp.write("bad.txt", "R1\\C\\SUBJ=\"a\\b\"\\DEL\nR2\\A\\SIZE>10\n"
                                                 "R3\\X\\SIZE>1\\DEL\nR4\\A\\SIZE>1\\FOO\n\n"
                                                 "R5\\A\\FOO\\DEL\r\nplain text\n");
    const std::string good =
        tmp.write("good.txt", "R1\\C\\SIZE>1\\DELETE\n\nR2\\B\\DOM=\"x\"\\QUAR\n");
    const std::string missing = tmp.path("missing");
    const std::string syntax = "ovctl: Sentence Syntax Error!\n";
    expect_ovctl_cases({
        {{"envelope", full},
         0,
         "F\t<s@x>\nT\t<a@y>\nO\t\xC6\xFC\xCB\xDC\nS\tHello\nR\t1038738600\nrecipients\t<a@y>,<b@y>"
         "\n"},
        {{"envelope", tmp.write("AFI2", "Shi\n")}, 0, "S\thi\n"},
        {{"envelope"}, 2, "usage: ovctl envelope AF\n"},
        {{"envelope", missing}, 1, "ovctl: "},
        {{"rules", "test", R"(SUBJ=I"free offer")", af}, 0, "match\n"},
        {{"rules", "test", R"(SUBJ="free offer")", af}, 0, "no match\n"},
        {{"rules", "test", R"(FROM=S"example.com",SIZE=300)", af}, 0, "match\n"},
        {{"rules", "test", "SIZE>299", af}, 0, "match\n"},
        {{"rules", "test", "SIZE>0", lone}, 0, "no match\n"},
        {{"rules", "test", R"(FROM="<s@x>")", af}, 0, "match\n"}, // raw envelope values
        {{"rules", "test", R"(SUBJ="x"y)", af}, 1, syntax},
        {{"rules", "test", "", af}, 1, syntax},
        {{"rules", "test", "SIZE>1"}, 2, ""},
        {{"rules", "test", "SIZE>1", missing}, 1, ""},
        {{"rules", "frobnicate"}, 2, ""},
        {{"rules", "check", bad},
         1,
         bad + ":2: No Action Error!\n" + bad + ":3: Mail Type Error!\n" + bad +
             ":4: Action Error!\n" + bad + ":6: Sentence Syntax Error!\n" + bad +
             ":7: No Rule Name Error!\n"},
        {{"rules", "check", good}, 0, ""},
        {{"rules", "check", missing}, 1, ""},
        {{"rules", "check"}, 2, ""},
    });
}

TEST(OvctlRules, SealScanAndSfruleList)
{
    BaseTempDir dir;
    const std::string af = dir.write("AFO0001", "Sfigures\nOa@example.org\n");
    const std::string df = dir.write("DFO0001", kRulesExeMail);
    const std::string rules =
        dir.write("rules.txt", "in\\A\\SIZE>0\\DEL\nrelay\\B\\DOM=\"mx.example.net\"\\ARCH\n");
    const std::string none = dir.write("none.txt", "x\\C\\SUBJ=\"other\"\\DEL\n");
    const std::string exe =
        dir.write("exe.txt", "<RULE NAME>exe</RULE NAME><MAIL TYPE>C</MAIL TYPE>"
                             "<ATTACH><NAME>*.exe</NAME></ATTACH>\r\n");
    const std::string sfrule = dir.write(
        "SFRule.txt", "; Written by Orvane Unix Configuration Standard v3.8 2002 ZeltoWorks\r\n"
                      "<RULE NAME>exe</RULE NAME><MAIL TYPE>B</MAIL TYPE><MIME><NAME>All, Video/"
                      "</NAME></MIME><ATTACH><NAME>*.EXE re*me.txt</NAME></ATTACH><ATTR><NAME>"
                      "EXCLUDE</NAME></ATTR>\r\n<RULE NAME>no type</RULE NAME>\r\n"
                      "<MAIL TYPE>A</MAIL TYPE><RULE NAME>bare</RULE NAME>\r\n");
    expect_ovctl_cases({
        {{"rules", "scan", "--rules", rules, af, df}, 0, "rule\trelay\tARCH\t0\n"},
        {{"rules", "scan", "--sfrule", exe, "--rules", none, af, df},
         0,
         "pass\nreplace\ttool.exe\t163\t275\n"},
        {{"rules", "scan", "--rules", dir.path("missing"), af, df}, 1, ""},
        {{"sfrule", "list", sfrule},
         0,
         "exe\tB\tEXCLUDE\tall,video/\t*.exe,re*me.txt\nbare\tA\tINCLUDE\t\t\n"},
        {{"rules", "seal", dir.write("vendor", "V1\\C\\SIZE>1\\DEL\n"), dir.path("sealed")}, 0, ""},
        {{"rules", "unseal", dir.path("sealed"), dir.path("back")}, 0, ""},
    });
    EXPECT_EQ(ReadFile(dir.path("back")), "V1\\C\\SIZE>1\\DEL\n");
    dir.write("sealed", ReadFile(dir.path("sealed")) + "x");
    EXPECT_EQ(run_ovctl({"rules", "unseal", dir.path("sealed"), dir.path("again")}).status, 1);
}

} // namespace
