// ovctl rules SUBCOMMAND ...: the rule filter from the command line.
//
//   rules test 'SENTENCE' AF   parses a rule sentence and evaluates it on the
//                              mail of envelope AF (relay hosts and
//                              attachments are not read; SIZE is the size of
//                              the DF file beside AF); prints "match" or
//                              "no match"
//   rules check FILE           "FILE:LINE: <message>" for every rule line the
//                              loader or the editor's check refuses; exit 1
//                              when there is one
//   rules seal PLAIN SEALED    seals a vendor rule file
//   rules unseal SEALED PLAIN  unseals one; exit 1 when it is damaged
//   rules scan --rules FILE [--sfrule FILE] [--ini FILE] AF DF
//                              judges one mail as the plug-in does: prints
//                              "rule\t<name>\t<action>\t<trigger>" or "pass",
//                              then "replace\t<name>\t<start>\t<end>" for each
//                              attachment the specialized filter picks
//
// Each subcommand is a row of kSubcommands.
#include <sys/stat.h>

#include <climits>
#include <cstdio>
#include <ctime>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "base/config_file.h"
#include "base/file_util.h"
#include "mail/mail_info.h"
#include "rules/expression.h"
#include "rules/replace_stru.h"
#include "rules/rule_line.h"
#include "rules/rule_scan.h"
#include "rules/sealed_file.h"
#include "sfilter/filter_config.h"
#include "tools/ovctl/command.h"

