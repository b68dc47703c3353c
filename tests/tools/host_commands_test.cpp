// ovctl as a host and as the administrators' checker: scan and spool run the
// built plug-in on the example installation; lint reports what the plug-in
// would drop or refuse, file by file and line by line.
#include <dirent.h>

#include <gtest/gtest.h>

#include <cstdlib>
#include <fstream>
#include <iterator>
#include <map>
#include <string>
#include <vector>

#include "support/base_temp_dir.h"
#include "support/tools_ovctl.h"

namespace {

// A copy of the shipped example installation in a scratch directory.
class ExampleRoot {
public:
    ExampleRoot()
    {
        std::string copy = "cp -r '" + std::string(OV_SOURCE_DIR) + "/examples/gateway/.' '" +
                           m_tmp.dir() + "'";
        EXPECT_EQ(std::system(copy.c_str()), 0);
    }
    std::string root() const { return m_tmp.dir(); }
    std::string file(const std::string &name) const
    {
        return m_tmp.path("Plug-Ins/OV/" + name);
    }
    void append(const std::string &name, const std::string &text) const
    {
        std::ofstream(file(name), std::ios::app | std::ios::binary) << text;
    }

private:
    BaseTempDir m_tmp;
};

std::string example_mail(const char *name)
{
    return std::string(OV_SOURCE_DIR) + "/examples/mail/" + name;
}

TEST(HostCommandsTest, ScanGivesOneVerdictLinePerMail)
{
    ExampleRoot install;
    const std::string outbox = install.root() + "/outbox";
    OvctlRun run = run_ovctl({"scan", "--root", install.root(), "--outbox", outbox, "--threads",
                              "2", example_mail("01-plain.eml"), example_mail("02-invoice-exe.eml"),
                              example_mail("03-spam-subject.eml"),
                              example_mail("04-confidential.eml")},
                             false);
    ASSERT_EQ(run.status, 0) << run.output;
    const std::string expected =
        example_mail("01-plain.eml") + "\tpass\tnone\t\t-\n" + example_mail("02-invoice-exe.eml") +
        "\tpass\treplaced\tinvoice.exe\t-\n" + example_mail("03-spam-subject.eml") +
        "\tblocked\tdeleted\tKnown spammer\t-\n" + example_mail("04-confidential.eml") +
        "\tblocked\tquarantined\tConfidential\t-\n";
    EXPECT_EQ(run.output, expected);
    // The administrator's warnings went to the outbox; the mails are untouched.
    std::ifstream notification(outbox + "/notification-1.eml");
    EXPECT_TRUE(notification.good());
    std::ifstream original(example_mail("02-invoice-exe.eml"));
    std::string text((std::istreambuf_iterator<char>(original)), std::istreambuf_iterator<char>());
    EXPECT_NE(text.find("invoice.exe\"\r\nContent-Transfer-Encoding: base64"), std::string::npos);
}

std::vector<std::string> directory_names(const std::string &dir)
{
    std::vector<std::string> names;
    if (DIR *handle = opendir(dir.c_str())) {
        while (dirent *entry = readdir(handle))
            names.push_back(entry->d_name);
        closedir(handle);
    }
    return names;
}

std::string file_text(const std::string &path)
{
    std::ifstream in(path, std::ios::binary);
    return std::string((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
}

// The workers write the spool: every mail, read from a file or from
// standard input, gets its pair with the mail's bytes unchanged, and the
// verdict lines keep the order of the arguments.
TEST(HostCommandsTest, ScanWritesEachMailsPairOnTheWorkers)
{
    ExampleRoot install;
    BaseTempDir spool;
    const std::string plain = example_mail("01-plain.eml");
    const std::string pdf = example_mail("11-pdf-attachment.eml");
    OvctlOptions options;
    options.mergeStderr = false;
    options.stdinFile = pdf;
    OvctlRun run = run_ovctl({"scan", "--root", install.root(), "--spool", spool.dir(),
                              "--threads", "3", plain, "-", pdf, plain},
                             options);
    ASSERT_EQ(run.status, 0) << run.output;
    EXPECT_EQ(run.output, plain + "\tpass\tnone\t\t-\n-\tpass\tnone\t\t-\n" + pdf +
                              "\tpass\tnone\t\t-\n" + plain + "\tpass\tnone\t\t-\n");
    // Each pair is named after its input ("stdin" for standard input), a
    // name met twice gets a number, and holds that input's bytes.
    const std::map<std::string, std::string> sources = {{"AFI01-plain.eml", plain},
                                                        {"AFIstdin", pdf},
                                                        {"AFI11-pdf-attachment.eml", pdf},
                                                        {"AFI01-plain.eml_2", plain}};
    size_t pairs = 0;
    for (const std::string &af : directory_names(spool.dir())) {
        if (af.compare(0, 3, "AFI") != 0)
            continue;
        ++pairs;
        auto source = sources.find(af);
        ASSERT_NE(source, sources.end()) << af;
        EXPECT_EQ(file_text(spool.path("DF" + af.substr(2))), file_text(source->second)) << af;
        EXPECT_NE(file_text(spool.path(af)).find("\nT<"), std::string::npos) << af;
    }
    EXPECT_EQ(pairs, sources.size());
}

TEST(HostCommandsTest, ScanJsonAndBadArguments)
{
    ExampleRoot install;
    OvctlRun json = run_ovctl({"scan", "--root", install.root(), "--json",
                               example_mail("03-spam-subject.eml")},
                              false);
    EXPECT_EQ(json.status, 0);
    EXPECT_NE(json.output.find("\"result\": \"blocked\", \"code\": 2, \"action\": \"deleted\", "
                               "\"name\": \"Known spammer\", \"faults\": [], \"copy\": \"\"}"),
              std::string::npos)
        << json.output;

    EXPECT_EQ(run_ovctl({"scan", example_mail("01-plain.eml")}).status, 2);   // no --root
    EXPECT_EQ(run_ovctl({"scan", "--root", install.root(), "--threads", "0", "x"}).status, 2);
    OvctlRun missing = run_ovctl({"scan", "--root", install.root(), "/nonexistent/mail"});
    EXPECT_EQ(missing.status, 1);
    EXPECT_EQ(missing.output.rfind("ovctl: ", 0), 0u) << missing.output;
    OvctlRun badRoot = run_ovctl({"scan", "--root", "/nonexistent", example_mail("01-plain.eml")});
    EXPECT_EQ(badRoot.status, 1);
    EXPECT_NE(badRoot.output.find("-8"), std::string::npos) << badRoot.output;
}

TEST(HostCommandsTest, UpdateAndLintOnTheExample)
{
    ExampleRoot install;
    EXPECT_EQ(run_ovctl({"update", "--root", install.root()}).status, 0);
    OvctlRun clean = run_ovctl({"lint", "--root", install.root()});
    EXPECT_EQ(clean.status, 0) << clean.output;
}

int line_count(const std::string &path)
{
    std::ifstream in(path);
    int lines = 0;
    for (std::string line; std::getline(in, line);)
        ++lines;
    return lines;
}

TEST(HostCommandsTest, LintReportsEveryProblemWithFileAndLine)
{
    ExampleRoot install;
    const int iniLines = line_count(install.file("contscan.ini"));
    const int ruleLines = line_count(install.file("spamrule/spamrule.txt"));
    const int sfLines = line_count(install.file("spamrule/SFRule.txt"));
    auto at = [](const std::string &file, int line) { return file + ":" + std::to_string(line); };
    install.append("contscan.ini", "; gone at the next write\nkey = spaced\n[broken\nlast");
    install.append("spamrule/spamrule.txt", "Bad type\\D\\SIZE>1\\DEL\nNo action\\A\\SIZE>1\n");
    install.append("spamrule/SFRule.txt", "<MAIL TYPE>A</MAIL TYPE>\r\n");
    install.append("spamrule/Zelto$RF.1", "x");
    OvctlRun run = run_ovctl({"lint", "--root", install.root()}, false);
    EXPECT_EQ(run.status, 1);
    const std::string ini = install.file("contscan.ini");
    const std::string rules = install.file("spamrule/spamrule.txt");
    for (const std::string &line : {
             at(ini, iniLines + 1) + ": not a section, key, blank or \"#\" line: dropped",
             at(ini, iniLines + 2) + ": blank before \"=\": the key is \"key \"",
             at(ini, iniLines + 3) + ": not a section, key, blank or \"#\" line: dropped",
             at(ini, iniLines + 4) + ": the last line has no newline and is ignored",
             at(rules, ruleLines + 1) + ": Mail Type Error!",
             at(rules, ruleLines + 2) + ": No Action Error!",
             at(install.file("spamrule/SFRule.txt"), sfLines + 1) +
                 ": no <RULE NAME> or <MAIL TYPE>",
             install.file("spamrule/Zelto$RF.1") + ": unreadable, or its CRC does not agree",
         })
        EXPECT_NE(run.output.find(line), std::string::npos) << line << "\n" << run.output;

    // A policy file without its marker loads nothing.
    std::ofstream(install.file("CsConfig.dat")) << "CsConfig.dat\tshX\t";
    EXPECT_NE(run_ovctl({"lint", "--root", install.root()}).output.find(
                  "CsConfig.dat:1: does not begin with the marker"),
              std::string::npos);
}

} // namespace
