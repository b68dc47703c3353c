// ovctl lint --root ROOT: reads every settings and rule file of an
// installation as the plug-in would and reports each problem as
// "FILE:LINE: message" (or "FILE: message" for the whole file):
//   contscan.ini            lines the settings reader drops or reads otherwise
//                           than written
//   CsConfig.dat            must begin with its "CsConfig.dat2" marker
//   spamrule/spamrule.txt   rule lines the editor's check refuses
//   spamrule/SFRule.txt     special-filter lines without name or mail type
//   "RuleFile" sources      sealed files whose CRC does not agree (their rules
//                           are then checked too) and plain import files
//   work directories        the temporary, quarantine and archive directories
//                           must be creatable and writable (checked with a
//                           real file; missing ones are created)
// and the traps that load without complaint but lose mail (lint_rules.h,
// lint_policies.h, lint_addresses.h), each as "FILE:LINE: problem; hint".
// Exit 1 when an error was reported (with --strict also for warnings), 0
// otherwise.
#include <strings.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "base/config_file.h"
#include "base/file_util.h"
#include "base/profile.h"
#include "rules/sealed_file.h"
#include "sfilter/sfrule_content.h"
#include "sfilter/sfrule_file.h"
#include "tools/hostkit/work_directories.h"
#include "tools/ovctl/command.h"
#include "tools/ovctl/lint_addresses.h"
#include "tools/ovctl/lint_policies.h"
#include "tools/ovctl/lint_rules.h"

