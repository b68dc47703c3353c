// ovctl scan and spool as hosts of the built plug-in on the example
// installation: one verdict line per mail in the order given, the spool the
// workers write, JSON, the fifth column and "faults" array naming what went
// wrong (exit status 1), a directory of mails, and no spool left behind.
#include <csignal>
#include <map>

#include "support/small_tmpfs.h"
#include "tools/ovctl_cases.h"

namespace
{

TEST(ScanCommand, GivesOneVerdictLinePerMail)
{
    ExampleRoot install;
    const std::string outbox = install.root() + "/outbox";
    std::vector<std::string> words = {"scan",      "--root", install.root(), "--outbox", outbox,
                                      "--threads", "2"};
    std::string expected;
    for (const char *row :
         {"01-plain.eml\tpass\tnone\t", "02-invoice-exe.eml\tpass\treplaced\tinvoice.exe",
          "03-spam-subject.eml\tblocked\tdeleted\tKnown spammer",
          "04-confidential.eml\tblocked\tquarantined\tConfidential"}) {
        const std::string line = row;
        words.push_back(example_mail(line.substr(0, line.find('\t'))));
        expected += example_mail(line) + "\t-\n";
    }
    OvctlRun run = run_ovctl(words, false);
    ASSERT_EQ(run.status, 0) << run.output;
    EXPECT_EQ(run.output, expected);
    // The administrator's warning went to the outbox; the mails are untouched.
    EXPECT_TRUE(FileExists(outbox + "/notification-1.eml"));
    EXPECT_NE(ReadFile(example_mail("02-invoice-exe.eml"))
                  .find("invoice.exe\"\r\nContent-Transfer-Encoding: base64"),
              std::string::npos);
}

// Every mail, from a file or standard input, gets its pair holding the mail's
// bytes, named after its input ("stdin"), a name met twice with a number.
TEST(ScanCommand, WritesEachMailsPairOnTheWorkers)
{
    ExampleRoot install;
    BaseTempDir spool;
    const std::string plain = example_mail("01-plain.eml"),
                      pdf = example_mail("11-pdf-attachment.eml");
    OvctlOptions options;
    options.mergeStderr = false;
    options.stdinFile = pdf;
    OvctlRun run = run_ovctl({"scan", "--root", install.root(), "--spool", spool.dir(), "--threads",
                              "3", plain, "-", pdf, plain},
                             options);
    ASSERT_EQ(run.status, 0) << run.output;
    EXPECT_EQ(run.output, plain + "\tpass\tnone\t\t-\n-\tpass\tnone\t\t-\n" + pdf +
                              "\tpass\tnone\t\t-\n" + plain + "\tpass\tnone\t\t-\n");
    const std::map<std::string, std::string> sources = {{"01-plain.eml", plain},
                                                        {"stdin", pdf},
                                                        {"11-pdf-attachment.eml", pdf},
                                                        {"01-plain.eml_2", plain}};
    std::vector<std::string> expectedNames;
    for (const auto &source : sources) {
        expectedNames.push_back("AFI" + source.first);
        expectedNames.push_back("DFI" + source.first);
        EXPECT_EQ(ReadFile(spool.path("DFI" + source.first)),
                  ReadFile(source.second));
        EXPECT_NE(ReadFile(spool.path("AFI" + source.first)).find("\nT<"),
                  std::string::npos);
    }
    std::sort(expectedNames.begin(), expectedNames.end());
    EXPECT_EQ(directory_names(spool.dir()), expectedNames);
}

TEST(ScanCommand, JsonAndBadArguments)
{
    ExampleRoot install;
    OvctlRun json = run_ovctl(
        {"scan", "--root", install.root(), "--json", example_mail("03-spam-subject.eml")}, false);
    EXPECT_EQ(json.status, 0);
    EXPECT_NE(json.output.find("\"result\": \"blocked\", \"code\": 2, \"action\": \"deleted\", "
                               "\"name\": \"Known spammer\", \"faults\": [], \"copy\": \"\"}"),
              std::string::npos)
        << json.output;
    expect_ovctl_cases({
        {{"update", "--root", install.root()}, 0, "update: ok\n"},
        {{"scan", example_mail("01-plain.eml")}, 2, ""}, // no --root
        {{"scan", "--root", install.root(), "--threads", "0", "x"}, 2, ""},
        {{"scan", "--root", install.root(), "/nonexistent/mail"}, 1, "ovctl: "},
        {{"scan", "--root", "/nonexistent", example_mail("01-plain.eml")}, 1, "-8"},
    });
}

// A plain file where the directory of the setting `key` should be.
std::string block_directory(const ExampleRoot &install, const char *key)
{
    const std::string blocker = install.root() + "/not-a-directory";
    std::ofstream(blocker) << "x";
    EXPECT_EQ(
        0, run_ovctl({"ini", "set", install.file("contscan.ini"), "Advanced Options", key, blocker})
               .status);
    return blocker;
}

TEST(ScanCommand, NamesTheFaultsOfEachMail)
{
    const struct {
        const char *blocked; // the setting whose directory is a plain file
        const char *mail;
        std::string line; // after the mail's name
    } rows[] = {
        {"QuarantineDirectory", "04-confidential.eml",
         "\tblocked\tquarantined\tConfidential\tcopy\n"},
        {"ArchiveDirectory", "06-japanese.eml", "\tblocked\tarchived\tJapanese\tcopy\n"},
        {"TempDir", "04-confidential.eml", "\tpass\tnone\t\ttemp\n"},
        {"TempDir", "02-invoice-exe.eml", "\tpass\tnone\t\treplace,temp,notify\n"},
        {"QuarantineDirectory", "01-plain.eml", "\tpass\tnone\t\t-\n"},
    };
    for (const auto &row : rows) {
        SCOPED_TRACE(std::string(row.blocked) + " " + row.mail);
        ExampleRoot install;
        block_directory(install, row.blocked);
        OvctlRun run = run_ovctl({"scan", "--root", install.root(), example_mail(row.mail)});
        const bool faulted = row.line.find("\t-\n") == std::string::npos;
        EXPECT_EQ(faulted ? 1 : 0, run.status);
        EXPECT_NE(std::string::npos, run.output.find(example_mail(row.mail) + row.line))
            << run.output;
        EXPECT_EQ(faulted, run.output.find(", 1 faulted\n") != std::string::npos) << run.output;
    }
}

TEST(ScanCommand, JsonSpoolAndLintCarryTheFaults)
{
    ExampleRoot install;
    block_directory(install, "QuarantineDirectory");
    OvctlRun json = run_ovctl({"scan", "--root", install.root(), "--json",
                               example_mail("04-confidential.eml"), example_mail("01-plain.eml")},
                              false);
    EXPECT_EQ(1, json.status);
    EXPECT_NE(
        std::string::npos,
        json.output.find("\"name\": \"Confidential\", \"faults\": [\"copy\"], \"copy\": \"\"}"))
        << json.output;
    EXPECT_NE(std::string::npos, json.output.find("\"faults\": [], \"copy\": \"\"}"))
        << json.output;

    // The pairs of a kept spool, judged in place.
    BaseTempDir spool;
    run_ovctl({"scan", "--root", install.root(), "--spool", spool.dir(),
               example_mail("04-confidential.eml")});
    OvctlRun run = run_ovctl({"spool", "--root", install.root(), spool.dir()});
    EXPECT_EQ(1, run.status);
    EXPECT_NE(std::string::npos, run.output.find("\tblocked\tquarantined\tConfidential\tcopy\n"))
        << run.output;

    // lint reports the same directories as errors.
    std::string blocker;
    for (const char *key : {"TempDir", "ArchiveDirectory"})
        blocker = block_directory(install, key);
    run = run_ovctl({"lint", "--root", install.root()}, false);
    EXPECT_EQ(1, run.status);
    for (const char *role : {"temporary", "quarantine", "archive"})
        EXPECT_NE(std::string::npos, run.output.find(install.file("contscan.ini") + ": " + role +
                                                     " directory " + blocker + " ("))
            << role << "\n"
            << run.output;
    EXPECT_NE(std::string::npos, run.output.find("): cannot create it: Not a directory"))
        << run.output;
}

TEST(ScanCommand, AFullOutboxIsANotifyFault)
{
    SmallTmpfs outbox(64 * 1024);
    if (!outbox.mounted())
        GTEST_SKIP() << outbox.reason();
    outbox.Fill(0);
    ExampleRoot install;
    OvctlRun run = run_ovctl({"scan", "--root", install.root(), "--outbox", outbox.dir(),
                              example_mail("02-invoice-exe.eml")});
    EXPECT_EQ(1, run.status);
    EXPECT_NE(std::string::npos, run.output.find("\tpass\treplaced\tinvoice.exe\tnotify\n"))
        << run.output;
}

TEST(ScanCommand, JudgesTheMailFilesOfADirectoryAndLeavesNoSpool)
{
    ExampleRoot install;
    BaseTempDir mails, tmp, empty;
    mails.write("b.eml", "From: a@b.test\nSubject: casino bonus\n\ncasino bonus\n");
    mails.write("a.eml", "From: a@b.test\nSubject: hello\n\nhello\n");
    mails.write("notes.txt", "not a mail at all\n");
    mails.write(".hidden", "From: a@b.test\n\nx\n");
    OvctlOptions options;
    options.tmpDir = tmp.dir();
    options.mergeStderr = false;
    OvctlRun run = run_ovctl({"scan", "--root", install.root(), mails.dir()}, options);
    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(run.output, mails.path("a.eml") + "\tpass\tnone\t\t-\n" + mails.path("b.eml") +
                              "\tblocked\tdeleted\tJunk words\t-\n");
    EXPECT_TRUE(tmp.empty());
    options.mergeStderr = true;
    expect_ovctl_cases(
        {{{"scan", "--root", install.root(), empty.dir()}, 1, "holds no mail files"},
         {{"scan", "--root", install.root(), mails.path("a.eml"), mails.path("missing.eml")},
          1,
          ""}},
        options);
    EXPECT_TRUE(tmp.empty()) << "a spool stayed behind after a failure";
}

// A scan stopped by SIGTERM removes its spool before it ends.
TEST(ScanCommand, StoppedScanLeavesNoSpool)
{
    ExampleRoot install;
    BaseTempDir mails, tmp;
    const std::string body(200000, 'x');
    for (int i = 0; i < 200; ++i)
        mails.write("m" + std::to_string(i) + ".eml", "From: a@b.test\nSubject: s\n\n" + body);
    const std::string script =
        "TMPDIR=" + ovctl_shell_quote(tmp.dir()) + " " + ovctl_shell_quote(OV_OVCTL_PATH) +
        " scan --root " + ovctl_shell_quote(install.root()) + " " + ovctl_shell_quote(mails.dir()) +
        " >/dev/null 2>&1 & pid=$!; while [ -z \"$(ls -A " + ovctl_shell_quote(tmp.dir()) +
        ")\" ] && kill -0 $pid 2>/dev/null; do sleep 0.01; done; kill -TERM $pid; wait $pid";
    const int status = std::system(script.c_str());
    EXPECT_TRUE(WIFEXITED(status)) << status;
    EXPECT_TRUE(WEXITSTATUS(status) == 128 + SIGTERM || WEXITSTATUS(status) == 0) << status;
    EXPECT_TRUE(tmp.empty());
}

} // namespace
