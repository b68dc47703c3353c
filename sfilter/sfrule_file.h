// Reader and writer of the specialized filter's rule file "SFRule.txt".
//
// One rule a line, made of tagged items (syntax in sfrule_item.h):
//   <ENABLE>yes</ENABLE><RULE NAME>No executables</RULE NAME><MAIL TYPE>C</MAIL TYPE>
//   <FROM><NAME>*@example.com</NAME><I></I><S></S></FROM><TO>...</TO><RTO>...</RTO>
//   <CC>...</CC><MIME><NAME>application/x-msdownload</NAME><I></I><S></S></MIME>
//   <ATTACH><NAME>*.exe, *.com</NAME><I></I><S></S></ATTACH>
//   <ATTR><NAME>INCLUDE</NAME><I></I><S></S></ATTR><IN NOTIFY>...</IN NOTIFY>
//   <OUT NOTIFY>...</OUT NOTIFY>
// (on one line). "RULE NAME" and "MAIL TYPE" are required and non-empty;
// a line without them, and a comment line starting with ";", is dropped
// without a message. Only the first letter of "MAIL TYPE" counts: "A"
// inbound, "B" outbound; "C" and any other letter mean both directions.
//
// The reader does not read "ENABLE": a loaded record is always enabled, so
// the enable state written by the savor does not survive a reload (kept as
// the gateway's editor expects it).
//
// The savor writes the comment line
//   "; Written by Orvane Unix Configuration Standard v3.8 2002 ZeltoWorks"
// and then one line per rule, every line ended by CR LF.
//
// The loader and the savor each serialise their own callers with a mutex.
#pragma once

#include <string>
#include <vector>

#include "base/sync.h"
#include "sfilter/sfrule_content.h"

class c_special_filter_loader {
public:
    c_special_filter_loader() = default;
    c_special_filter_loader(const c_special_filter_loader &) = delete;
    c_special_filter_loader &operator=(const c_special_filter_loader &) = delete;

    // Replaces `rules` by the rules of the file, in file order; a file that
    // cannot be opened leaves `rules` empty.
    void LoadRuleFile(std::vector<tagSFRuleContent> &rules, const char *path);

    // Fills `rule` from one line; false when the name or mail type is
    // absent or empty. Absent items leave their fields empty and their
    // flags false.
    static bool parse_line(const std::string &line, tagSFRuleContent &rule);
    static MAIL_TYPE parse_mail_type(char c);
    // Item `key` of `line`: its "NAME" into value, "I" into flags[0], "S"
    // into flags[1]. Absent parts give "" and false.
    static void parse_attr(const std::string &line, const char *key, std::string &value,
                           bool *flags);

private:
    ovMutex m_mutex;
};

class c_special_filter_savor {
public:
    c_special_filter_savor() = default;
    c_special_filter_savor(const c_special_filter_savor &) = delete;
    c_special_filter_savor &operator=(const c_special_filter_savor &) = delete;

    // Writes the comment line and every rule; false when the file cannot be
    // created.
    bool SaveRuleFile(const std::vector<tagSFRuleContent> &rules, const char *path);

    // The tagged line of one rule, items in the writer's order.
    static std::string Content2RuleStringEx(const tagSFRuleContent &rule);
    // The older export form, backslash-separated:
    //   name\letter\FROM=IS"list",TO="list",RTO="list",CC="list",MIME="list",
    //   ATTACH="list",ATTR="INCLUDE"
    // Backslashes and double quotes, which carry the syntax, are left out of
    // the values. The number is not used (kept for the export callers).
    static std::string Content2RuleString(const tagSFRuleContent &rule, unsigned int);

private:
    ovMutex m_mutex;
};

// The letter of a mail type: "A", "B" or "C".
char sfrule_mail_type_letter(MAIL_TYPE type);
