// The rule file's traps for ovctl lint: lines the plug-in loads but that do
// not do what they seem to.
//
//   - an action the loader takes by prefix ("QUARANTINE", "ARCHIVE") or not
//     at all ("REJECT", none): the scanner knows only DEL, QUAR and ARCH
//     exactly and deletes the mail for anything else;
//   - a SIZE term without a number ("SIZE>" reads as SIZE>0) or with text
//     after it ("SIZE>1 AND SUBJ=\"x\"" reads as SIZE>1);
//   - a rule switched off in the enable table: the scanner tries it all the
//     same.
// Lines that do not load at all are reported with the editor's messages.
#pragma once

#include <string>

#include "tools/ovctl/lint_finding.h"

// One rule line: the findings for FILE:LINE. `ownActions`: the line's action
// counts (the administrator's file); vendor rules take the configured one.
LintFindings LintRuleLine(const std::string &line, const std::string &file, int number,
                          bool ownActions);

// Every line of a rule file (shown as `shownAs`); a file that cannot be read
// is one finding.
LintFindings LintRuleFile(const std::string &path, const std::string &shownAs, bool ownActions);

// The rules of the administrator's rule file that its enable table switches
// off, each at its line of the rule file.
LintFindings LintEnableTable(const std::string &ruleFile);
