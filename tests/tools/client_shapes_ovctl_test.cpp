// Mails whose MIME parameters hide an executable from a careless reader, run
// through ovctl scan on a test installation (the special filter takes
// *.exe): every executable a mail client would show is replaced, the
// delivered mail keeps its other parts, ovctl mime lists what the client
// sees, and with "AmbiguousMime=Quarantine" a mail that reads two ways is
// held as the rule "Ambiguous MIME".
#include <dirent.h>
#include <sys/stat.h>

#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "support/base_temp_dir.h"
#include "support/mail_client_shapes.h"
#include "support/plugin_host_fixture.h"
#include "support/plugin_installation.h"
#include "support/tools_ovctl.h"

namespace {

const char kExeBody[] = "TVqQAAMAAAAEAAAA";

bool EndsWith(const std::string &text, const std::string &end)
{
    return text.size() >= end.size() && text.compare(text.size() - end.size(), end.size(), end) == 0;
}

int ExeCount(const MailClientShape &shape)
{
    int count = 0;
    for (const auto &attachment : shape.attachments)
        count += EndsWith(attachment.first, ".exe") ? 1 : 0;
    return count;
}

// The one data file ovctl scan left in a spool directory.
std::string DeliveredFile(const std::string &spool)
{
    std::string found;
    if (DIR *dir = opendir(spool.c_str())) {
        while (dirent *entry = readdir(dir))
            if (std::string(entry->d_name).compare(0, 2, "DF") == 0)
                found = spool + "/" + entry->d_name;
        closedir(dir);
    }
    return found;
}

struct Scanned {
    std::string verdict;     // "<result>\t<action>\t<name>" of the mail's line
    std::string delivered;   // the data file as the gateway would send it on
    std::string deliveredPath;
};

Scanned Scan(const PluginInstallation &install, BaseTempDir &tmp, const std::string &name,
             const std::string &mail)
{
    const std::string path = tmp.write(name + ".eml", mail);
    const std::string spool = tmp.path(name + "-spool");
    mkdir(spool.c_str(), 0755);
    OvctlRun run = run_ovctl({"scan", "--root", install.root(), "--spool", spool, "--outbox",
                              tmp.path(name + "-outbox"), path},
                             false);
    EXPECT_EQ(run.status, 0) << run.output;
    Scanned scanned;
    if (run.output.compare(0, path.size() + 1, path + "\t") == 0)
        scanned.verdict = run.output.substr(path.size() + 1, run.output.find('\n') - path.size() - 1);
    // The last column names the faults; none of these mails has one.
    const size_t faults = scanned.verdict.rfind('\t');
    if (faults != std::string::npos) {
        EXPECT_EQ(scanned.verdict.substr(faults + 1), "-") << run.output;
        scanned.verdict.resize(faults);
    }
    scanned.deliveredPath = DeliveredFile(spool);
    scanned.delivered = ReadFile(scanned.deliveredPath);
    return scanned;
}

TEST(ClientShapesOvctl, EveryExecutableAClientShowsIsReplaced)
{
    PluginInstallation install;   // AmbiguousMime stays at its default, Pass
    BaseTempDir tmp;
    int n = 0;
    for (const MailClientShape &shape : MailClientShapes()) {
        SCOPED_TRACE(shape.label);
        Scanned scanned = Scan(install, tmp, "shape" + std::to_string(n++), shape.mail);
        const int exes = ExeCount(shape);
        if (exes == 0) {
            EXPECT_EQ(scanned.verdict, "pass\tnone\t");
            continue;
        }
        EXPECT_EQ(scanned.verdict.compare(0, 14, "pass\treplaced\t"), 0) << scanned.verdict;
        EXPECT_TRUE(EndsWith(scanned.verdict, ".exe")) << scanned.verdict;
        EXPECT_EQ(PluginCount(scanned.delivered, "[Filename: "), exes);
        EXPECT_EQ(scanned.delivered.find(kExeBody), std::string::npos);
        // What is left is what the client saw, less the executables.
        OvctlRun mime = run_ovctl({"mime", scanned.deliveredPath}, false);
        EXPECT_EQ(mime.output.find(".exe\t"), std::string::npos) << mime.output;
    }
}

TEST(ClientShapesOvctl, MimeListsWhatAClientSees)
{
    BaseTempDir tmp;
    int n = 0;
    for (const MailClientShape &shape : MailClientShapes()) {
        SCOPED_TRACE(shape.label);
        OvctlRun mime = run_ovctl({"mime", tmp.write("m" + std::to_string(n++), shape.mail)}, false);
        std::string expected;
        for (const auto &attachment : shape.attachments)
            expected += attachment.first + "\t" + attachment.second + "\t";
        std::string listed;
        for (const std::string &line : SplitLines(mime.output)) {
            size_t first = line.find('\t');
            if (line.compare(0, 10, "ambiguous\t") == 0 || first == std::string::npos)
                continue;
            size_t third = line.find('\t', line.find('\t', first + 1) + 1);
            listed += line.substr(first + 1, third - first);
        }
        EXPECT_EQ(listed, expected);
        EXPECT_EQ(mime.output.find("ambiguous\t") != std::string::npos, shape.ambiguity != 0);
    }
}

TEST(ClientShapesOvctl, AmbiguousMailIsQuarantinedWhenSoConfigured)
{
    PluginInstallation install;
    install.ini.Set("Advanced Options", "AmbiguousMime", "Quarantine")
        .Set("Anti-Spam", "WarningAdmin", "yes")
        .Set("Anti-Spam", "Admin", "postmaster@corp.example")
        .Set("Anti-Spam", "MessageAdmin", "A mail was held.");
    install.WriteIni();
    BaseTempDir tmp;
    int n = 0, held = 0;
    for (const MailClientShape &shape : MailClientShapes()) {
        SCOPED_TRACE(shape.label);
        const std::string name = "q" + std::to_string(n++);
        Scanned scanned = Scan(install, tmp, name, shape.mail);
        if (shape.ambiguity == 0) {
            EXPECT_EQ(scanned.verdict.compare(0, 5, "pass\t"), 0) << scanned.verdict;
            continue;
        }
        ++held;
        EXPECT_EQ(scanned.verdict, "blocked\tquarantined\tAmbiguous MIME");
        EXPECT_NE(ReadFile(tmp.path(name + "-outbox/notification-1.eml")).find("Policy: Ambiguous MIME"),
                  std::string::npos);
    }
    // Each copy has the envelope record ovctl wrote beside it.
    int copies = 0, records = 0;
    for (const std::string &file : install.Files("Quarantine/Anti-Spam/Ambiguous MIME"))
        ++(EndsWith(file, ".json") ? records : copies);
    EXPECT_EQ(copies, held);
    EXPECT_EQ(records, held);
    std::vector<PluginEvent> events = PluginEvents(install.EventLog());
    int logged = 0;
    for (const PluginEvent &event : events)
        logged += event.text == "CONTENT MANAGEMENT: Anti-Spam filter has blocked a junk mail." &&
                          event.record.find("\\Quarantine\\Ambiguous MIME\\") != std::string::npos
                      ? 1
                      : 0;
    EXPECT_EQ(logged, held);
}

// A uuencoded executable inside a named executable part: both are picked,
// the outer removal wins, and nothing of the outer part comes back.
TEST(ClientShapesOvctl, NestedPicksNeverOverlap)
{
    PluginInstallation install;
    BaseTempDir tmp;
    const std::string mail = MailClientHead("Content-Type: multipart/mixed; boundary=b\n\n--b\n"
                                            "Content-Type: text/plain\n\nkeep me\n--b\n"
                                            "Content-Type: text/plain; name=\"outer.exe\"\n\n"
                                            "outer head\nbegin 644 inner.exe\nM86)C\n`\nend\n"
                                            "outer tail\n--b\nContent-Type: text/plain\n\n"
                                            "keep me too\n--b--\n");
    Scanned scanned = Scan(install, tmp, "nested", mail);
    EXPECT_EQ(scanned.verdict, "pass\treplaced\touter.exe");
    EXPECT_EQ(PluginCount(scanned.delivered, "[Filename: "), 1);
    for (const char *gone : {"outer head", "inner.exe", "outer tail"})
        EXPECT_EQ(scanned.delivered.find(gone), std::string::npos) << gone;
    for (const char *kept : {"keep me\n", "keep me too\n", "--b--\n"})
        EXPECT_NE(scanned.delivered.find(kept), std::string::npos) << kept;
}

// A name that decodes to CR LF and a MIME part of the sender's choosing
// stays on its line in the delivered mail, the warning and the event log.
TEST(ClientShapesOvctl, NamesNeverLeaveTheirLine)
{
    PluginInstallation install;
    install.ini.Set("Specialized Filtering", "WarnAdmin", "yes")
        .Set("Specialized Filtering", "Admin", "postmaster@corp.example");
    install.WriteIni();
    BaseTempDir tmp;
    const std::string injected = "=?utf-8?Q?x=0D=0A--b=0D=0AContent-Type:_text/html=0D=0A=0D=0A"
                                 "<b>forged</b>=0D=0A.exe?=";
    const std::string mail = MailClientHead("Content-Type: multipart/mixed; boundary=b\n\n--b\n") +
                             MailClientExePart("Content-Type: application/octet-stream; name=\"" +
                                               injected + "\"\n") +
                             "--b--\n";
    Scanned scanned = Scan(install, tmp, "inject", mail);
    EXPECT_EQ(scanned.verdict.compare(0, 14, "pass\treplaced\t"), 0) << scanned.verdict;
    const std::string notification = ReadFile(tmp.path("inject-outbox/notification-1.eml"));
    for (const std::string &text : {scanned.delivered, notification, install.EventLog()}) {
        for (const std::string &line : SplitLines(text)) {
            EXPECT_NE(line.compare(0, 23, "Content-Type: text/html"), 0) << line;
            EXPECT_NE(line.compare(0, 3, "<b>"), 0) << line;
        }
    }
    EXPECT_NE(notification.find("Attachment file name: x  --b  Content-Type:_text/html    "
                                "<b>forged</b>  .exe\r\n"),
              std::string::npos)
        << notification;
    OvctlRun mime = run_ovctl({"mime", scanned.deliveredPath}, false);
    EXPECT_EQ(mime.output.find("text/html"), std::string::npos) << mime.output;
}

} // namespace
