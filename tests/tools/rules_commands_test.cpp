// ovctl envelope and rules check|test on generated envelope, data and rule
// files.
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
        {{"rules", "check", bad},
         1,
         bad + ":2: No Action Error!\n" + bad + ":3: Mail Type Error!\n" + bad +
             ":4: Action Error!\n" + bad + ":6: Sentence Syntax Error!\n" + bad +
             ":7: No Rule Name Error!\n"},
        {{"rules", "check", good}, 0, ""},
    });
}

} // namespace
