// Rule-file checks of ovctl lint (see lint_rules.h).
#include "tools/ovctl/lint_rules.h"

#include <cctype>
#include <cstring>

#include "base/file_util.h"
#include "rules/expression.h"
#include "rules/rule_line.h"
#include "rules/rule_scan.h"

namespace
{

const char kActionHint[] = "end the line with \\DEL, \\QUAR or \\ARCH";

const char *load_error_hint(RuleLineError error)
{
    switch (error) {
    case RULE_LINE_NO_NAME:
        return "the line is skipped; write NAME\\TYPE\\SENTENCE\\ACTION";
    case RULE_LINE_NO_TYPE:
    case RULE_LINE_BAD_TYPE:
        return "the line is skipped; the second field is A (inbound), B (outbound) or C (both)";
    case RULE_LINE_NO_SENTENCE:
        return "the line is skipped; close every double quote and end the sentence with a "
               "backslash before the action";
    default:
        return "the line is skipped; terms are KEYWORD OP VALUE joined by \",\", e.g. "
               "SUBJ=I\"free offer\",SIZE>500000";
    }
}

// The scanner maps only the exact texts; anything else keeps the pipeline's
// default, which deletes.
void check_action(const RuleLineFields &fields, LintFinding finding, LintFindings &out)
{
    const std::string &action = fields.action;
    if (action == "DEL" || action == "QUAR" || action == "ARCH")
        return;
    if (!fields.hasAction) {
        finding.problem = "No Action Error!: the rule loads without an action and deletes the mail";
        finding.hint = kActionHint;
    } else if (CExpression().ParseAction(action.c_str(), false)) {
        const char *meant = action.compare(0, 3, "DEL") == 0    ? "DEL"
                            : action.compare(0, 4, "QUAR") == 0 ? "QUAR"
                                                                : "ARCH";
        finding.problem = "action \"" + action +
                          "\" is taken by its prefix when loading, but the "
                          "scanner knows only DEL, QUAR and ARCH: the rule deletes the mail";
        finding.hint = std::string("write ") + meant;
    } else {
        finding.problem = "action \"" + action +
                          "\" is none of DEL, QUAR, ARCH: the rule loads "
                          "and deletes the mail";
        finding.hint = kActionHint;
    }
    out.push_back(finding);
}

// A SIZE term's number as the parser reads it (strtol): missing, or followed
// by text it ignores.
void check_size_term(const std::string &term, LintFinding finding, LintFindings &out)
{
    const char *op = std::strpbrk(term.c_str(), "!=><");
    if (!op || std::string(term.c_str(), op) != "SIZE")
        return;
    const std::string written(term.c_str(), op + (op[0] == '!' ? 2 : 1));
    const char *text = op + (op[0] == '!' ? 2 : 1);
    const char *digits = text;
    while (*digits == ' ' || *digits == '\t')
        ++digits;
    if (*digits == '+' || *digits == '-')
        ++digits;
    const char *end = digits;
    while (std::isdigit(static_cast<unsigned char>(*end)))
        ++end;
    if (end == digits) {
        finding.problem = "term \"" + term + "\" has no number: it reads as " + written + "0";
        finding.hint = "write the size in bytes, e.g. SIZE>3000000";
        out.push_back(finding);
        return;
    }
    const char *rest = end;
    while (*rest == ' ' || *rest == '\t')
        ++rest;
    if (*rest != '\0') {
        finding.problem = "term \"" + term + "\" reads as \"" + std::string(term.c_str(), end) +
                          "\": the text after the number is ignored";
        finding.hint = "join terms with \",\" (all must hold), e.g. SIZE>1,SUBJ=\"x\"";
        out.push_back(finding);
    }
}

void check_terms(const std::string &sentence, const LintFinding &at, LintFindings &out)
{
    for (size_t position = 0; position < sentence.size();) {
        size_t consumed = 0;
        long length = CExpression::SplitTerm(sentence.c_str() + position, &consumed);
        if (length < 0 || consumed == 0)
            return;
        check_size_term(sentence.substr(position, static_cast<size_t>(length)), at, out);
        position += consumed;
    }
}

// True when the plug-in's loader appends a rule for this line.
bool loads(const std::string &line)
{
    RuleLineError error = CheckRuleLine(line.c_str(), false);
    return error == RULE_LINE_OK || error == RULE_LINE_NO_ACTION;
}

} // namespace

LintFindings LintRuleLine(const std::string &line, const std::string &file, int number,
                          bool ownActions)
{
    LintFindings out;
    LintFinding at;
    at.file = file;
    at.line = number;
    RuleLineError error = CheckRuleLine(line.c_str(), false);
    if (error == RULE_LINE_EMPTY)
        return out;
    if (error != RULE_LINE_OK && error != RULE_LINE_NO_ACTION) {
        at.problem = RuleLineMessage(error);
        at.hint = load_error_hint(error);
        out.push_back(at);
        return out;
    }
    RuleLineFields fields;
    SplitRuleLine(line.c_str(), fields);
    if (ownActions)
        check_action(fields, at, out);
    check_terms(fields.sentence, at, out);
    return out;
}

LintFindings LintRuleFile(const std::string &path, const std::string &shownAs, bool ownActions)
{
    f_read_text_file rules(path.c_str());
    if (!rules.is_open())
        return {LintFinding{shownAs, 0, "missing or unreadable", "no rule of it is loaded", false}};
    LintFindings out;
    std::string line;
    for (int number = 1; rules.read_a_line(line); ++number) {
        LintFindings found = LintRuleLine(line, shownAs, number, ownActions);
        out.insert(out.end(), found.begin(), found.end());
    }
    return out;
}

LintFindings LintEnableTable(const std::string &ruleFile)
{
    CRuleScan scan;
    if (!scan.Initialize(ruleFile.c_str()))
        return {};
    // The k-th rule loaded is the k-th line that loads.
    std::vector<int> lineOfRule;
    f_read_text_file rules(ruleFile.c_str());
    std::string line;
    for (int number = 1; rules.read_a_line(line); ++number) {
        if (loads(line))
            lineOfRule.push_back(number);
    }
    std::string table = EnableTableName(ruleFile.c_str());
    table = table.substr(table.rfind('/') + 1);
    LintFindings out;
    for (int index = 0; CExpression *rule = scan.GetExpression(index); ++index) {
        if (rule->IsEnabled() || index >= static_cast<int>(lineOfRule.size()))
            continue;
        std::string name;
        rule->GetName(name);
        LintFinding at;
        at.file = ruleFile;
        at.line = lineOfRule[index];
        at.problem = "rule \"" + name + "\" is switched off in " + table + " (byte " +
                     std::to_string(index + 1) +
                     " is \"0\"), but the plug-in scans with it all "
                     "the same";
        at.hint = "remove the rule's line to stop it";
        out.push_back(at);
    }
    return out;
}
