// ovctl keywords: verdict lines, --explain, exit codes, and the mail read as
// the plug-in reads it (base64 decoded unless --raw; text past the buffer in
// a temporary file that does not stay behind).
#include "tools/ovctl_cases.h"

namespace
{

TEST(OvctlKeywords, VerdictsExplanationsAndExitCodes)
{
    BaseTempDir dir, tmp;
    dir.write("CsConfig.dat", "CsConfig.dat2\tshMoney\tse=t\twhfree\twdmoney\tsycash\twhwinner\t"
                              "shSpam\tewinternal\twhoffer\t");
    dir.write("contscan.ini", "[Spam]\nOutboundMailScan=no\n");
    dir.write("DFI1", "Free CASH offer\n");
    dir.write("DFO2", "special offer\n");
    dir.write("DFI3", "winner\noffer internal\n");
    dir.write("DFI4", "Subject: hello\nContent-Type: text/plain\n"
                      "Content-Transfer-Encoding: base64\n\nZnJlZSBtb25leQo=\n");
    std::string big = "Subject: long\n\n";
    for (int i = 0; i < 12000; ++i)
        big += "filler words\n";
    dir.write("DFI5", big + "winner\n");
    const std::string policy = "keywords --policy CsConfig.dat --settings contscan.ini ";
    auto words = [&](const std::string &rest) { return ovctl_words(policy + rest); };
    OvctlOptions options;
    options.workDir = dir.dir();
    options.tmpDir = tmp.dir();
    expect_ovctl_cases(
        {
            {words("DFI1 DFO2 DFI3"), 0, "DFI1\tMoney\nDFI1\tSpam\nDFO2\tpass\nDFI3\tMoney\n"},
            {words("--explain DFI1 DFI3"), 0,
             "DFI1\tMoney\tfree+money\nDFI1\tSpam\toffer\n"
             "DFI3\tMoney\twinner\nDFI3\tSpam (no action)\tinternal\n"},
            {words("DFI4"), 0, "DFI4\tMoney\n"},
            {words("--raw DFI4"), 0, "DFI4\tpass\n"},
            {words("DFI5"), 0, "DFI5\tMoney\n"},
            {words("--raw DFI5"), 0, "DFI5\tMoney\n"},
            {ovctl_words("keywords --policy CsConfig.dat DFI1"), 2, ""},
            {words(""), 2, ""},
            {words("--bogus DFI1"), 2, ""},
            {ovctl_words("keywords --policy missing.dat --settings contscan.ini DFI1"), 1, ""},
            // The other file is still scanned.
            {words("missing DFI1"), 1, "ovctl: cannot scan missing: "},
            {words("missing DFI1"), 1, "DFI1\tMoney\n"},
        },
        options);
    EXPECT_TRUE(tmp.empty()) << "a temporary text file stayed behind";
}

} // namespace
