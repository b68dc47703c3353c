// Mails judged through ovctl scan on a test installation (the special filter
// takes *.exe). Mails whose MIME parameters hide an executable from a
// careless reader: every executable a mail client would show is replaced,
// the delivered mail keeps its other parts, ovctl mime lists what the
// client sees, and with "AmbiguousMime=Quarantine" a mail that reads two
// ways is held as the rule "Ambiguous MIME". Japanese keywords cut by an
// encoded line's end are found.
#include <sys/stat.h>

#include "support/mail_client_shapes.h"
#include "support/mail_japanese_text.h"
#include "support/plugin_host_fixture.h"
#include "support/plugin_installation.h"
#include "support/plugin_mail_corpus.h"
#include "tools/ovctl_cases.h"

namespace
{

const char kExeBody[] = "TVqQAAMAAAAEAAAA";

bool EndsWith(const std::string &text, const std::string &end)
{
    return text.size() >= end.size() &&
           text.compare(text.size() - end.size(), end.size(), end) == 0;
}

int ExeCount(const MailClientShape &shape)
{
    int count = 0;
    for (const auto &attachment : shape.attachments)
        count += EndsWith(attachment.first, ".exe") ? 1 : 0;
    return count;
}

struct Scanned {
    std::string verdict;   // "<result>\t<action>\t<name>\t<faults>" of the mail's line
    std::string delivered; // the data file as the gateway would send it on
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
        scanned.verdict =
            run.output.substr(path.size() + 1, run.output.find('\n') - path.size() - 1);
    EXPECT_TRUE(EndsWith(scanned.verdict, "\t-")) << run.output; // none of these mails has a fault
    for (const std::string &file : directory_names(spool))
        if (file.compare(0, 2, "DF") == 0)
            scanned.deliveredPath = spool + "/" + file;
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
        const int exes = ExeCount(shape);
        if (exes == 0) {
            EXPECT_EQ(scanned.verdict, "pass\tnone\t\t-");
            continue;
        }
        EXPECT_EQ(scanned.verdict.compare(0, 14, "pass\treplaced\t"), 0) << scanned.verdict;
        EXPECT_TRUE(EndsWith(scanned.verdict, ".exe\t-")) << scanned.verdict;
        EXPECT_EQ(PluginCount(scanned.delivered, "[Filename: "), exes);
        EXPECT_EQ(scanned.delivered.find(kExeBody), std::string::npos);
        // What is left is what the client saw, less the executables.
        mime = run_ovctl({"mime", scanned.deliveredPath}, false);
        EXPECT_EQ(mime.output.find(".exe\t"), std::string::npos) << mime.output;
    }
    // Each held copy has the envelope record ovctl wrote beside it, and its event.
    int copies = 0, records = 0, logged = 0;
    for (const std::string &file : holding.Files("Quarantine/Anti-Spam/Ambiguous MIME"))
        ++(EndsWith(file, ".json") ? records : copies);
    for (const PluginEvent &event : PluginEvents(holding.EventLog()))
        logged += event.text == "CONTENT MANAGEMENT: Anti-Spam filter has blocked a junk mail." &&
                  event.record.find("\\Quarantine\\Ambiguous MIME\\") != std::string::npos;
    EXPECT_EQ(copies, held);
    EXPECT_EQ(records, held);
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
    EXPECT_EQ(scanned.verdict, "pass\treplaced\touter.exe\t-");
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
    const std::string mail =
        MailClientHead("Content-Type: multipart/mixed; boundary=b\n\n--b\n") +
        MailClientExePart("Content-Type: application/octet-stream; name=\"" + injected + "\"\n") +
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

// A body of two encoded lines cut after the first `cut` bytes of `line`.
std::string CutBody(const std::string &encoding, const std::string &line, size_t cut)
{
    if (encoding == "base64")
        return Base64Line(line.substr(0, cut)) + "\r\n" + Base64Line(line.substr(cut)) + "\r\n";
    return QpLines(line.substr(0, cut)) + "=\r\n" + QpLines(line.substr(cut));
}

TEST(JapaneseKeywordScan, KeywordCutByTheLineEndIsFound)
{
    const std::string text = u8"see attached 会議 notes\r\n";
    const size_t before = std::string("see attached ").size();
    struct Row {
        const char *iconvName;
        const char *charset;
        size_t cut; // bytes of the converted line on the first encoded line
    } rows[] = {
        {"ISO-2022-JP", "iso-2022-jp", before + 1}, // after ESC
        {"ISO-2022-JP", "iso-2022-jp", before + 2}, // after ESC "$"
        {"SHIFT_JIS", "shift_jis", before + 1},     // after the lead byte
        {"EUC-JP", "euc-jp", before + 1},
    };
    PluginInstallation install; // policy "Japanese": 会議, archived
    BaseTempDir mails;
    std::vector<std::string> words = {"scan", "--root", install.root()};
    std::string expected;
    int n = 0;
    for (const Row &row : rows) {
        std::string line = PluginConvert(text, row.iconvName);
        for (const char *encoding : {"base64", "quoted-printable"}) {
            std::string path =
                mails.write("mail" + std::to_string(++n) + ".eml",
                            JapaneseMail(row.charset, encoding, CutBody(encoding, line, row.cut)));
            words.push_back(path);
            expected += path + "\tblocked\tarchived\tJapanese\t-\n";
        }
    }
    OvctlRun run = run_ovctl(words, false);
    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(run.output, expected);
}

} // namespace
