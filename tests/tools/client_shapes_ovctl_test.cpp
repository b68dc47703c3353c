// ovctl scan on mails whose MIME hides an executable: each one is replaced,
// ambiguous mail is held when so configured, names never leave their line.
#include <sys/stat.h>

#include "support/mail_client_shapes.h"
#include "support/plugin_host_fixture.h"
#include "support/plugin_installation.h"
#include "support/plugin_mail_corpus.h"
#include "tools/ovctl_cases.h"

namespace
{

bool EndsWith(const std::string &text, const std::string &end)
{
    return text.size() >= end.size() && text.compare(text.size() - end.size(), end.size(), end) == 0;
}

struct Scanned {
    std::string verdict;   // "<result>\t<action>\t<name>\t<faults>" of the mail's line
    std::string delivered; // the data file as the gateway would send it on
    std::string deliveredPath;
};

Scanned Scan(const PluginInstallation &install, BaseTempDir &tmp, const std::string &name,
             const std::string &mail)
{
    const std::string path = tmp.write(name + ".eml", mail), spool = tmp.path(name + "-spool");
    mkdir(spool.c_str(), 0755);
    OvctlRun run = run_ovctl({"scan", "--root", install.root(), "--spool", spool, "--outbox",
                              tmp.path(name + "-outbox"), path},
                             false);
    EXPECT_EQ(run.status, 0) << run.output;
    Scanned scanned;
    if (run.output.compare(0, path.size() + 1, path + "\t") == 0)
        scanned.verdict =
            run.output.substr(path.size() + 1, run.output.find('\n') - path.size() - 1);
    EXPECT_TRUE(EndsWith(scanned.verdict, "\t-")) << run.output; // none of these mails has a fault
    for (const std::string &file : FilesBelow(spool))
        if (file.find("/DF") != std::string::npos)
            scanned.deliveredPath = file;
    scanned.delivered = ReadFile(scanned.deliveredPath);
    return scanned;
}

TEST(ClientShapesOvctl, EveryExecutableIsReplacedAndAmbiguousMailHeldWhenSoConfigured)
{
    PluginInstallation passing; // AmbiguousMime stays at its default, Pass
    PluginInstallation holding;
    holding.ini.Set("Advanced Options", "AmbiguousMime", "Quarantine")
        .Set("Anti-Spam", "WarningAdmin", "yes")
        .Set("Anti-Spam", "Admin", "postmaster@corp.example")
        .Set("Anti-Spam", "MessageAdmin", "A mail was held.");
    holding.WriteIni();
    BaseTempDir tmp;
    int n = 0, held = 0;
    for (const MailClientShape &shape : MailClientShapes()) {
        SCOPED_TRACE(shape.label);
        const std::string name = "shape" + std::to_string(n++);
        OvctlRun mime = run_ovctl({"mime", tmp.write(name + ".eml", shape.mail)}, false);
        EXPECT_EQ(mime.output.find("ambiguous\t") != std::string::npos, shape.ambiguity != 0);

        Scanned scanned = Scan(holding, tmp, "held-" + name, shape.mail);
        if (shape.ambiguity != 0) {
            ++held;
            EXPECT_EQ(scanned.verdict, "blocked\tquarantined\tAmbiguous MIME\t-");
            EXPECT_NE(ReadFile(tmp.path("held-" + name + "-outbox/notification-1.eml"))
                          .find("Policy: Ambiguous MIME"),
                      std::string::npos);
        } else {
            EXPECT_EQ(scanned.verdict.compare(0, 5, "pass\t"), 0) << scanned.verdict;
        }

        scanned = Scan(passing, tmp, name, shape.mail);
        int exes = 0;
        for (const auto &attachment : shape.attachments)
            exes += EndsWith(attachment.first, ".exe");
        if (exes == 0) {
            EXPECT_EQ(scanned.verdict, "pass\tnone\t\t-");
            continue;
        }
        EXPECT_EQ(scanned.verdict.compare(0, 14, "pass\treplaced\t"), 0) << scanned.verdict;
        EXPECT_TRUE(EndsWith(scanned.verdict, ".exe\t-")) << scanned.verdict;
        EXPECT_EQ(PluginCount(scanned.delivered, "[Filename: "), exes);
        EXPECT_EQ(scanned.delivered.find("TVqQAAMAAAAEAAAA"), std::string::npos);
        mime = run_ovctl({"mime", scanned.deliveredPath}, false);
        EXPECT_EQ(mime.output.find(".exe\t"), std::string::npos) << mime.output;
    }
    int copies = 0, records = 0, logged = 0;
    for (const std::string &file : holding.Files("Quarantine/Anti-Spam/Ambiguous MIME"))
        ++(EndsWith(file, ".json") ? records : copies);
    for (const PluginEvent &event : PluginEvents(holding.EventLog()))
        logged += event.text == "CONTENT MANAGEMENT: Anti-Spam filter has blocked a junk mail." &&
                  event.record.find("\\Quarantine\\Ambiguous MIME\\") != std::string::npos;
    EXPECT_EQ(copies, held);
    EXPECT_EQ(records, held); // each held copy has its envelope record
    EXPECT_EQ(logged, held);
}

// A name decoding to CR LF and a forged MIME part stays on its line.
TEST(ClientShapesOvctl, NamesNeverLeaveTheirLine)
{
    PluginInstallation install;
    install.ini.Set("Specialized Filtering", "WarnAdmin", "yes")
        .Set("Specialized Filtering", "Admin", "postmaster@corp.example");
    install.WriteIni();
    BaseTempDir tmp;
    const std::string injected = "=?utf-8?Q?a=5Cx=0D=0A--b=0D=0AContent-Type:_text/html=0D=0A=0D=0A"
                                 "<b>forged</b>=0D=0A.exe?=";
    Scanned scanned = Scan(
        install, tmp, "inject",
        MailClientHead("Content-Type: multipart/mixed; boundary=b\n\n--b\n") +
            MailClientExePart("Content-Type: application/octet-stream; name=\"" + injected +
                              "\"\n") +
            "--b--\n");
    // The backslash would start a field of its own in the event log's record.
    EXPECT_EQ(scanned.verdict.compare(0, 17, "pass\treplaced\ta/x"), 0) << scanned.verdict;
    const std::string notification = ReadFile(tmp.path("inject-outbox/notification-1.eml"));
    for (const std::string &text : {scanned.delivered, notification, install.EventLog()}) {
        for (const std::string &line : SplitLines(text)) {
            EXPECT_NE(line.compare(0, 23, "Content-Type: text/html"), 0) << line;
            EXPECT_NE(line.compare(0, 3, "<b>"), 0) << line;
        }
    }
    EXPECT_NE(notification.find("Attachment file name: a\\x  --b  Content-Type:_text/html    "
                                "<b>forged</b>  .exe\r\n"),
              std::string::npos)
        << notification;
    OvctlRun mime = run_ovctl({"mime", scanned.deliveredPath}, false);
    EXPECT_EQ(mime.output.find("text/html"), std::string::npos) << mime.output;
}

} // namespace
