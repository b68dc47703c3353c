// One finding of ovctl lint: where, what is wrong and what to do about it.
// Printed as "FILE:LINE: problem; hint" (with "warning: " before the problem
// for a warning). Errors make lint end with 1; warnings only with --strict.
#pragma once

#include <string>
#include <vector>

struct LintFinding {
    std::string file;
    int line = 0;        // 1-based
    std::string problem; // what the plug-in does with it
    std::string hint;    // how to write it instead
    bool warning = false;
};

using LintFindings = std::vector<LintFinding>;
