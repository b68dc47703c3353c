#include "tools/hostkit/spool.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <cstring>
#include <fstream>

namespace {

bool iequals_prefix(const std::string &line, size_t at, const char *name)
{
    size_t length = std::strlen(name);
    if (line.size() < at + length)
        return false;
    for (size_t i = 0; i < length; ++i) {
        if (std::tolower(static_cast<unsigned char>(line[at + i])) !=
            std::tolower(static_cast<unsigned char>(name[i])))
            return false;
    }
    return true;
}

std::string trim(const std::string &text)
{
    size_t begin = text.find_first_not_of(" \t\r\n");
    if (begin == std::string::npos)
        return "";
    size_t end = text.find_last_not_of(" \t\r\n");
    return text.substr(begin, end - begin + 1);
}

// A value on one envelope line: a line break in it would start another.
std::string one_line(const std::string &value)
{
    std::string line = value;
    for (char &c : line) {
        if (c == '\r' || c == '\n')
            c = ' ';
    }
    return line;
}

} // namespace

std::string header_value(const std::string &message, const char *name)
{
    size_t pos = 0;
    while (pos < message.size()) {
        size_t eol = message.find('\n', pos);
        if (eol == std::string::npos)
            eol = message.size();
        std::string line = message.substr(pos, eol - pos);
        if (!line.empty() && line.back() == '\r')
            line.pop_back();
        if (line.empty())
            return "";   // end of the header block
        size_t nameLength = std::strlen(name);
        if (iequals_prefix(line, 0, name) && line.size() > nameLength && line[nameLength] == ':') {
            std::string value = line.substr(nameLength + 1);
            size_t next = eol + 1;
            // Folded continuation lines start with a blank or a tab.
            while (next < message.size() && (message[next] == ' ' || message[next] == '\t')) {
                size_t end = message.find('\n', next);
                if (end == std::string::npos)
                    end = message.size();
                std::string more = message.substr(next, end - next);
                if (!more.empty() && more.back() == '\r')
                    more.pop_back();
                value += " " + trim(more);
                next = end + 1;
            }
            return trim(value);
        }
        pos = eol + 1;
    }
    return "";
}

std::vector<std::string> parse_address_list(const std::string &value)
{
    std::vector<std::string> addresses;
    std::string bare;        // text outside quotes, comments and brackets
    std::string bracketed;   // text inside <...>
    bool inQuote = false, inBracket = false, sawBracket = false;
    int commentDepth = 0;
    auto flush = [&]() {
        std::string address = trim(sawBracket ? bracketed : bare);
        if (!address.empty())
            addresses.push_back(address);
        bare.clear();
        bracketed.clear();
        sawBracket = false;
    };
    for (size_t i = 0; i < value.size(); ++i) {
        char c = value[i];
        if (inQuote) {
            if (c == '\\' && i + 1 < value.size())
                ++i;
            else if (c == '"')
                inQuote = false;
        } else if (commentDepth > 0) {
            if (c == '(')
                ++commentDepth;
            else if (c == ')')
                --commentDepth;
        } else if (inBracket) {
            if (c == '>')
                inBracket = false;
            else
                bracketed += c;
        } else if (c == '"') {
            inQuote = true;
        } else if (c == '(') {
            commentDepth = 1;
        } else if (c == '<') {
            inBracket = true;
            sawBracket = true;
            bracketed.clear();
        } else if (c == ':') {
            bare.clear();   // "group name:" starts a group of addresses
        } else if (c == ',' || c == ';') {
            flush();
        } else if (c != ' ' && c != '\t') {
            bare += c;
        }
    }
    flush();
    return addresses;
}

