#include "tools/ovmilter/rewritten_mail.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fstream>
#include <sstream>

#include "base/ov_string.h"

namespace {

std::string without_leading_blanks(const std::string &value)
{
    size_t begin = value.find_first_not_of(" \t");
    return begin == std::string::npos ? "" : value.substr(begin);
}

// The header fields of one name (given in lower case), in order of appearance.
std::vector<const HeaderField *> fields_named(const std::vector<HeaderField> &headers,
                                              const std::string &name)
{
    std::vector<const HeaderField *> fields;
    for (const HeaderField &header : headers) {
        if (t_string(header.name).make_lower() == name)
            fields.push_back(&header);
    }
    return fields;
}

} // namespace

RewrittenMail split_message(const std::string &message)
{
    RewrittenMail mail;
    size_t pos = 0;
    while (pos < message.size()) {
        size_t eol = message.find('\n', pos);
        size_t next = eol == std::string::npos ? message.size() : eol + 1;
        std::string line = message.substr(pos, next - pos);
        while (!line.empty() && (line.back() == '\n' || line.back() == '\r'))
            line.pop_back();
        if (line.empty()) {
            pos = next;
            break;
        }
        if ((line[0] == ' ' || line[0] == '\t') && !mail.headers.empty()) {
            mail.headers.back().value += "\r\n" + line;
        } else {
            size_t colon = line.find(':');
            if (colon == std::string::npos)
                mail.headers.push_back({line, ""});
            else
                mail.headers.push_back({line.substr(0, colon),
                                        without_leading_blanks(line.substr(colon + 1))});
        }
        pos = next;
    }
    mail.body = message.substr(std::min(pos, message.size()));
    return mail;
}

bool read_rewritten_mail(const std::string &path, RewrittenMail *mail, std::string *error)
{
    std::ifstream in(path, std::ios::binary);
    std::ostringstream text;
    if (in)
        text << in.rdbuf();
    if (!in) {
        *error = "cannot read " + path + ": " + std::strerror(errno);
        return false;
    }
    *mail = split_message(text.str());
    return true;
}

std::vector<HeaderEdit> header_edits(const std::vector<HeaderField> &before,
                                     const std::vector<HeaderField> &after)
{
    std::vector<std::string> names;
    for (const auto *list : {&before, &after}) {
        for (const HeaderField &header : *list) {
            std::string name = t_string(header.name).make_lower();
            if (std::find(names.begin(), names.end(), name) == names.end())
                names.push_back(name);
        }
    }
    std::vector<HeaderEdit> changes, removals, additions;
    for (const std::string &name : names) {
        std::vector<const HeaderField *> old = fields_named(before, name);
        std::vector<const HeaderField *> now = fields_named(after, name);
        size_t common = std::min(old.size(), now.size());
        for (size_t i = 0; i < common; ++i) {
            if (without_leading_blanks(old[i]->value) != without_leading_blanks(now[i]->value))
                changes.push_back({HeaderEdit::Change, old[i]->name, static_cast<int>(i + 1),
                                   without_leading_blanks(now[i]->value)});
        }
        for (size_t i = old.size(); i > common; --i)
            removals.push_back({HeaderEdit::Remove, old[i - 1]->name, static_cast<int>(i), ""});
        for (size_t i = common; i < now.size(); ++i)
            additions.push_back({HeaderEdit::Add, now[i]->name, 0,
                                 without_leading_blanks(now[i]->value)});
    }
    std::vector<HeaderEdit> edits = changes;
    edits.insert(edits.end(), removals.begin(), removals.end());
    edits.insert(edits.end(), additions.begin(), additions.end());
    return edits;
}
