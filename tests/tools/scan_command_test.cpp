// ovctl scan on the example installation: one verdict line per mail, JSON,
// and the faults column (exit status 1).
#include "tools/ovctl_cases.h"

namespace
{

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
        {{"scan", example_mail("01-plain.eml")}, 2, ""}, // no --root
        {{"scan", "--root", install.root(), "/nonexistent/mail"}, 1, "ovctl: "},
        {{"scan", "--root", "/nonexistent", example_mail("01-plain.eml")}, 1, "-8"},
    });
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
        const std::string blocker = install.root() + "/not-a-directory";
        std::ofstream(blocker) << "x";
        ASSERT_EQ(0, run_ovctl({"ini", "set", install.file("contscan.ini"), "Advanced Options",
                                row.blocked, blocker}).status);
        OvctlRun run = run_ovctl({"scan", "--root", install.root(), example_mail(row.mail)});
        const bool faulted = row.line.find("\t-\n") == std::string::npos;
        EXPECT_EQ(faulted ? 1 : 0, run.status);
        EXPECT_NE(std::string::npos, run.output.find(example_mail(row.mail) + row.line))
            << run.output;
        EXPECT_EQ(faulted, run.output.find(", 1 faulted\n") != std::string::npos) << run.output;
    }
}

} // namespace
