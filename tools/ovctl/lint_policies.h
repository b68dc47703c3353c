// The keyword policies' traps for ovctl lint, in "CsConfig.dat" and the
// policies' sections of "contscan.ini":
//   - a policy without a section: matching mail is archived (the default
//     Action) and nobody is told;
//   - a heading that differs from a policy's name only by blanks: the reader
//     keeps blanks inside and at the end of a name, so the section is not
//     the policy's (case does not matter: the reader ignores it);
//   - an Action that contains none of "Delete", "Quarantine", "Archive"
//     (case as written): the plug-in archives, which blocks the mail;
//   - an import file ("sf") that cannot be read: its keywords are missing;
//   - a policy name or keyword longer than 80 bytes: names and keywords of 81
//     bytes are cut to 80 (a name then misses its section, a keyword matches
//     more), longer keywords are dropped.
// Disabled policies ("pe" not "=t") are left alone: they never match.
#pragma once

#include <string>
#include <vector>

#include "tools/ovctl/lint_finding.h"
#include "tools/ovctl/lint_ini.h"

// `programDir` ends with "/"; the policy file is programDir + "CsConfig.dat".
// The enabled policies' names (as the plug-in keeps them) go to policyNames.
LintFindings LintPolicies(const std::string &programDir, const IniIndex &ini,
                          std::vector<std::string> *policyNames = nullptr);
