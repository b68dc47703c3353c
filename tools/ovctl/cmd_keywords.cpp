// ovctl keywords: tries a keyword policy file on mail files, as the
// plug-in's keyword scan judges a mail.
//
//   ovctl keywords --policy CsConfig.dat --settings contscan.ini [--raw] [--explain] FILE...
//
// Each FILE is read as the plug-in reads a mail: the MIME walk gathers its
// decoded text (and, as "DECODETNEF" and "EnableAttachScan" of the settings
// say, the text of its attachments) into memory, past 99999 bytes into a
// temporary text file that is removed afterwards, and the scan runs over
// that text. With --raw the file itself is scanned as text. The direction is
// taken from FILE's name as the plug-in takes it (third character of the
// file name "O" or "o": outbound; also for a name given without a
// directory). Output, one line per matched policy:
//
//   FILE<TAB>POLICY             or, when no policy matched,   FILE<TAB>pass
//
// With --explain a matched policy's line also names its keyword lists that
// were found whole ("free+money, win"), and each policy excused by one of its
// no-action keywords gets a line "FILE<TAB>POLICY (no action)<TAB>WORDS".
// A file that cannot be read is reported on stderr and the command ends
// with 1 after the other files.
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "contscan/content_scan.h"
#include "contscan/keyword_tree.h"
#include "contscan/policy.h"
#include "base/profile.h"
#include "mail/attachment_ops.h"
#include "mail/mail_info.h"
#include "mail/mime_walk.h"
#include "tools/ovctl/command.h"

namespace
{

struct KeywordsOptions {
    std::string policy;
    std::string settings;
    bool explain = false;
    bool raw = false;
    std::vector<std::string> files;
};

// False on a usage error.
bool ParseOptions(const OvctlArgs &args, KeywordsOptions *options)
{
    for (size_t i = 0; i < args.size(); ++i) {
        const std::string &word = args[i];
        if (word == "--explain") {
            options->explain = true;
        } else if (word == "--raw") {
            options->raw = true;
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

// True when the scan takes the file for outbound mail.
bool IsOutbound(const std::string &file)
{
    const size_t slash = file.rfind('/');
    const std::string name = slash == std::string::npos ? file : file.substr(slash + 1);
    return name.size() > 2 && (name[2] == 'O' || name[2] == 'o');
}

// The text the plug-in's keyword scan reads for one mail: the MIME walk's
// text in memory, or in a temporary text file once it outgrows the buffer.
// The file is named as the plug-in names it ("DFI"/"DFO", whose third
// character gives the direction) and removed with this object.
class MailText {
public:
    MailText() : m_membuf(new MEMBUF{}) {}
    ~MailText()
    {
        if (!m_path.empty())
            std::remove(m_path.c_str());
    }
    MailText(const MailText &) = delete;
    MailText &operator=(const MailText &) = delete;

    // False with a reason when the mail cannot be read or the text file made.
    bool Walk(const std::string &file, const std::string &settings, std::string *error)
    {
        const char *tmp = std::getenv("TMPDIR");
        std::string pattern = std::string(tmp && *tmp ? tmp : "/tmp") +
                              (IsOutbound(file) ? "/DFO" : "/DFI") + "XXXXXX";
        int fd = mkstemp(&pattern[0]);
        if (fd < 0) {
            *error = std::string("cannot make a temporary text file: ") + std::strerror(errno);
            return false;
        }
        close(fd);
        m_path = pattern;
        CMailInfo info;
        if (!GetAttachmentInfo(file.c_str(), m_membuf.get(), m_path.c_str(), &info)) {
            *error = "cannot scan " + file + ": " + std::strerror(errno);
            return false;
        }
        const char *ini = settings.c_str();
        if (GetPrivateProfileInt("Content Filter", "DECODETNEF", 1, ini) != 0)
            GetTnefFileName(file.c_str(),
                            GetPrivateProfileInt("Content Filter", "EnableAttachScan", 0, ini) == 1,
                            info, m_membuf.get(), m_path.c_str());
        return true;
    }
    MEMBUF *membuf() { return m_membuf.get(); }
    std::string &path() { return m_path; }

private:
    std::unique_ptr<MEMBUF> m_membuf;
    std::string m_path;
};

// Prints the verdict lines of one file; false when it could not be scanned.
bool ScanOne(POLICYSET *set, const std::string &file, const KeywordsOptions &options)
{
    std::vector<_POLICY_MATCH_INFO> entries = NewMatchInfo(set);
    MailText text;
    std::string error;
    // The scan takes the direction from the name after the last "/" and
    // treats a path without one as inbound; a bare name is given its "./"
    // so that its own third character decides here too.
    std::string rawPath = file.find('/') == std::string::npos ? "./" + file : file;
    if (!options.raw && !text.Walk(file, options.settings, &error)) {
        ovctl_fail(error);
        return false;
    }
    // Not walked (--raw), the text is the file: the empty buffer says so.
    std::string &path = options.raw ? rawPath : text.path();
    MEMBUF *membuf = text.membuf();
    int result = ZWContScanScanFile(set, membuf, &path[0], entries.empty() ? nullptr : &entries[0]);
    if (result < 0) {
        ovctl_fail("cannot scan " + file + ": " + std::strerror(result == -1 ? EINVAL : -result));
        return false;
    }
    KEYWORD_MATCH_SET matches = {};
    if (options.explain)
        AhoCorasickStringSearch(set->m_pKeywordTree, membuf, path.c_str(),
                                set->m_bCaseSensitive, set->m_bExactMatch, &matches);
    std::string output;
    bool matched = false;
    for (const _POLICY_MATCH_INFO &entry : entries) {
        std::string name = entry.m_pPolicy->m_szName;
        if (entry.m_nMatched) {
            matched = true;
            output += file + "\t" + name;
            if (options.explain)
                output += "\t" + FoundLists(entry.m_pPolicy, &matches);
            output += "\n";
        } else if (options.explain && entry.m_nNoAction) {
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
        allScanned = ScanOne(set.get(), file, options) && allScanned;
    return allScanned ? 0 : 1;
}

const char kHelp[] =
    "Tries keyword policies on mail files, as the plug-in's keyword scan judges a mail.\n"
    "Each FILE is read as a mail: its MIME structure is walked and the decoded text the\n"
    "plug-in gathers (headers' encoded words, quoted-printable and base64 parts) is\n"
    "scanned. With --raw the file is scanned as it is. The direction is taken from the\n"
    "file name as the plug-in takes it (third character \"O\" or \"o\": outbound).\n"
    "Output, one line per matched policy: \"FILE\\tPOLICY\", or \"FILE\\tpass\".\n"
    "  --explain  also names the keyword lists found whole (\"free+money, win\") and\n"
    "             the policies excused by a no-action keyword:\n"
    "             \"FILE\\tPOLICY (no action)\\tWORDS\"\n"
    "Exit 1 when a file cannot be read (after the others).\n";
const OvctlCommand reg{"keywords",
                       "keywords --policy CSCONFIG --settings INI [--raw] [--explain] FILE...",
                       run_keywords, kHelp};

} // namespace
