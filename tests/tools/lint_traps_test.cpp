// ovctl lint on what the plug-in would drop or refuse, and on the settings
// that load without complaint but lose mail: each row writes one file of a
// small, otherwise clean installation and names the finding lint must print
// with its file and line (or none).
#include <sys/stat.h>

#include <cctype>

#include "tools/ovctl_cases.h"

namespace
{

const char kIni[] = "[Content Filter]\nNotificationSender=postmaster@mail.test\n"
                    "[Junk]\nAction=Delete\n";
const char kPolicies[] = "CsConfig.dat2\tshJunk\tpe=t\twhcasino\t";
const char kRules[] = "Big\\C\\SIZE>3000000\\QUAR\n";

struct TrapRow {
    const char *what;
    const char *file;     // under Plug-Ins/OV/
    std::string text;     // its whole content
    std::string expected; // "FILE:LINE: problem-start", or "" for a clean lint
    int status;
};

// A small installation: settings, one policy, one rule, no special rules.
class Installation
{
public:
    Installation()
    {
        mkdir(m_tmp.path("Plug-Ins").c_str(), 0755);
        mkdir(m_tmp.path("Plug-Ins/OV").c_str(), 0755);
        mkdir(m_tmp.path("Plug-Ins/OV/spamrule").c_str(), 0755);
        write("contscan.ini", kIni);
        write("CsConfig.dat", kPolicies);
        write("spamrule/spamrule.txt", kRules);
        write("spamrule/SFRule.txt", "");
    }
    void write(const std::string &name, const std::string &text)
    {
        m_tmp.write("Plug-Ins/OV/" + name, text);
    }
    std::string root() const { return m_tmp.dir(); }

private:
    BaseTempDir m_tmp;
};

std::string bytes(size_t count)
{
    return std::string(count, 'k');
}

const TrapRow kRows[] = {
    {"exact actions", "spamrule/spamrule.txt",
     "A\\C\\SIZE>1\\DEL\nB\\A\\SIZE!= 5 ,SIZE<-3\\QUAR\nC\\B\\SUBJ=\"a\\b\"\\ARCH\n", "", 0},
    {"action by prefix", "spamrule/spamrule.txt", "A\\C\\SIZE>1\\DEL\nB\\C\\SIZE>1\\QUARANTINE\n",
     "spamrule.txt:2: action \"QUARANTINE\" is taken by its prefix", 1},
    {"archive by prefix", "spamrule/spamrule.txt", "B\\C\\SIZE>1\\ARCHIVE\n",
     "spamrule.txt:1: action \"ARCHIVE\" is taken by its prefix when loading, but the scanner "
     "knows only DEL, QUAR and ARCH: the rule deletes the mail; write ARCH",
     1},
    {"unknown action", "spamrule/spamrule.txt", "B\\C\\SIZE>1\\REJECT\n",
     "spamrule.txt:1: action \"REJECT\" is none of DEL, QUAR, ARCH", 1},
    {"no action", "spamrule/spamrule.txt", "B\\C\\SIZE>1\n", "spamrule.txt:1: No Action Error!", 1},
    {"mail type", "spamrule/spamrule.txt", "Bad\\D\\SIZE>1\\DEL\n",
     "spamrule.txt:1: Mail Type Error!", 1},
    {"second bad line", "spamrule/spamrule.txt", "Bad\\D\\SIZE>1\\DEL\nB\\A\\SIZE>1\n",
     "spamrule.txt:2: No Action Error!", 1},
    {"special rule without name or type", "spamrule/SFRule.txt", "<MAIL TYPE>A</MAIL TYPE>\r\n",
     "SFRule.txt:1: no <RULE NAME> or <MAIL TYPE>", 1},
    {"settings line of no kind", "contscan.ini", std::string(kIni) + "; gone at the next write\n",
     "contscan.ini:5: not a section, key, blank or \"#\" line: dropped", 1},
    {"unclosed section", "contscan.ini", std::string(kIni) + "[broken\n",
     "contscan.ini:5: not a section, key, blank or \"#\" line: dropped", 1},
    {"blank before =", "contscan.ini", std::string(kIni) + "key = spaced\n",
     "contscan.ini:5: blank before \"=\": the key is \"key \"", 1},
    {"last line without newline", "contscan.ini", std::string(kIni) + "last",
     "contscan.ini:5: the last line has no newline and is ignored", 1},
    {"policy file without its marker", "CsConfig.dat", "CsConfig.dat\tshX\t",
     "CsConfig.dat:1: does not begin with the marker", 1},
    {"size without number", "spamrule/spamrule.txt", "B\\C\\SIZE>\\QUAR\n",
     "spamrule.txt:1: term \"SIZE>\" has no number: it reads as SIZE>0", 1},
    {"size with ignored text", "spamrule/spamrule.txt", "B\\C\\SIZE>1 AND SUBJ=\"x\"\\QUAR\n",
     "spamrule.txt:1: term \"SIZE>1 AND SUBJ=\"x\"\" reads as \"SIZE>1\"", 1},
    {"second terms size", "spamrule/spamrule.txt", "B\\C\\SUBJ=\"x\",SIZE!=1k\\QUAR\n",
     "spamrule.txt:1: term \"SIZE!=1k\" reads as \"SIZE!=1\"", 1},
    {"rule switched off", "spamrule/spamruleEnable.txt", "01",
     "spamrule.txt:1: rule \"Big\" is switched off in spamruleEnable.txt", 1},
    {"table switching nothing off", "spamrule/spamruleEnable.txt", "1111", "", 0},
    {"policy without section", "contscan.ini", "[Content Filter]\nDebugLog=no\n",
     "CsConfig.dat:1: policy \"Junk\" has no section in contscan.ini", 1},
    {"heading with a trailing blank", "contscan.ini", "[Junk ]\nAction=Delete\n",
     "contscan.ini:1: section [Junk ] differs from policy \"Junk\" by blanks", 1},
    {"heading in other case", "contscan.ini", "[JUNK]\nAction=Delete\n", "", 0},
    {"action in small letters", "contscan.ini", "[Junk]\nAction=delete\n",
     "contscan.ini:2: Action \"delete\" of policy \"Junk\" is none of Delete, Quarantine, "
     "Archive",
     1},
    {"action line inside a continued value", "contscan.ini",
     "[Junk]\nMessageUser=first line\\\nAction=delete\nAction=Delete\n", "", 0},
    {"action of another word", "contscan.ini", "[Junk]\n# held\nAction=Reject\n",
     "contscan.ini:3: Action \"Reject\"", 1},
    {"missing import file", "CsConfig.dat", "CsConfig.dat2\tshJunk\tpe=t\tsfwords.txt\t",
     "CsConfig.dat:1: import file ", 1},
    {"import file of a disabled policy", "CsConfig.dat",
     "CsConfig.dat2\tshJunk\tpe=t\tshOff\tpe=f\tsfwords.txt\t", "", 0},
    {"keyword of 80 bytes", "CsConfig.dat", "CsConfig.dat2\tshJunk\tpe=t\twh" + bytes(80) + "\t",
     "", 0},
    {"keyword of 81 bytes", "CsConfig.dat",
     "CsConfig.dat2\tshJunk\tpe=t\twhcasino\n\twd" + bytes(81) + "\t",
     "CsConfig.dat:2: keyword \"kkk", 1},
    {"keyword of 82 bytes", "CsConfig.dat", "CsConfig.dat2\tshJunk\tpe=t\twh" + bytes(82) + "\t",
     "CsConfig.dat:1: keyword \"" + bytes(82) + "\" is 82 bytes: the plug-in drops it", 1},
    {"policy name of 81 bytes", "CsConfig.dat", "CsConfig.dat2\tsh" + bytes(81) + "\tpe=t\t",
     "CsConfig.dat:1: policy name \"kkk", 1},
    {"sender at example.com", "contscan.ini",
     "[Content Filter]\nNotificationSender=gw@example.com\n[Junk]\nAction=Delete\n",
     "contscan.ini:2: warning: [Content Filter] NotificationSender \"gw@example.com\"", 0},
    {"policy user at a subdomain", "contscan.ini",
     "[Junk]\nAction=Delete\nWarningUser=yes\nUser=a@mail.test, b@mx.Example.NET\n",
     "contscan.ini:4: warning: [Junk] User \"b@mx.Example.NET\"", 0},
    {"policy user not warned", "contscan.ini",
     "[Junk]\nAction=Delete\nWarningUser=no\nUser=a@example.com\n", "", 0},
};

class LintTrapTest : public ::testing::TestWithParam<TrapRow>
{
};

std::string row_name(const ::testing::TestParamInfo<TrapRow> &info)
{
    std::string name;
    for (const char *c = info.param.what; *c; ++c)
        name += std::isalnum(static_cast<unsigned char>(*c)) ? *c : '_';
    return name;
}

TEST_P(LintTrapTest, ReportsTheTrap)
{
    const TrapRow &row = GetParam();
    Installation install;
    install.write(row.file, row.text);
    OvctlRun run = run_ovctl({"lint", "--root", install.root()}, false);
    EXPECT_EQ(run.status, row.status) << row.what << "\n" << run.output;
    if (row.expected.empty())
        EXPECT_NE(run.output.find(": no problems\n"), std::string::npos) << row.what << "\n"
                                                                         << run.output;
    else
        EXPECT_NE(run.output.find("/" + row.expected), std::string::npos) << row.what << "\n"
                                                                          << run.output;
}

INSTANTIATE_TEST_SUITE_P(Rows, LintTrapTest, ::testing::ValuesIn(kRows), row_name);

TEST(LintTrapTest, StrictCountsWarnings)
{
    Installation install;
    install.write("contscan.ini",
                  "[Content Filter]\nNotificationSender=gw@example.org\n[Junk]\nAction=Delete\n");
    EXPECT_EQ(run_ovctl({"lint", "--root", install.root()}).status, 0);
    EXPECT_EQ(run_ovctl({"lint", "--root", install.root(), "--strict"}).status, 1);
}

TEST(LintTrapTest, ExampleInstallationHasOnlyItsExampleAddressesUntilItsVendorFileBreaks)
{
    ExampleRoot install;
    OvctlRun run = run_ovctl({"lint", "--root", install.root()}, false);
    EXPECT_EQ(run.status, 0) << run.output;
    size_t lines = 0, warnings = 0;
    for (size_t at = 0; (at = run.output.find('\n', at)) != std::string::npos; ++at)
        ++lines;
    for (size_t at = 0; (at = run.output.find(": warning: ", at)) != std::string::npos; ++at)
        ++warnings;
    EXPECT_EQ(lines, 3u) << run.output;
    EXPECT_EQ(warnings, 3u) << run.output;

    const std::string vendor = install.file("spamrule/Zelto$RF.1");
    install.write("spamrule/Zelto$RF.1", ReadFile(vendor) + "x");
    run = run_ovctl({"lint", "--root", install.root()}, false);
    EXPECT_EQ(run.status, 1);
    EXPECT_NE(run.output.find(vendor + ": unreadable, or its CRC does not agree"),
              std::string::npos)
        << run.output;
}

} // namespace
