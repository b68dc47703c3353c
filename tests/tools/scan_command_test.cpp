// ovctl scan as a host of the built plug-in on the example installation:
// one verdict line per mail in the order given, JSON, the fifth column
// naming what went wrong (exit status 1), and no spool left when stopped.
#include <csignal>

#include "tools/ovctl_cases.h"

namespace
{

// Standard input ("-") and a mail met twice each get their line, in order;
// the warning goes to the outbox; JSON; bad arguments.
TEST(ScanCommand, GivesOneVerdictLinePerMail)
{
    ExampleRoot install;
    const std::string outbox = install.root() + "/outbox", exe = example_mail("02-invoice-exe.eml");
    OvctlOptions options;
    options.mergeStderr = false;
    options.stdinFile = example_mail("01-plain.eml");
    OvctlRun run = run_ovctl(
        {"scan", "--root", install.root(), "--outbox", outbox, "--threads", "3", exe, "-", exe},
        options);
    ASSERT_EQ(run.status, 0) << run.output;
    const std::string replaced = exe + "\tpass\treplaced\tinvoice.exe\t-\n";
    EXPECT_EQ(run.output, replaced + "-\tpass\tnone\t\t-\n" + replaced);
    EXPECT_TRUE(FileExists(outbox + "/notification-1.eml"));
    EXPECT_NE(ReadFile(exe).find("invoice.exe\"\r\nContent-Transfer-Encoding: base64"),
              std::string::npos);

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
void block_directory(const ExampleRoot &install, const char *key)
{
    const std::string blocker = install.root() + "/not-a-directory";
    std::ofstream(blocker) << "x";
    EXPECT_EQ(
        0, run_ovctl({"ini", "set", install.file("contscan.ini"), "Advanced Options", key, blocker})
               .status);
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
