// Fuzzes the reading of "SFRule.txt" lines. A record that parses is written
// again and must read back the same, as long as none of its texts holds a
// tag bracket or a NUL (values are written as they are, as C strings).
#include <cstdint>
#include <cstdlib>
#include <string>

#include "sfilter/sfrule_file.h"

namespace {

bool unwritable(const tagSFRuleContent &rule)
{
    for (const std::string *text :
         {&rule.name, &rule.from, &rule.to, &rule.replyTo, &rule.cc, &rule.mime,
          &rule.includeText, &rule.attach, &rule.inNotify, &rule.outNotify})
        if (text->find_first_of(std::string("<>\0", 3)) != std::string::npos)
            return true;
    return false;
}

bool same(const tagSFRuleContent &a, const tagSFRuleContent &b)
{
    return a.name == b.name && a.mailType == b.mailType && a.matchAttr == b.matchAttr &&
           a.from == b.from && a.to == b.to && a.replyTo == b.replyTo && a.cc == b.cc &&
           a.mime == b.mime && a.includeText == b.includeText && a.attach == b.attach &&
           a.inNotify == b.inNotify && a.outNotify == b.outNotify;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const std::string line(reinterpret_cast<const char *>(data), size);
    tagSFRuleContent rule;
    if (!c_special_filter_loader::parse_line(line, rule))
        return 0;
    c_special_filter_savor::Content2RuleString(rule, 0);
    if (unwritable(rule))
        return 0;
    tagSFRuleContent again;
    if (!c_special_filter_loader::parse_line(c_special_filter_savor::Content2RuleStringEx(rule), again) ||
        !same(rule, again))
        std::abort();
    return 0;
}
