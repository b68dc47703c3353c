// ovctl lint: each row writes one file of a small, otherwise clean
// installation and names the finding (or none) with its line.
#include "tools/ovctl_cases.h"

namespace
{

const char kIni[] = "[Content Filter]\nNotificationSender=postmaster@mail.test\n"
                    "[Junk]\nAction=Delete\n";

struct TrapRow {
    const char *what;
    const char *file;     // under Plug-Ins/OV/
    std::string text;     // its whole content
    std::string expected; // "FILE:LINE: problem-start", or "" for a clean lint
    int status;
    bool strict = false; // lint --strict
};

const TrapRow kRows[] = {
    {"exact actions", "spamrule/spamrule.txt",
     "A\\C\\SIZE>1\\DEL\nB\\A\\SIZE!= 5 ,SIZE<-3\\QUAR\nC\\B\\SUBJ=\"a\\b\"\\ARCH\n", "", 0},
    {"archive by prefix", "spamrule/spamrule.txt", "B\\C\\SIZE>1\\ARCHIVE\n",
     "spamrule.txt:1: action \"ARCHIVE\" is taken by its prefix when loading, but the scanner "
     "knows only DEL, QUAR and ARCH: the rule deletes the mail; write ARCH", 1},
    {"no action", "spamrule/spamrule.txt", "B\\C\\SIZE>1\n", "spamrule.txt:1: No Action Error!", 1},
    {"settings line of no kind", "contscan.ini", std::string(kIni) + "; gone at the next write\n",
     "contscan.ini:5: not a section, key, blank or \"#\" line: dropped", 1},
    {"blank before =", "contscan.ini", std::string(kIni) + "key = spaced\n",
     "contscan.ini:5: blank before \"=\": the key is \"key \"", 1},
    {"last line without newline", "contscan.ini", std::string(kIni) + "last",
     "contscan.ini:5: the last line has no newline and is ignored", 1},
    {"size without number", "spamrule/spamrule.txt", "B\\C\\SIZE>\\QUAR\n",
     "spamrule.txt:1: term \"SIZE>\" has no number: it reads as SIZE>0", 1},
    {"size with ignored text", "spamrule/spamrule.txt", "B\\C\\SIZE>1 AND SUBJ=\"x\"\\QUAR\n",
     "spamrule.txt:1: term \"SIZE>1 AND SUBJ=\"x\"\" reads as \"SIZE>1\"", 1},
    {"rule switched off", "spamrule/spamruleEnable.txt", "01",
     "spamrule.txt:1: rule \"Big\" is switched off in spamruleEnable.txt", 1},
    {"policy without section", "contscan.ini", "[Content Filter]\nDebugLog=no\n",
     "CsConfig.dat:1: policy \"Junk\" has no section in contscan.ini", 1},
    {"heading with a trailing blank", "contscan.ini", "[Junk ]\nAction=Delete\n",
     "contscan.ini:1: section [Junk ] differs from policy \"Junk\" by blanks", 1},
    {"action in small letters", "contscan.ini", "[Junk]\nAction=delete\n",
     "contscan.ini:2: Action \"delete\" of policy \"Junk\" is none of Delete, Quarantine, Archive", 1},
    {"action line inside a continued value", "contscan.ini",
     "[Junk]\nMessageUser=first line\\\nAction=delete\nAction=Delete\n", "", 0},
    {"keyword of 80 bytes", "CsConfig.dat", "CsConfig.dat2\tshJunk\tpe=t\twh" + std::string(80, 'k') + "\t",
     "", 0},
    {"keyword of 81 bytes", "CsConfig.dat",
     "CsConfig.dat2\tshJunk\tpe=t\twhcasino\n\twd" + std::string(81, 'k') + "\t",
     "CsConfig.dat:2: keyword \"kkk", 1},
    {"--strict counts warnings", "contscan.ini",
     "[Content Filter]\nNotificationSender=gw@example.com\n[Junk]\nAction=Delete\n",
     "contscan.ini:2: warning: [Content Filter] NotificationSender \"gw@example.com\"", 1, true},
};

TEST(LintTrapTest, ReportsEachTrapWithItsFileAndLine)
{
    for (const TrapRow &row : kRows) {
        SCOPED_TRACE(row.what);
        BaseTempDir root;
        std::filesystem::create_directories(root.path("Plug-Ins/OV/spamrule"));
        root.write("Plug-Ins/OV/contscan.ini", kIni);
        root.write("Plug-Ins/OV/CsConfig.dat", "CsConfig.dat2\tshJunk\tpe=t\twhcasino\t");
        root.write("Plug-Ins/OV/spamrule/spamrule.txt", "Big\\C\\SIZE>3000000\\QUAR\n");
        root.write("Plug-Ins/OV/spamrule/SFRule.txt", "");
        root.write(std::string("Plug-Ins/OV/") + row.file, row.text);
        std::vector<std::string> words = {"lint", "--root", root.dir()};
        if (row.strict)
            words.push_back("--strict");
        OvctlRun run = run_ovctl(words, false);
        EXPECT_EQ(run.status, row.status) << run.output;
        EXPECT_NE(run.output.find(row.expected.empty() ? ": no problems\n" : "/" + row.expected),
                  std::string::npos)
            << run.output;
    }
}

} // namespace
