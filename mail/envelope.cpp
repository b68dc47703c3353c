// Reading the envelope (AF) file: the whole file into a CMailInfo, or one
// value of it (see envelope.h).
#include "mail/envelope.h"

#include <cstdlib>
#include <cstring>
#include <string>

#include "base/file_util.h"
#include "mail/charset.h"
#include "mail/mail_info.h"

namespace envelope {

bool IsCommandLetter(char letter)
{
    return letter != '\0' && std::strchr(kCommandLetters, letter) != nullptr;
}

std::string TrimRight(const std::string &line)
{
    size_t last = line.find_last_not_of(kTrimSet);
    return last == std::string::npos ? std::string() : line.substr(0, last + 1);
}

bool StripBrackets(const std::string &line, std::string &value)
{
    if (line.size() < 2)
        return false;
    size_t start = 1;
    size_t end = line.size() - 1;
    if (line[end] == '>')
        --end;
    if (line[start] == '<')
        ++start;
    if (start >= line.size() || end == 0 || start > end)
        return false;
    value = line.substr(start, end - start + 1);
    return true;
}

bool IsPlainValue(const std::string &value)
{
    unsigned char previous = 0;
    for (const char byte : value) {
        const auto c = static_cast<unsigned char>(byte);
        if (c == 0 || c >= 0x80 || c == 0x1B || c == 0x0E || c == 0x0F ||
            (c == '?' && previous == '='))
            return false;
        previous = c;
    }
    return true;
}

std::string DecodeValue(const std::string &value)
{
    return IsPlainValue(value) ? value : DecodeEncodedValue(value);
}

std::string DecodeEncodedValue(const std::string &value)
{
    RFC1342_DECODED decoded;
    if (rfc1342_decode(value.c_str(), &decoded, CHARSET_EUC) != 0 || decoded.m_pszText == nullptr)
        return value;
    std::string result;
    char *converted = fromANY(decoded.m_pszText, _kanji);
    result = converted != nullptr ? converted : decoded.m_pszText;
    std::free(converted);
    std::free(decoded.m_pszText);
    return result;
}

} // namespace envelope

bool CMailInfo::ParseAFInfo(const char *afPath, bool raw)
{
    f_read_text_file file(afPath);
    ParseAFLines(file, raw);
    return true;
}

bool CMailInfo::ParseAFText(const std::string &text, bool raw)
{
    f_read_text_file lines(text.data(), text.size());
    ParseAFLines(lines, raw);
    return true;
}

void CMailInfo::ParseAFLines(f_read_text_file &file, bool raw)
{
    if (!file.is_open())
        return;
    std::string line;
    while (file.read_a_line(line)) {
        if (line.size() <= 1 || !envelope::IsCommandLetter(line[0]))
            continue;
        const std::string trimmed = envelope::TrimRight(line);
        std::string value;
        if (raw)
            value = trimmed.substr(1);
        else if (!envelope::StripBrackets(trimmed, value))
            continue;
        StoreValue(trimmed[0], envelope::DecodeValue(value));
    }
}

void CMailInfo::StoreValue(char letter, const std::string &value)
{
    // Each view is refreshed right after its string is assigned.
    switch (letter) {
    case 'F':
        m_strEnvelopeFrom = value;
        m_pszEnvelopeFrom = m_strEnvelopeFrom.c_str();
        break;
    case 'T':
        m_strEnvelopeTo = value;
        m_pszEnvelopeTo = m_strEnvelopeTo.c_str();
        break;
    case 'O':
        m_strFrom = value;
        m_pszFrom = m_strFrom.c_str();
        break;
    case 'D':
        m_strTo = value;
        m_pszTo = m_strTo.c_str();
        break;
    case 'C':
        m_strCc = value;
        m_pszCc = m_strCc.c_str();
        break;
    case 'P':
        m_strReplyTo = value;
        m_pszReplyTo = m_strReplyTo.c_str();
        break;
    case 'S':
        m_strSubject = value;
        m_pszSubject = m_strSubject.c_str();
        break;
    case 'A':
        m_strA = value;
        m_pszA = m_strA.c_str();
        break;
    case 'R':
        m_strReceivedTime = value;
        // atoi's reading: a decimal prefix, 0 when there is none.
        m_lReceivedTime = static_cast<int>(std::strtol(value.c_str(), nullptr, 10));
        break;
    default:
        break;
    }
}

int GetAFInfo(char letter, const char *afPath, std::string &value)
{
    value.clear();
    if (!envelope::IsCommandLetter(letter))
        return -1;
    f_read_text_file file(afPath);
    if (!file.is_open())
        return -1;
    std::string line;
    while (file.read_a_line(line)) {
        if (line.empty() || line[0] != letter)
            continue;
        value = envelope::TrimRight(line).substr(1);
        if (letter == 'F' && value.empty())
            value = "<>";
        return 0;
    }
    return -1;
}