namespace {

class Report {
public:
    void file(const std::string &path, const std::string &message)
    {
        std::printf("%s: %s\n", path.c_str(), message.c_str());
        ++m_count;
    }
    void line(const std::string &path, int number, const std::string &message)
    {
        std::printf("%s:%d: %s\n", path.c_str(), number, message.c_str());
        ++m_count;
    }
    void findings(const LintFindings &found)
    {
        for (const LintFinding &finding : found) {
            const std::string text = (finding.warning ? "warning: " : "") + finding.problem +
                                     "; " + finding.hint;
            if (finding.line > 0)
                std::printf("%s:%d: %s\n", finding.file.c_str(), finding.line, text.c_str());
            else
                std::printf("%s: %s\n", finding.file.c_str(), text.c_str());
            ++(finding.warning ? m_warnings : m_count);
        }
    }
    int count() const { return m_count; }
    int warnings() const { return m_warnings; }

private:
    int m_count = 0;
    int m_warnings = 0;
};

bool readable(const std::string &path)
{
    return access(path.c_str(), R_OK) == 0;
}

void lint_settings(const std::string &path, Report &report)
{
    if (!readable(path)) {
        report.file(path, "missing or unreadable: the plug-in does not start");
        return;
    }
    for (const ConfigLineProblem &problem : FindConfigLineProblems(path.c_str()))
        report.line(path, problem.line, problem.reason);
}

void lint_policies(const std::string &path, Report &report)
{
    FILE *file = std::fopen(path.c_str(), "rb");
    if (!file) {
        report.file(path, "missing or unreadable: the plug-in does not start");
        return;
    }
    char head[14] = {};
    size_t got = std::fread(head, 1, sizeof head, file);
    std::fclose(file);
    if (got < sizeof head || std::string(head, sizeof head) != "CsConfig.dat2\t")
        report.line(path, 1, "does not begin with the marker \"CsConfig.dat2\" and a tab: "
                             "no policy is loaded");
}

void lint_special_rules(const std::string &path, Report &report)
{
    f_read_text_file rules(path.c_str());
    if (!rules.is_open()) {
        report.file(path, "missing or unreadable: the plug-in does not start");
        return;
    }
    std::string line;
    for (int number = 1; rules.read_a_line(line); ++number) {
        size_t first = line.find_first_not_of(" \t\r");
        if (first == std::string::npos || line[first] == ';')
            continue;   // blank, or the writer's comment line
        tagSFRuleContent rule;
        if (!c_special_filter_loader::parse_line(line, rule))
            report.line(path, number, "no <RULE NAME> or <MAIL TYPE>: the line is skipped");
    }
}

void lint_sealed(const std::string &path, const std::string &tempDir, Report &report)
{
    char plain[OV_MAX_PATH] = "";
    if (GetTempFileName(tempDir.c_str(), "LN", 0, plain) == 0) {
        report.file(path, "cannot make a temporary file in " + tempDir);
        return;
    }
    if (DecrptFileWithCRC(path.c_str(), plain) == -1)
        report.file(path, "unreadable, or its CRC does not agree: no vendor rule is loaded");
    else
        report.findings(LintRuleFile(plain, path, false));
    DeleteFile(plain);
}

// The sources of "RuleFile" in section "Anti-Spam", as the plug-in loads them.
void lint_rule_sources(const std::string &ini, const std::string &ruleDir, Report &report)
{
    char list[512] = "";
    GetPrivateProfileString("Anti-Spam", "RuleFile", "", list, sizeof list, ini.c_str());
    if (list[0] == '\0')
        return;
    char version[50] = "";
    GetPrivateProfileString("RuleFile-Update", "RFVersion", "1", version, sizeof version,
                            ini.c_str());
    const char *tempDir = std::getenv("TMPDIR");
    std::string items = list;
    size_t start = 0;
    for (;;) {
        size_t comma = items.find(',', start);
        std::string item = items.substr(start, comma == std::string::npos ? std::string::npos
                                                                           : comma - start);
        if (strncasecmp(item.c_str(), "Zelto$RF", 8) == 0)
            lint_sealed(ruleDir + "Zelto$RF." + version, tempDir ? tempDir : "/tmp", report);
        else if (item.empty())
            report.file(ini, "[Anti-Spam] RuleFile has an empty item");
        else
            report.findings(LintRuleFile(item, item, false));
        if (comma == std::string::npos)
            break;
        start = comma + 1;
    }
}

// The directories the plug-in writes into, reported against contscan.ini.
void lint_work_directories(const std::string &root, const std::string &ini, Report &report)
{
    for (const std::string &problem : unusable_work_directories(root))
        report.file(ini, problem + ": mail would be held or pass unfiltered");
}

int run_lint(const OvctlArgs &args)
{
    std::string root;
    bool strict = false;
    for (size_t i = 0; i < args.size(); ++i) {
        if (args[i] == "--root" && i + 1 < args.size())
            root = args[++i];
        else if (args[i] == "--strict")
            strict = true;
        else
            return ovctl_usage("lint");
    }
    if (root.empty())
        return ovctl_usage("lint");
    while (root.size() > 1 && root.back() == '/')
        root.pop_back();
    const std::string dir = root + "/Plug-Ins/OV/";
    const std::string ini = dir + "contscan.ini";
    const std::string ruleFile = dir + "spamrule/spamrule.txt";
    Report report;
    lint_settings(ini, report);
    lint_policies(dir + "CsConfig.dat", report);
    report.findings(LintRuleFile(ruleFile, ruleFile, true));
    report.findings(LintEnableTable(ruleFile));
    lint_special_rules(dir + "spamrule/SFRule.txt", report);
    lint_rule_sources(ini, dir + "spamrule/", report);
    lint_work_directories(root, ini, report);
    const IniIndex settings(ini);
    std::vector<std::string> policies;
    report.findings(LintPolicies(dir, settings, &policies));
    report.findings(LintNotificationAddresses(settings, policies));
    const int failing = report.count() + (strict ? report.warnings() : 0);
    if (report.count() + report.warnings() == 0) {
        std::printf("%s: no problems\n", dir.c_str());
        return 0;
    }
    std::fprintf(stderr, "ovctl: %d problem%s, %d warning%s\n", report.count(),
                 report.count() == 1 ? "" : "s", report.warnings(),
                 report.warnings() == 1 ? "" : "s");
    return failing ? 1 : 0;
}

const char kHelp[] =
    "Checks an installation's settings and rule files for what loses or holds mail.\n"
    "Reads ROOT/Plug-Ins/OV/ as the plug-in would: \"contscan.ini\", \"CsConfig.dat\" and its\n"
    "import files, \"spamrule/spamrule.txt\" with its enable table, \"spamrule/SFRule.txt\"\n"
    "and the \"RuleFile\" sources. Each finding is one line\n"
    "  FILE:LINE: problem; hint\n"
    "(\"FILE: ...\" for a whole file). Among them: lines the readers drop, rule actions\n"
    "other than exactly DEL, QUAR or ARCH (such rules delete), SIZE terms without a\n"
    "number or with text after it, rules switched off in the enable table (they still\n"
    "scan), keyword policies without their section or with an Action that falls back\n"
    "to archiving, unreadable keyword import files, names and keywords longer than 80\n"
    "bytes. Notification addresses at example.com, .net or .org are warnings\n"
    "(\"FILE:LINE: warning: ...\").\n"
    "Exit status: 1 when an error was found (with --strict also for a warning), else 0.\n";
const OvctlCommand lintCommand{"lint", "lint --root ROOT [--strict]", run_lint, kHelp};

} // namespace