namespace {

// A subcommand that checks its own words.
constexpr size_t kAnyArguments = static_cast<size_t>(-1);

struct RulesSubcommand {
    const char *name;
    size_t arguments;   // words after the subcommand name, or kAnyArguments
    int (*run)(const OvctlArgs &args);
};

// The data file beside an envelope file: the first character of the base
// name becomes "D" (AFI1234 -> DFI1234); empty when the name is too short.
std::string DataFileOf(const std::string &af)
{
    size_t slash = af.rfind('/');
    size_t base = slash == std::string::npos ? 0 : slash + 1;
    if (af.size() - base <= 1)
        return "";
    std::string df = af;
    df[base] = 'D';
    return df;
}

// The envelope's mail as the pipeline sees it before the rule scan.
bool LoadMail(const std::string &af, CMailInfo &info, std::string *error)
{
    std::string data;
    if (af == "-") {
        *error = "AF must be a file";
        return false;
    }
    if (!ovctl_read_input(af, &data, error))
        return false;
    info.ParseAFInfo(af.c_str(), true);
    if (info.m_lReceivedTime == 0)
        info.m_lReceivedTime = static_cast<int>(std::time(nullptr));
    std::string df = DataFileOf(af);
    struct stat status;
    if (!df.empty() && stat(df.c_str(), &status) == 0 && S_ISREG(status.st_mode))
        info.m_nMailSize = status.st_size > INT_MAX ? INT_MAX : static_cast<int>(status.st_size);
    return true;
}

int run_test(const OvctlArgs &args)
{
    CExpression rule;
    if (!rule.ParseExpression(args[0].c_str(), true))
        return ovctl_fail("Sentence Syntax Error!");
    CMailInfo info;
    std::string error;
    if (!LoadMail(args[1], info, &error))
        return ovctl_fail(error);
    std::printf("%s\n", rule.Evaluate(&info) ? "match" : "no match");
    return 0;
}

int run_check(const OvctlArgs &args)
{
    const std::string &file = args[0];
    f_read_text_file rules(file.c_str());
    if (!rules.is_open())
        return ovctl_fail("cannot open " + file);
    int rejected = 0;
    std::string line;
    for (int number = 1; rules.read_a_line(line); ++number) {
        RuleLineError error = CheckRuleLine(line.c_str(), true);
        if (error == RULE_LINE_OK || error == RULE_LINE_EMPTY)
            continue;
        std::printf("%s:%d: %s\n", file.c_str(), number, RuleLineMessage(error));
        ++rejected;
    }
    return rejected ? 1 : 0;
}

int run_seal(const OvctlArgs &args)
{
    if (EncrptFileWithCRC(args[0].c_str(), args[1].c_str()) == -1)
        return ovctl_fail("cannot seal " + args[0] + " into " + args[1]);
    return 0;
}

int run_unseal(const OvctlArgs &args)
{
    if (DecrptFileWithCRC(args[0].c_str(), args[1].c_str()) == -1)
        return ovctl_fail("cannot unseal " + args[0] + " (unreadable or damaged) into " + args[1]);
    return 0;
}

struct ScanOptions {
    std::string rules, sfrule, ini, af, df;
};

// "--rules FILE [--sfrule FILE] [--ini FILE] AF DF" in any option order.
bool ParseScanOptions(const OvctlArgs &args, ScanOptions &options)
{
    std::vector<std::string> positional;
    for (size_t i = 0; i < args.size(); ++i) {
        std::string *target = args[i] == "--rules"    ? &options.rules
                              : args[i] == "--sfrule" ? &options.sfrule
                              : args[i] == "--ini"    ? &options.ini
                                                      : nullptr;
        if (!target) {
            positional.push_back(args[i]);
            continue;
        }
        if (++i == args.size())
            return false;
        *target = args[i];
    }
    if (options.rules.empty() || positional.size() != 2)
        return false;
    options.af = positional[0];
    options.df = positional[1];
    return true;
}

// Loads the scanner as the plug-in does at start; false with a message.
bool LoadScanner(const ScanOptions &options, CRuleScan &scan, std::string *error)
{
    if (!scan.Initialize(options.rules.c_str())) {
        *error = "cannot read " + options.rules;
        return false;
    }
    if (!options.sfrule.empty()) {
        std::string data;
        if (!ovctl_read_input(options.sfrule, &data, error))
            return false;
        scan.LoadSFilterSetting(options.sfrule.c_str(), "");
    }
    scan.LoadProfile();
    return true;
}

// A new empty file for the mail's searchable text.
std::string TextFileName()
{
    char name[OV_MAX_PATH] = "";
    if (GetTempFileName(std::filesystem::temp_directory_path().c_str(), "ovctl", 0, name) == 0)
        return "";
    return name;
}

int run_scan(const OvctlArgs &args)
{
    ScanOptions options;
    if (!ParseScanOptions(args, options))
        return ovctl_usage("rules");
    std::unique_ptr<ConfigFile> config;
    ConfigFile *current = nullptr;
    if (!options.ini.empty()) {
        config.reset(new ConfigFile(options.ini.c_str(), 0));
        if (!config->ok())
            return ovctl_fail("cannot read " + options.ini);
        current = config.get();
    }
    SetFilterConfigSource(&current);

    CRuleScan scan;
    std::string error;
    CMailInfo info;
    if (!LoadScanner(options, scan, &error) || !LoadMail(options.af, info, &error)) {
        SetFilterConfigSource(nullptr);
        return ovctl_fail(error);
    }
    struct stat status;
    if (stat(options.df.c_str(), &status) == 0 && S_ISREG(status.st_mode))
        info.m_nMailSize = status.st_size > INT_MAX ? INT_MAX : static_cast<int>(status.st_size);
    std::unique_ptr<MEMBUF> text(new MEMBUF());
    const std::string textFile = TextFileName();
    std::string name, sentence, action;
    TriggerType trigger = TRIGGER_ADMIN;
    Replace_Stru replace;
    bool matched = scan.Scan(options.af.c_str(), options.df.c_str(), name, sentence, action,
                             trigger, info, text.get(), textFile.empty() ? nullptr : textFile.c_str(),
                             options.sfrule.empty() ? nullptr : &replace);
    SetFilterConfigSource(nullptr);
    if (!textFile.empty())
        DeleteFile(textFile.c_str());
    if (matched)
        std::printf("rule\t%s\t%s\t%d\n", name.c_str(), action.c_str(), static_cast<int>(trigger));
    else
        std::printf("pass\n");
    for (int i = 0; i < replace.count; ++i)
        std::printf("replace\t%s\t%d\t%d\n", replace.entries[i]->m_szName,
                    replace.entries[i]->m_nStart, replace.entries[i]->m_nEnd);
    return 0;
}

const RulesSubcommand kSubcommands[] = {
    {"test", 2, run_test},
    {"check", 1, run_check},
    {"seal", 2, run_seal},
    {"unseal", 2, run_unseal},
    {"scan", kAnyArguments, run_scan},
};

int run_rules(const OvctlArgs &args)
{
    if (args.empty())
        return ovctl_usage("rules");
    for (const RulesSubcommand &subcommand : kSubcommands) {
        if (args[0] != subcommand.name)
            continue;
        OvctlArgs rest(args.begin() + 1, args.end());
        if (subcommand.arguments != kAnyArguments && rest.size() != subcommand.arguments)
            return ovctl_usage("rules");
        return subcommand.run(rest);
    }
    return ovctl_usage("rules");
}

const char kHelp[] =
    "The rule filter from the command line.\n"
    "  test 'SENTENCE' AF    evaluates one rule sentence on the mail of envelope AF\n"
    "                        (SIZE is the size of the DF file beside it; relay hosts and\n"
    "                        attachments are not read): prints \"match\" or \"no match\"\n"
    "  check FILE            \"FILE:LINE: message\" for every line the loader or the\n"
    "                        editor's check refuses; exit 1 when there is one\n"
    "  seal PLAIN SEALED     seals a vendor rule file; unseal SEALED PLAIN opens one\n"
    "                        (exit 1 when it is damaged)\n"
    "  scan --rules FILE [--sfrule FILE] [--ini FILE] AF DF\n"
    "                        judges one mail as the plug-in does: \"rule\\t<name>\\t\n"
    "                        <action>\\t<trigger>\" or \"pass\", then \"replace\\t<name>\\t\n"
    "                        <start>\\t<end>\" per attachment the special filter picks\n";
const OvctlCommand reg{"rules",
                       "rules test 'SENTENCE' AF | check FILE | seal PLAIN SEALED | "
                       "unseal SEALED PLAIN | scan --rules FILE [--sfrule FILE] [--ini FILE] AF DF",
                       run_rules, kHelp};

} // namespace
