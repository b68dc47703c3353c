// RuleFilePtr: a C stream that closes itself, for the rule filter's readers and
// writers of rule, enable-table, sealed and message files.
//
//   RuleFilePtr file = OpenRuleFile(path, "rb");   // empty for a null path or a failure
#pragma once

#include <cstdio>
#include <memory>

struct RuleFileCloser {
    void operator()(FILE *file) const { std::fclose(file); }
};
using RuleFilePtr = std::unique_ptr<FILE, RuleFileCloser>;

inline RuleFilePtr OpenRuleFile(const char *path, const char *mode)
{
    return RuleFilePtr(path ? std::fopen(path, mode) : nullptr);
}
