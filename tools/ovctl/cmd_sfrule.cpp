// ovctl sfrule list FILE: the rules of a specialized-filter rule file
// ("SFRule.txt") as the plug-in loads them, one line per rule:
//   <name>\t<A|B|C>\t<INCLUDE|EXCLUDE>\t<MIME types>\t<file-name patterns>
// Both lists are lower case and comma-joined, as the filter uses them.
// Lines the loader drops (no name or mail type) do not appear.
#include <cstdio>
#include <string>

#include "sfilter/sfilter.h"
#include "sfilter/sfrule_file.h"
#include "tools/ovctl/command.h"

namespace {

template <typename Items, typename Text>
std::string joined(const Items &items, Text text)
{
    std::string out;
    for (const auto &item : items) {
        if (!out.empty())
            out += ',';
        out += text(item);
    }
    return out;
}

int run_list(const std::string &file)
{
    std::string data, error;
    if (!ovctl_read_input(file, &data, &error))
        return ovctl_fail(error);
    CSFilter filter;
    filter.LoadSFRule(file.c_str());
    for (const CSFRule *rule = filter.GetHead(); rule; rule = rule->next) {
        std::string mime = joined(rule->mimeTypes, [](const std::string &type) { return type; });
        std::string names =
            joined(rule->filenames, [](const Filename_Stru &pattern) { return pattern.text; });
        std::printf("%s\t%c\t%s\t%s\t%s\n", rule->name.c_str(),
                    sfrule_mail_type_letter(rule->mailType), rule->include ? "INCLUDE" : "EXCLUDE",
                    mime.c_str(), names.c_str());
    }
    return 0;
}

int run_sfrule(const OvctlArgs &args)
{
    if (args.size() != 2 || args[0] != "list" || args[1] == "-")
        return ovctl_usage("sfrule");
    return run_list(args[1]);
}

const char kHelp[] =
    "Lists the rules of a special-filter rule file (\"SFRule.txt\") as the plug-in loads them.\n"
    "One line per rule: \"<name>\\t<A|B|C>\\t<INCLUDE|EXCLUDE>\\t<MIME types>\\t<file-name\n"
    "patterns>\", both lists lower case and comma-joined. Lines the loader drops (no\n"
    "<RULE NAME> or <MAIL TYPE>) do not appear; \"ovctl lint\" names them.\n";
const OvctlCommand reg{"sfrule", "sfrule list FILE", run_sfrule, kHelp};

} // namespace
