// Loading and saving "SFRule.txt" (see sfrule_file.h).
#include "sfilter/sfrule_file.h"

#include <exception>
#include <stdexcept>

#include "base/file_util.h"
#include "base/log.h"
#include "sfilter/sfrule_item.h"

namespace {

const char kSavorComment[] = "; Written by Orvane Unix Configuration Standard v3.8 2002 ZeltoWorks";
const char kLineEnd[] = "\r\n";

bool is_comment_line(const std::string &line)
{
    size_t first = line.find_first_not_of(" \t");
    return first != std::string::npos && line[first] == ';';
}

// A value of the older export form: between double quotes, without the
// characters that carry that form's syntax.
std::string export_value(const std::string &value)
{
    std::string out;
    for (char c : value)
        if (c != '\\' && c != '"')
            out += c;
    return out;
}

void export_item(std::string &line, const char *key, const std::string &flags,
                 const std::string &value)
{
    if (line.back() != '\\')
        line += ',';
    line.append(key).append("=").append(flags);
    line.append("\"").append(export_value(value)).append("\"");
}

} // namespace

char sfrule_mail_type_letter(MAIL_TYPE type)
{
    switch (type) {
    case MAIL_INBOUND:
        return 'A';
    case MAIL_OUTBOUND:
        return 'B';
    default:
        return 'C';
    }
}

MAIL_TYPE c_special_filter_loader::parse_mail_type(char c)
{
    switch (c) {
    case 'A':
        return MAIL_INBOUND;
    case 'B':
        return MAIL_OUTBOUND;
    default:
        return MAIL_BOTH;
    }
}

void c_special_filter_loader::parse_attr(const std::string &line, const char *key,
                                         std::string &value, bool *flags)
{
    std::string item;
    get_token(line, key, item);
    get_token(item, "NAME", value);
    read_bool(item, "I", flags[0]);
    read_bool(item, "S", flags[1]);
}

bool c_special_filter_loader::parse_line(const std::string &line, tagSFRuleContent &rule)
{
    std::string name, type;
    if (!get_token(line, "RULE NAME", name) || name.empty())
        return false;
    if (!get_token(line, "MAIL TYPE", type) || type.empty())
        return false;
    rule.name = name;
    rule.mailType = parse_mail_type(type[0]);

    tagMatchAttr &attr = rule.matchAttr;
    parse_attr(line, "FROM", rule.from, attr.flags[SF_LIST_FROM]);
    parse_attr(line, "TO", rule.to, attr.flags[SF_LIST_TO]);
    parse_attr(line, "RTO", rule.replyTo, attr.flags[SF_LIST_RTO]);
    parse_attr(line, "CC", rule.cc, attr.flags[SF_LIST_CC]);

    bool unused[2];
    parse_attr(line, "MIME", rule.mime, unused);
    parse_attr(line, "ATTACH", rule.attach, unused);
    parse_attr(line, "ATTR", rule.includeText, unused);
    get_token(line, "IN NOTIFY", rule.inNotify);
    get_token(line, "OUT NOTIFY", rule.outNotify);
    return true;
}

void c_special_filter_loader::LoadRuleFile(std::vector<tagSFRuleContent> &rules,
                                           const char *path)
{
    ovMutexLock hold(m_mutex);
    rules.clear();
    try {
        f_read_text_file file(path ? path : "");
        if (!file.is_open())
            throw std::runtime_error("file open error");
        std::string line;
        while (file.read_a_line(line)) {
            if (is_comment_line(line))
                continue;
            tagSFRuleContent rule;
            if (parse_line(line, rule))
                rules.push_back(std::move(rule));
        }
    } catch (const std::exception &error) {
        ovux_log->start() << "LoadRuleFile: " << error.what() << " " << (path ? path : "(null)")
                          << Orvane::endl;
    }
}

std::string c_special_filter_savor::Content2RuleStringEx(const tagSFRuleContent &rule)
{
    const tagMatchAttr &attr = rule.matchAttr;
    const char letter[2] = {sfrule_mail_type_letter(rule.mailType), '\0'};
    std::string line;
    token_assembly(line, "ENABLE", rule.enabled ? "yes" : "");
    token_assembly(line, "RULE NAME", rule.name.c_str());
    token_assembly(line, "MAIL TYPE", letter);
    write_attr(line, "FROM", rule.from, attr.caseSensitive(SF_LIST_FROM), attr.exact(SF_LIST_FROM));
    write_attr(line, "TO", rule.to, attr.caseSensitive(SF_LIST_TO), attr.exact(SF_LIST_TO));
    write_attr(line, "RTO", rule.replyTo, attr.caseSensitive(SF_LIST_RTO), attr.exact(SF_LIST_RTO));
    write_attr(line, "CC", rule.cc, attr.caseSensitive(SF_LIST_CC), attr.exact(SF_LIST_CC));
    write_attr(line, "MIME", rule.mime, false, false);
    write_attr(line, "ATTACH", rule.attach, false, false);
    write_attr(line, "ATTR", rule.includeText, false, false);
    token_assembly(line, "IN NOTIFY", rule.inNotify.c_str());
    token_assembly(line, "OUT NOTIFY", rule.outNotify.c_str());
    return line;
}

std::string c_special_filter_savor::Content2RuleString(const tagSFRuleContent &rule, unsigned int)
{
    const tagMatchAttr &attr = rule.matchAttr;
    std::string line = export_value(rule.name);
    line.append("\\").append(1, sfrule_mail_type_letter(rule.mailType)).append("\\");
    static const struct {
        const char *key;
        SFUserList list;
    } kUserItems[] = {{"FROM", SF_LIST_FROM}, {"TO", SF_LIST_TO}, {"RTO", SF_LIST_RTO},
                      {"CC", SF_LIST_CC}};
    for (const auto &item : kUserItems)
        export_item(line, item.key, fill_attr(attr.caseSensitive(item.list), attr.exact(item.list)),
                    rule.users(item.list));
    export_item(line, "MIME", "", rule.mime);
    export_item(line, "ATTACH", "", rule.attach);
    export_item(line, "ATTR", "", rule.includeText);
    return line;
}

bool c_special_filter_savor::SaveRuleFile(const std::vector<tagSFRuleContent> &rules,
                                          const char *path)
{
    ovMutexLock hold(m_mutex);
    try {
        f_write_text_file file(path ? path : "");
        if (!file.is_open())
            throw std::runtime_error("file open error");
        output_a_line(file, "%s%s", kSavorComment, kLineEnd);
        for (const tagSFRuleContent &rule : rules)
            output_a_line(file, "%s%s", Content2RuleStringEx(rule).c_str(), kLineEnd);
        return true;
    } catch (const std::exception &error) {
        ovux_log->start() << "SaveRuleFile: " << error.what() << " " << (path ? path : "(null)")
                          << Orvane::endl;
        return false;
    }
}
