#include "tools/hostkit/event_log_reader.h"

#include <cctype>
#include <cstring>

namespace {

bool digits(const std::string &text, size_t at, size_t count)
{
    if (at + count > text.size())
        return false;
    for (size_t i = at; i < at + count; ++i) {
        if (!std::isdigit(static_cast<unsigned char>(text[i])))
            return false;
    }
    return true;
}

// "MM/DD/YYYY HH:MM:SS" at the start of `stamp` into date and time.
bool parse_stamp(const std::string &stamp, std::string *date, std::string *time)
{
    if (stamp.size() != 19 || !digits(stamp, 0, 2) || stamp[2] != '/' || !digits(stamp, 3, 2) ||
        stamp[5] != '/' || !digits(stamp, 6, 4) || stamp[10] != ' ' || !digits(stamp, 11, 2) ||
        stamp[13] != ':' || !digits(stamp, 14, 2) || stamp[16] != ':' || !digits(stamp, 17, 2))
        return false;
    *date = stamp.substr(6, 4) + "-" + stamp.substr(0, 2) + "-" + stamp.substr(3, 2);
    *time = stamp.substr(11);
    return true;
}

LoggedKind kind_of_event(const std::string &line)
{
    if (line.find("Anti-Spam filter has blocked") != std::string::npos)
        return LoggedKind::Rule;
    if (line.find("Content filter has blocked") != std::string::npos)
        return LoggedKind::Policy;
    if (line.find("has been removed") != std::string::npos)
        return LoggedKind::Attachments;
    return LoggedKind::Other;
}

bool parse_mail_line(const std::string &line, LoggedKind kind, LoggedMail *mail)
{
    std::vector<std::string> fields;
    size_t start = 6;   // after "EMAIL\"
    for (size_t at; (at = line.find('\\', start)) != std::string::npos; start = at + 1)
        fields.push_back(line.substr(start, at - start));
    fields.push_back(line.substr(start));
    // stamp, direction, action, name (maybe split), sender, data file
    if (fields.size() < 6 || !parse_stamp(fields[0], &mail->date, &mail->time))
        return false;
    mail->kind = kind;
    mail->direction = fields[1];
    mail->action = fields[2];
    mail->dataFile = fields.back();
    mail->sender = fields[fields.size() - 2];
    for (size_t i = 3; i + 2 < fields.size(); ++i)
        mail->name += (i > 3 ? "\\" : "") + fields[i];
    return true;
}

} // namespace

std::vector<LoggedMail> parse_event_log(const std::string &text)
{
    std::vector<LoggedMail> mails;
    LoggedKind kind = LoggedKind::Other;
    size_t pos = 0;
    while (pos < text.size()) {
        size_t eol = text.find('\n', pos);
        if (eol == std::string::npos)
            eol = text.size();
        std::string line = text.substr(pos, eol - pos);
        pos = eol + 1;
        if (!line.empty() && line.back() == '\r')
            line.pop_back();
        if (line.compare(0, 6, "EMAIL\\") == 0) {
            LoggedMail mail;
            if (parse_mail_line(line, kind, &mail))
                mails.push_back(mail);
            kind = LoggedKind::Other;
        } else {
            kind = kind_of_event(line);
        }
    }
    return mails;
}

std::string event_log_file_date(const std::string &fileName)
{
    const char prefix[] = "pwall.log.";
    const size_t length = std::strlen(prefix);
    if (fileName.size() != length + 10 || fileName.compare(0, length, prefix) != 0 ||
        !digits(fileName, length, 4) || fileName[length + 4] != '.' ||
        !digits(fileName, length + 5, 2) || fileName[length + 7] != '.' ||
        !digits(fileName, length + 8, 2))
        return "";
    return fileName.substr(length, 4) + "-" + fileName.substr(length + 5, 2) + "-" +
           fileName.substr(length + 8, 2);
}
