// Keyword-policy checks of ovctl lint (see lint_policies.h).
#include "tools/ovctl/lint_policies.h"

#include <unistd.h>

#include <cstring>
#include <memory>

#include "contscan/policy_reader.h"

namespace
{

// Field size of policy names and keyword texts: 80 bytes and a terminator.
constexpr size_t kNameLimit = 80;

struct PolicyEntry {
    std::string name; // as written in the file
    int line = 0;
    bool enabled = true;
};

struct FileCloser {
    void operator()(FILE *file) const { std::fclose(file); }
};

std::string trim(const std::string &text, const char *set)
{
    size_t first = text.find_first_not_of(set);
    if (first == std::string::npos)
        return "";
    return text.substr(first, text.find_last_not_of(set) - first + 1);
}

std::string without_blanks(const std::string &text)
{
    std::string out;
    for (char c : text) {
        if (c != ' ' && c != '\t')
            out += c;
    }
    return ini_lower(out);
}

// Walks the token stream as the reader does and gathers what the checks need.
class PolicyFileWalk
{
public:
    PolicyFileWalk(const std::string &programDir, LintFindings &out)
        : m_dir(programDir), m_file(programDir + "CsConfig.dat"), m_out(out)
    {
    }

    // False when the file cannot be read or lacks its marker (lint reports
    // that elsewhere).
    bool walk(std::vector<PolicyEntry> &policies)
    {
        std::unique_ptr<FILE, FileCloser> file(OpenRegularFile(m_file.c_str()));
        if (!file)
            return false;
        char token[OV_POLICY_TOKEN_LIMIT + 1] = "";
        int line = 1;
        bool first = true;
        for (int length; (length = FgetTillTab(token, file.get())) != 0;) {
            if (length < 0)
                continue; // a repeated token: already judged
            if (first && std::strcmp(token, "CsConfig.dat2") != 0)
                return false;
            if (!first)
                apply(token, line, policies);
            first = false;
            for (const char *c = token; *c; ++c)
                line += *c == '\n';
        }
        return !first;
    }

private:
    void report(int line, const std::string &problem, const std::string &hint)
    {
        m_out.push_back(LintFinding{m_file, line, problem, hint, false});
    }

    void apply(const char *token, int line, std::vector<PolicyEntry> &policies)
    {
        const int type = GetTokenType(token);
        const std::string argument = std::strlen(token) >= 2 ? token + 2 : "";
        if (type == TOKEN_POLICY_HEADER) {
            policies.push_back(PolicyEntry{argument, line, true});
            if (argument.size() > kNameLimit)
                report(line,
                       "policy name \"" + argument + "\" is " + std::to_string(argument.size()) +
                           " bytes: the plug-in keeps the first 80 and looks for its "
                           "section under that name",
                       "shorten the name to 80 bytes here and in its contscan.ini section");
            return;
        }
        if (policies.empty())
            return;
        PolicyEntry &policy = policies.back();
        if (type == TOKEN_POLICY_ENABLED) {
            const char *equals = std::strchr(token, '=');
            policy.enabled = equals && equals[1] == 't';
        } else if (!policy.enabled) {
            return;
        } else if (type == TOKEN_LIST_HEAD || type == TOKEN_KEYWORD) {
            check_keyword(trim(argument, " \t\r\n\v\f"), line, "keyword");
        } else if (type == TOKEN_NOACTION) {
            check_keyword(argument, line, "no-action keyword");
        } else if (type == TOKEN_SYNONYM && argument.size() > kNameLimit) {
            report(line,
                   "synonym \"" + argument + "\" is " + std::to_string(argument.size()) +
                       " bytes: only its first 80 are matched",
                   "keep synonyms to 80 bytes");
        } else if (type == TOKEN_IMPORT_FILE) {
            check_import_file(argument, line, policy.name);
        }
    }

    void check_keyword(const std::string &text, int line, const char *what)
    {
        if (text.size() == kNameLimit + 1)
            report(line,
                   std::string(what) + " \"" + text +
                       "\" is 81 bytes: the plug-in cuts it to its first 80, which match "
                       "more mail",
                   "keep keywords to 80 bytes");
        else if (text.size() > kNameLimit + 1)
            report(line,
                   std::string(what) + " \"" + text + "\" is " + std::to_string(text.size()) +
                       " bytes: the plug-in drops it, so it never matches",
                   "keep keywords to 80 bytes");
    }

    void check_import_file(const std::string &name, int line, const std::string &policy)
    {
        std::string path = !name.empty() && name[0] == '/' ? name : m_dir + name;
        size_t end = path.find_last_not_of(" \t\r\n");
        path.erase(end == std::string::npos ? 0 : end + 1);
        std::unique_ptr<FILE, FileCloser> file(OpenRegularFile(path.c_str()));
        if (!file)
            report(line,
                   "import file " + path + " of policy \"" + policy +
                       "\" cannot be read: its keywords are missing and mail they would "
                       "catch passes",
                   "create the file (one keyword list a line) or fix the name; a relative "
                   "name is taken from " +
                       m_dir);
    }

    std::string m_dir;
    std::string m_file;
    LintFindings &m_out;
};

} // namespace

LintFindings LintPolicies(const std::string &programDir, const IniIndex &ini,
                          std::vector<std::string> *policyNames)
{
    LintFindings out;
    std::vector<PolicyEntry> policies;
    PolicyFileWalk walk(programDir, out);
    if (!walk.walk(policies))
        return out;
    const std::string policyFile = programDir + "CsConfig.dat";
    for (const PolicyEntry &policy : policies) {
        if (!policy.enabled || policy.name.empty())
            continue;
        const std::string name = policy.name.substr(0, kNameLimit);
        if (policyNames)
            policyNames->push_back(name);
        if (!ini.has_section(name)) {
            if (policy.name.size() > kNameLimit)
                continue; // reported with the name
            bool near = false;
            for (const IniEntry &heading : ini.headings()) {
                if (without_blanks(heading.section) != without_blanks(name))
                    continue;
                near = true;
                out.push_back(LintFinding{
                    ini.path(), heading.line,
                    "section [" + heading.section + "] differs from policy \"" + name +
                        "\" by blanks: the plug-in does not find the policy's section and "
                        "archives matching mail",
                    "write [" + name + "]", false});
            }
            if (!near)
                out.push_back(LintFinding{
                    policyFile, policy.line,
                    "policy \"" + name +
                        "\" has no section in contscan.ini: matching mail is "
                        "archived (the default Action) and nobody is told",
                    "add [" + name + "] with Action=Delete, Quarantine or Archive", false});
            continue;
        }
        const IniEntry *action = ini.find(name, "Action");
        if (action && action->value.find("Delete") == std::string::npos &&
            action->value.find("Quarantine") == std::string::npos &&
            action->value.find("Archive") == std::string::npos)
            out.push_back(LintFinding{
                ini.path(), action->line,
                "Action \"" + action->value + "\" of policy \"" + name +
                    "\" is none of Delete, Quarantine, Archive: the plug-in archives matching "
                    "mail, which blocks it",
                "write Action=Delete, Quarantine or Archive (capitals as shown)", false});
    }
    return out;
}
