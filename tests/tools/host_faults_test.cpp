// ovctl as a host when the plug-in's directories fail: the fifth column and
// the "faults" array name each fault, the summary counts faulted mails and
// the exit status is 1; lint reports the same directories as errors.
#include <gtest/gtest.h>

#include <cstdlib>
#include <fstream>
#include <string>
#include <vector>

#include "support/base_temp_dir.h"
#include "support/small_tmpfs.h"
#include "support/tools_ovctl.h"

namespace {

class FaultyRoot {
public:
    FaultyRoot()
    {
        std::string copy = "cp -r '" + std::string(OV_SOURCE_DIR) + "/examples/gateway/.' '" +
                           m_tmp.dir() + "'";
        EXPECT_EQ(std::system(copy.c_str()), 0);
        m_blocker = m_tmp.write("not-a-directory", "x");
    }
    std::string root() const { return m_tmp.dir(); }
    std::string ini() const { return m_tmp.path("Plug-Ins/OV/contscan.ini"); }
    // A plain file where the directory of `key` should be.
    void Block(const char *key) const
    {
        EXPECT_EQ(0, run_ovctl({"ini", "set", ini(), "Advanced Options", key, m_blocker}).status);
    }
    const std::string &blocker() const { return m_blocker; }

private:
    BaseTempDir m_tmp;
    std::string m_blocker;
};

std::string example_mail(const char *name)
{
    return std::string(OV_SOURCE_DIR) + "/examples/mail/" + name;
}

TEST(HostFaultsTest, ScanNamesTheFaultsOfEachMail)
{
    struct Row {
        const char *blocked;   // the setting whose directory is a plain file
        const char *mail;
        std::string line;      // after the mail's name
    } rows[] = {
        {"QuarantineDirectory", "04-confidential.eml", "\tblocked\tquarantined\tConfidential\tcopy\n"},
        {"ArchiveDirectory", "06-japanese.eml", "\tblocked\tarchived\tJapanese\tcopy\n"},
        {"TempDir", "04-confidential.eml", "\tpass\tnone\t\ttemp\n"},
        {"TempDir", "02-invoice-exe.eml", "\tpass\tnone\t\treplace,temp,notify\n"},
        {"QuarantineDirectory", "01-plain.eml", "\tpass\tnone\t\t-\n"},
    };
    for (const Row &row : rows) {
        SCOPED_TRACE(std::string(row.blocked) + " " + row.mail);
        FaultyRoot install;
        install.Block(row.blocked);
        OvctlRun run = run_ovctl({"scan", "--root", install.root(), example_mail(row.mail)});
        const bool faulted = row.line.find("\t-\n") == std::string::npos;
        EXPECT_EQ(faulted ? 1 : 0, run.status);
        EXPECT_NE(std::string::npos, run.output.find(example_mail(row.mail) + row.line))
            << run.output;
        EXPECT_EQ(faulted, run.output.find(", 1 faulted\n") != std::string::npos) << run.output;
    }
}

TEST(HostFaultsTest, JsonAndSpoolCarryTheFaults)
{
    FaultyRoot install;
    install.Block("QuarantineDirectory");
    OvctlRun json = run_ovctl({"scan", "--root", install.root(), "--json",
                               example_mail("04-confidential.eml"), example_mail("01-plain.eml")},
                              false);
    EXPECT_EQ(1, json.status);
    EXPECT_NE(std::string::npos,
              json.output.find("\"name\": \"Confidential\", \"faults\": [\"copy\"], \"copy\": \"\"}"))
        << json.output;
    EXPECT_NE(std::string::npos, json.output.find("\"faults\": [], \"copy\": \"\"}")) << json.output;

    // The pairs of a kept spool, judged in place.
    BaseTempDir spool;
    run_ovctl({"scan", "--root", install.root(), "--spool", spool.dir(),
               example_mail("04-confidential.eml")});
    OvctlRun run = run_ovctl({"spool", "--root", install.root(), spool.dir()});
    EXPECT_EQ(1, run.status);
    EXPECT_NE(std::string::npos, run.output.find("\tblocked\tquarantined\tConfidential\tcopy\n"))
        << run.output;
}

TEST(HostFaultsTest, AFullOutboxIsANotifyFault)
{
    SmallTmpfs outbox(64 * 1024);
    if (!outbox.mounted())
        GTEST_SKIP() << outbox.reason();
    outbox.Fill(0);
    FaultyRoot install;
    OvctlRun run = run_ovctl({"scan", "--root", install.root(), "--outbox", outbox.dir(),
                              example_mail("02-invoice-exe.eml")});
    EXPECT_EQ(1, run.status);
    EXPECT_NE(std::string::npos, run.output.find("\tpass\treplaced\tinvoice.exe\tnotify\n"))
        << run.output;
}

TEST(HostFaultsTest, LintReportsUnusableDirectories)
{
    FaultyRoot install;
    for (const char *key : {"TempDir", "QuarantineDirectory", "ArchiveDirectory"})
        install.Block(key);
    OvctlRun run = run_ovctl({"lint", "--root", install.root()}, false);
    EXPECT_EQ(1, run.status);
    for (const char *role : {"temporary", "quarantine", "archive"})
        EXPECT_NE(std::string::npos,
                  run.output.find(install.ini() + ": " + role + " directory " + install.blocker() +
                                  " (")) << role << "\n" << run.output;
    EXPECT_NE(std::string::npos, run.output.find("): cannot create it: Not a directory"))
        << run.output;
}

} // namespace
