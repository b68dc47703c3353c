// The specialized filter: file-name patterns, header lists, user groups with
// include/exclude, directions and the attachment verdict; the wildcard
// matching of header values and file names it uses.
#include "sfilter/sfilter.h"

#include <gtest/gtest.h>

#include <random>
#include <string>

#include "base/config_file.h"
#include "sfilter/filter_config.h"
#include "sfilter/sfrule_file.h"
#include "sfilter/wildcard.h"
#include "support/rules_fixtures.h"

namespace {

TEST(SFilterPattern, CheckFileNameTable)
{
    const struct {
        const char *pattern, *base, *ext;
        int expected;
    } rows[] = {
        {"*", "anything", "at", 1}, {"*", "", "", 1}, {"*.exe", "setup", "exe", 1},
        {"*.exe", "setup", "myexe", 1}, {"*.exe", "setup", "exe2", 0},   // the base's star widens the extension
        {"setup.exe", "setup", "exe", 1}, {"setup.exe", "setup2", "exe", 0}, {"setup.e*", "setup", "exe", 1},
        {"setup.*e", "setup", "exe", 1}, {"setup.*x*", "setup", "exe", 1}, {"set*", "setup", "", 1},
        {"set*", "setup", "exe", 1},           // "set*" also widens: ext begins with ""
        {"*up.exe", "setup", "exe", 1}, {"*up.exe", "upset", "exe", 0}, {"noext", "noext", "", 1},
        {"noext", "noext", "txt", 0}, {"re*me.txt", "readme", "txt", 0},   // no outer star: whole-name test only
        {"*re*me*.txt", "readme", "txt", 1}, {"*re*me*.txt", "mere", "txt", 0},   // "me" must come after "re"
        {"*re*me.txt", "xreadme", "txt", 1}, {"*re*me.txt", "readmex", "txt", 0},
        {"re*me*.txt", "readmex", "txt", 1}, {"re*me*.txt", "xreadme", "txt", 0},
        {"*ab*ba*.txt", "aba", "txt", 0},      // base shorter than head and tail
        {"*re*me*.txt", "reme", "txt", 1},     // base exactly as long
    };
    for (const auto &row : rows) {
        CSFRule rule;
        rule.AddFilename(row.pattern);
        EXPECT_EQ(CSFilter::CheckFileName(&rule.filenames[0], row.base, row.ext), row.expected)
            << row.pattern << " / " << row.base << "." << row.ext;
    }
    EXPECT_EQ(CSFilter::CheckFileName(nullptr, "a", "b"), 0);
}

tagSFRuleContent make_rule(const char *name, const char *attach, const char *mime = "",
                           const char *include = "INCLUDE", MAIL_TYPE type = MAIL_BOTH)
{
    tagSFRuleContent content;
    content.name = name, content.attach = attach, content.mime = mime;
    content.includeText = include, content.mailType = type;
    return content;
}

TEST(SFilterVerdict, RulesAndAttachmentsTable)
{
    struct {
        const char *what;
        tagSFRuleContent rule;
        const char *attachName, *attachType;
        std::initializer_list<const char *> members;
        int direction;
        bool expected;
        const char *nameAfter;
    } rows[] = {
        {"glob on whole name", make_rule("r", "*.exe"), "SETUP.EXE", "application/octet-stream", {}, 0, true, "SETUP.EXE"},
        {"no double extension", make_rule("r", "*.exe"), "setup.exe.txt", "text/plain", {}, 0, false, "setup.exe.txt"},
        {"inner star not for members", make_rule("r", "re*me.txt"), "winmail.dat", "application/ms-tnef", {"readme.txt"}, 0, false, "winmail.dat"},
        {"outer stars for members", make_rule("r", "*re*me*.txt"), "winmail.dat", "application/ms-tnef", {"a.doc", "ReadMe.TXT"}, 0, true, "ReadMe.TXT"},
        {"mime all", make_rule("r", "", "all"), "a.txt", "text/plain", {}, 0, true, "a.txt"},
        {"mime contained", make_rule("r", "", "msdownload"), "a", "Application/X-MSDownload", {}, 0, true, "a"},
        {"inbound rule, outbound mail", make_rule("r", "*", "", "INCLUDE", MAIL_INBOUND), "a", "t/t", {}, 1, false, "a"},
        {"outbound rule, outbound mail", make_rule("r", "*", "", "INCLUDE", MAIL_OUTBOUND), "a", "t/t", {}, 1, true, "a"},
        {"exclude without users", make_rule("r", "*", "all", "exclude"), "a", "t/t", {}, 0, false, "a"},
        {"no patterns", make_rule("r", ""), "a.exe", "t/t", {}, 0, false, "a.exe"},
    };
    for (auto &row : rows) {
        SCOPED_TRACE(row.what);
        CSFilter filter;
        filter.AddRule(row.rule);
        CMailInfo info;
        info.m_nDirection = row.direction;
        int index = rules_add_attach(info, row.attachName, row.attachType, row.members);
        EXPECT_EQ(filter.Evaluate(info, index), row.expected);
        EXPECT_STREQ(info.m_pAttach[index]->m_szName, row.nameAfter);
        EXPECT_FALSE(filter.Evaluate(info, index + 1));
        EXPECT_FALSE(filter.Evaluate(info, -1));
    }
}

TEST(SFilterVerdict, UserGroupsWithIncludeAndExclude)
{
    const struct {
        const char *what, *fromList, *toList;
        bool fromCase, fromExact;
        const char *include, *from, *to;
        bool expected;
    } rows[] = {
        {"sender in list", "boss@corp, *@spam.org", "", false, false, "INCLUDE", "x@Spam.org", "me", true},
        {"sender not in list", "boss@corp", "", false, false, "INCLUDE", "x@spam.org", "me", false},
        {"exclude: sender not in list", "boss@corp", "", false, false, "EXCLUDE", "x@spam.org", "me", true},
        {"both lists hold", "boss@corp", "ann@corp", false, false, "INCLUDE", "boss@corp", "bob@corp, ann@corp", true},
        {"case-sensitive flag", "Boss@corp", "", true, false, "INCLUDE", "boss@corp", "", false},
        {"exact flag with star", "*@corp", "", false, true, "INCLUDE", "boss@corp", "", false},
        {"pieces unanchored", "corp", "", false, false, "INCLUDE", "a@x, boss@corp ", "", true},
        {"exact whole entry", "corp", "", false, true, "INCLUDE", "a@x, boss@corp ", "", false},
        {"missing header", "boss@corp", "", false, false, "INCLUDE", nullptr, nullptr, false},
    };
    for (const auto &row : rows) {
        SCOPED_TRACE(row.what);
        tagSFRuleContent content = make_rule("r", "*.exe", "", row.include);
        content.from = row.fromList, content.to = row.toList;
        content.matchAttr.flags[SF_LIST_FROM][0] = row.fromCase, content.matchAttr.flags[SF_LIST_FROM][1] = row.fromExact;
        CSFilter filter;
        filter.AddRule(content);
        CMailInfo info;
        rules_set_users(info, row.from, row.to);
        EXPECT_EQ(filter.Evaluate(info, rules_add_attach(info, "a.exe", "application/x-msdownload")), row.expected);
    }
}

TEST(SFilterVerdict, FirstApplyingRuleAndSkipSpecialChars)
{
    BaseTempDir dir;
    ConfigFile config(dir.write("contscan.ini", "[Specialized Filtering]\nSkipSpecialChars=1\n").c_str(), 0);
    ConfigFile *current = &config;
    SetFilterConfigSource(&current);

    CSFilter filter;
    filter.AddRule(make_rule("other", "*.zip"));
    filter.AddRule(make_rule("exe", "ab.exe"));
    CMailInfo info;
    int index = rules_add_attach(info, "a:b?.exe", "application/octet-stream");
    EXPECT_TRUE(filter.Evaluate(info, index));
    EXPECT_STREQ(info.m_pAttach[index]->m_szName, "ab.exe");

    current = nullptr;   // no settings: names stay as they are
    index = rules_add_attach(info, "a:b?.exe", "application/octet-stream");
    EXPECT_FALSE(filter.Evaluate(info, index));
    EXPECT_STREQ(info.m_pAttach[index]->m_szName, "a:b?.exe");
    SetFilterConfigSource(nullptr);

    char name[] = "\\/:*?\"<>|x|y";
    CSFilter::SkipSpecialChars(name);
    EXPECT_STREQ(name, "xy");
}

TEST(WildCardStringCompare, PiecesMustOccurInOrder)
{
    const struct {
        const char *text, *pattern;
        bool expected;
    } rows[] = {
        {"hello", "", true}, {"", "a", false}, {"xxabcxx", "abc", true},   // no "*": a substring test
        {"zzabbbcz", "a*c", true}, {"abc", "c*a", false}, {"a?c", "?", true},   // "?" is literal here
        {"abc", "?", false}, {"abc", "a**c", true}, {"aba", "ab*ba", false},   // pieces may not overlap
        {"ababa", "ab*ba", true}, {"Offer", "offer", false}, {"cba", "a*b*c", false},
    };
    for (const auto &row : rows)
        EXPECT_EQ(WildCardStringCompare(row.text, row.pattern), row.expected) << row.text << " " << row.pattern;
    EXPECT_FALSE(WildCardStringCompare(nullptr, "a"));
    EXPECT_FALSE(WildCardStringCompare("a", nullptr));
}

// The glob taken literally: at a "*" try the rest at every position.
bool ReferenceGlob(const char *name, const char *pattern)
{
    for (;; ++name, ++pattern) {
        if (*pattern == '*') {
            if (pattern[1] == '\0')
                return true;
            for (const char *from = name; *from != '\0'; ++from)
                if (ReferenceGlob(from, pattern + 1))
                    return true;
            return ReferenceGlob(name + std::char_traits<char>::length(name), pattern + 1);
        }
        if (*pattern == '?') {
            if (*name == '\0')
                return false;
            continue;
        }
        if (*pattern != *name)
            return false;
        if (*name == '\0')
            return true;
    }
}

TEST(WildCardFilenameCompare, AgreesWithTheLiteralDefinition)
{
    std::mt19937 random(12345);
    auto make = [&](const std::string &alphabet, unsigned maxLength) {
        std::string text(random() % (maxLength + 1), ' ');
        for (char &c : text)
            c = alphabet[random() % alphabet.size()];
        return text;
    };
    // what the random names leave out: case, and many stars that never match
    EXPECT_FALSE(WildCardFilenameCompare("Readme", "readme"));
    EXPECT_FALSE(WildCardFilenameCompare(std::string(84, 'a').c_str(), "*a*a*a*a*a*a*a*a*a*a*a*a*b"));
    for (int i = 0; i < 20000; ++i) {
        const std::string name = make("ab.", 8), pattern = make("ab.*?", 6);
        ASSERT_EQ(WildCardFilenameCompare(name.c_str(), pattern.c_str()),
                  ReferenceGlob(name.c_str(), pattern.c_str()))
            << "name \"" << name << "\" pattern \"" << pattern << "\"";
    }
}

} // namespace

