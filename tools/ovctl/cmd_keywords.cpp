// ovctl keywords: tries a keyword policy file on mail text files, as the
// plug-in's keyword scan judges a mail.
//
//   ovctl keywords --policy CsConfig.dat --settings contscan.ini [--explain] FILE...
//
// Each FILE is scanned from disk (the text-file mode of the scan), its
// direction taken from its name as the plug-in takes it (third character of
// the file name "O" or "o": outbound; also for a name given without a
// directory). Output, one line per matched policy:
//
//   FILE<TAB>POLICY             or, when no policy matched,   FILE<TAB>pass
//
// With --explain a matched policy's line also names its keyword lists that
// were found whole ("free+money, win"), and each policy excused by one of its
// no-action keywords gets a line "FILE<TAB>POLICY (no action)<TAB>WORDS".
// A file that cannot be read is reported on stderr and the command ends
// with 1 after the other files.
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "contscan/content_scan.h"
#include "contscan/keyword_tree.h"
#include "contscan/policy.h"
#include "tools/ovctl/command.h"

namespace
{

struct KeywordsOptions {
    std::string policy;
    std::string settings;
    bool explain = false;
    std::vector<std::string> files;
};

// False on a usage error.
bool ParseOptions(const OvctlArgs &args, KeywordsOptions *options)
{
    for (size_t i = 0; i < args.size(); ++i) {
        const std::string &word = args[i];
        if (word == "--explain") {
            options->explain = true;
        } else if ((word == "--policy" || word == "--settings") && i + 1 < args.size()) {
            (word == "--policy" ? options->policy : options->settings) = args[++i];
        } else if (word.rfind("--", 0) == 0) {
            return false;
        } else {
            options->files.push_back(word);
        }
    }
    return !options->policy.empty() && !options->settings.empty() && !options->files.empty();
}

struct SetDeleter {
    void operator()(POLICYSET *set) const { ZWContScanCleanUp(set); }
};

// One result entry per policy, chained in policy order.
std::vector<_POLICY_MATCH_INFO> NewMatchInfo(POLICYSET *set)
{
    std::vector<_POLICY_MATCH_INFO> entries;
    for (POLICY_STRU *policy = set->m_pFirstPolicy; policy; policy = policy->m_pNext)
        entries.push_back(_POLICY_MATCH_INFO{policy, 0, 0, nullptr});
    for (size_t i = 0; i + 1 < entries.size(); ++i)
        entries[i].m_pNext = &entries[i + 1];
    return entries;
}

std::string Join(const std::vector<std::string> &parts, const char *separator)
{
    std::string text;
    for (const std::string &part : parts)
        text += (text.empty() ? "" : separator) + part;
    return text;
}

// The keyword lists of a policy found whole, as "a+b, c".
std::string FoundLists(POLICY_STRU *policy, KEYWORD_MATCH_SET *matches)
{
    std::vector<std::string> lists;
    for (KEYWORDLIST_STRU *list = policy->m_pFirstKeywordList; list; list = list->m_pNext) {
        if (!IsKeywordListMatch(list, matches))
            continue;
        std::vector<std::string> words;
        for (KEYWORD_STRU *k = list->m_pFirstKeyword; k; k = k->m_pNext)
            words.push_back(k->m_szText);
        lists.push_back(Join(words, "+"));
    }
    return Join(lists, ", ");
}

// The no-action keywords of a policy that were found, each once.
std::string FoundNoActionWords(const POLICY_STRU *policy, const KEYWORD_MATCH_SET &matches)
{
    std::vector<std::string> words;
    for (const KEYWORD_MATCH_INFO *m = matches.m_pFirst; m; m = m->m_pNext) {
        if (m->m_pPolicy != policy || m->m_pKeywordList)
            continue;
        std::string word = static_cast<const NOACTION_KEYWORD_STRU *>(m->m_pKeyword)->m_szText;
        bool seen = false;
        for (const std::string &w : words)
            seen = seen || w == word;
        if (!seen)
            words.push_back(word);
    }
    return Join(words, ", ");
}

// Prints the verdict lines of one file; false when it could not be scanned.
bool ScanOne(POLICYSET *set, const std::string &file, bool explain)
{
    std::vector<_POLICY_MATCH_INFO> entries = NewMatchInfo(set);
    std::unique_ptr<MEMBUF> membuf(new MEMBUF{});
    // The scan takes the direction from the name after the last "/" and
    // treats a path without one as inbound; a bare name is given its "./"
    // so that its own third character decides here too.
    std::string path = file.find('/') == std::string::npos ? "./" + file : file;
    int result =
        ZWContScanScanFile(set, membuf.get(), &path[0], entries.empty() ? nullptr : &entries[0]);
    if (result < 0) {
        ovctl_fail("cannot scan " + file + ": " + std::strerror(result == -1 ? EINVAL : -result));
        return false;
    }
    KEYWORD_MATCH_SET matches = {};
    if (explain)
        AhoCorasickStringSearch(set->m_pKeywordTree, nullptr, path.c_str(), set->m_bCaseSensitive,
                                set->m_bExactMatch, &matches);
    std::string output;
    bool matched = false;
    for (const _POLICY_MATCH_INFO &entry : entries) {
        std::string name = entry.m_pPolicy->m_szName;
        if (entry.m_nMatched) {
            matched = true;
            output += file + "\t" + name;
            if (explain)
                output += "\t" + FoundLists(entry.m_pPolicy, &matches);
            output += "\n";
        } else if (explain && entry.m_nNoAction) {
            output += file + "\t" + name + " (no action)\t" +
                      FoundNoActionWords(entry.m_pPolicy, matches) + "\n";
        }
    }
    if (!matched)
        output = file + "\tpass\n" + output;
    FreeKeywordMatchSet(&matches);
    ovctl_write_output(output);
    return true;
}

int run_keywords(const OvctlArgs &args)
{
    KeywordsOptions options;
    if (!ParseOptions(args, &options))
        return ovctl_usage("keywords");
    std::unique_ptr<POLICYSET, SetDeleter> set(
        ZWContScanInit(options.policy.c_str(), options.settings.c_str()));
    if (!set)
        return ovctl_fail("cannot read policy file " + options.policy);
    bool allScanned = true;
    for (const std::string &file : options.files)
        allScanned = ScanOne(set.get(), file, options.explain) && allScanned;
    return allScanned ? 0 : 1;
}

const OvctlCommand reg{"keywords", "keywords --policy CSCONFIG --settings INI [--explain] FILE...",
                       run_keywords};

} // namespace