MailEnvelope envelope_from_message(const std::string &message, time_t now)
{
    MailEnvelope envelope;
    envelope.from = header_value(message, "From");
    envelope.to = header_value(message, "To");
    envelope.cc = header_value(message, "Cc");
    envelope.replyTo = header_value(message, "Reply-To");
    envelope.subject = header_value(message, "Subject");
    std::vector<std::string> sender = parse_address_list(header_value(message, "Return-Path"));
    if (sender.empty())
        sender = parse_address_list(envelope.from);
    envelope.envelopeFrom = sender.empty() ? "" : sender.front();
    for (const char *field : {"To", "Cc", "Bcc"}) {
        for (const std::string &address : parse_address_list(header_value(message, field))) {
            if (std::find(envelope.recipients.begin(), envelope.recipients.end(), address) ==
                envelope.recipients.end())
                envelope.recipients.push_back(address);
        }
    }
    envelope.receivedTime = static_cast<long>(now);
    return envelope;
}

std::string format_envelope(const MailEnvelope &envelope)
{
    std::string text = "F<" + one_line(envelope.envelopeFrom) + ">\n";
    for (const std::string &recipient : envelope.recipients)
        text += "T<" + one_line(recipient) + ">\n";
    auto line = [&text](char letter, const std::string &value) {
        if (!value.empty())
            text += letter + one_line(value) + "\n";
    };
    line('O', envelope.from);
    line('D', envelope.to);
    line('C', envelope.cc);
    line('P', envelope.replyTo);
    line('S', envelope.subject);
    text += "R" + std::to_string(envelope.receivedTime) + "\n";
    return text;
}

bool read_file(const std::string &path, std::string *data, std::string *error)
{
    int fd = open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (fd < 0) {
        *error = "cannot open " + path + ": " + std::strerror(errno);
        return false;
    }
    struct stat info;
    size_t expected = fstat(fd, &info) == 0 && S_ISREG(info.st_mode)
                          ? static_cast<size_t>(info.st_size)
                          : 0;
    data->resize(std::max<size_t>(expected + 1, 4096));
    size_t length = 0;
    for (;;) {
        if (length == data->size())
            data->resize(data->size() * 2);
        ssize_t got = read(fd, &(*data)[length], data->size() - length);
        if (got == 0)
            break;
        if (got < 0 && errno == EINTR)
            continue;
        if (got < 0) {
            *error = "cannot read " + path + ": " + std::strerror(errno);
            close(fd);
            return false;
        }
        length += static_cast<size_t>(got);
    }
    data->resize(length);
    close(fd);
    return true;
}

bool write_file(const std::string &path, const std::string &data, std::string *error)
{
    std::ofstream out(path, std::ios::binary | std::ios::trunc);
    if (out)
        out.write(data.data(), static_cast<std::streamsize>(data.size()));
    if (out)
        out.close();
    if (!out) {
        *error = "cannot write " + path + ": " + std::strerror(errno);
        return false;
    }
    return true;
}

bool write_spool_pair(const std::string &dir, const std::string &id, bool outbound,
                      const MailEnvelope &envelope, const std::string &message, SpoolPair *pair,
                      std::string *error)
{
    const char direction = outbound ? 'O' : 'I';
    pair->afPath = dir + "/AF" + direction + id;
    pair->dfPath = dir + "/DF" + direction + id;
    return write_file(pair->dfPath, message, error) &&
           write_file(pair->afPath, format_envelope(envelope), error);
}

std::vector<SpoolPair> list_spool_pairs(const std::string &dir)
{
    std::vector<SpoolPair> pairs;
    DIR *handle = opendir(dir.c_str());
    if (!handle)
        return pairs;
    while (dirent *entry = readdir(handle)) {
        std::string name = entry->d_name;
        if (name.size() > 2 && name.compare(0, 2, "AF") == 0)
            pairs.push_back({dir + "/" + name, dir + "/DF" + name.substr(2)});
    }
    closedir(handle);
    std::sort(pairs.begin(), pairs.end(),
              [](const SpoolPair &a, const SpoolPair &b) { return a.afPath < b.afPath; });
    return pairs;
}
