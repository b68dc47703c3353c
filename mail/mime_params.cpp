// Reading MIME header parameters (see mime_params.h).
#include "mail/mime_params.h"

#include <cstdlib>
#include <cstring>

namespace {

constexpr size_t kMaxName = 80;

bool IsBlank(char c)
{
    return c == ' ' || c == '\t';
}

char Lower(char c)
{
    return c >= 'A' && c <= 'Z' ? char(c - 'A' + 'a') : c;
}

int HexValue(char c)
{
    if (c >= '0' && c <= '9')
        return c - '0';
    c = Lower(c);
    return c >= 'a' && c <= 'f' ? c - 'a' + 10 : -1;
}

// "%XX" becomes its byte; any other "%" stays.
std::string PercentDecoded(const std::string &text)
{
    std::string out;
    out.reserve(text.size());
    for (size_t i = 0; i < text.size(); ++i) {
        int high = i + 2 < text.size() && text[i] == '%' ? HexValue(text[i + 1]) : -1;
        int low = high >= 0 ? HexValue(text[i + 2]) : -1;
        if (low >= 0) {
            out += char(high * 16 + low);
            i += 2;
        } else {
            out += text[i];
        }
    }
    return out;
}

// Splits "name", "name*", "name*N" and "name*N*" into the base name, the
// section (-1 for the plain form) and whether the text is percent-encoded.
void SplitName(const std::string &full, std::string &base, int &section, bool &encoded)
{
    base = full;
    section = -1;
    encoded = false;
    size_t star = full.find('*');
    if (star == std::string::npos)
        return;
    base = full.substr(0, star);
    std::string rest = full.substr(star + 1);
    if (rest.empty()) {   // name*
        section = 0;
        encoded = true;
        return;
    }
    if (rest.back() == '*') {
        encoded = true;
        rest.pop_back();
    }
    if (rest.empty() || rest.size() > 3 ||
        rest.find_first_not_of("0123456789") != std::string::npos) {
        base.clear();   // not a form this reader knows
        return;
    }
    section = std::atoi(rest.c_str());
}

} // namespace

MimeParamReader::MimeParamReader(std::initializer_list<const char *> wanted)
{
    for (const char *name : wanted) {
        m_params.emplace_back();
        m_params.back().name = name;
    }
}

void MimeParamReader::Reset()
{
    for (Collected &param : m_params) {
        std::string name = param.name;
        param = Collected();
        param.name = name;
    }
    m_state = kType;
    m_name.clear();
    m_value.clear();
    m_bNameTooLong = m_bHaveName = m_bFinished = false;
}

void MimeParamReader::Append(char c)
{
    if (m_value.size() < kMaxValue)
        m_value += c;
}

void MimeParamReader::Feed(const char *text, size_t length)
{
    for (size_t i = 0; i < length; ++i) {
        const char c = text[i];
        if (c == '\r' || c == '\n')
            continue;   // unfolding
        switch (m_state) {
        case kType:
            if (c == ';')
                m_state = kName;
            break;
        case kName:
            if (c == ';') {
                m_name.clear();
                m_bNameTooLong = false;
            } else if (c == '=') {
                EndName();
            } else if (!IsBlank(c)) {
                if (m_name.size() < kMaxName)
                    m_name += Lower(c);
                else
                    m_bNameTooLong = true;
            }
            break;
        case kValueStart:
            if (c == '"') {
                m_state = kQuoted;
            } else if (c == ';') {
                EndValue();
                m_state = kName;
            } else if (!IsBlank(c)) {
                Append(c);
                m_state = kToken;
            }
            break;
        case kToken:
            if (c == ';' || IsBlank(c)) {
                EndValue();
                m_state = c == ';' ? kName : kJunk;
            } else {
                Append(c);
            }
            break;
        case kQuoted:
            if (c == '\\') {
                m_state = kQuotedEscape;
            } else if (c == '"') {
                EndValue();
                m_state = kJunk;
            } else {
                Append(c);
            }
            break;
        case kQuotedEscape:
            Append(c);
            m_state = kQuoted;
            break;
        case kJunk:
            if (c == ';')
                m_state = kName;
            break;
        }
    }
}

void MimeParamReader::EndName()
{
    m_bHaveName = !m_name.empty() && !m_bNameTooLong;
    m_value.clear();
    m_state = kValueStart;
}

void MimeParamReader::EndValue()
{
    if (m_bHaveName) {
        std::string base;
        int section = -1;
        bool encoded = false;
        SplitName(m_name, base, section, encoded);
        for (Collected &param : m_params) {
            if (base.empty() || param.name != base)
                continue;
            if (!param.present) {
                param.present = true;
                param.plainFirst = section < 0;
            }
            if (section < 0) {
                if (param.result.plainCount++ == 0)
                    param.plain = m_value;
            } else {
                param.result.anyExtended = true;
                if (section <= kMaxSection && param.sections.count(section) == 0 &&
                    param.sectionBytes + m_value.size() <= kMaxValue) {
                    param.sectionBytes += m_value.size();
                    param.sections[section] = {m_value, encoded};
                }
            }
        }
    }
    m_name.clear();
    m_value.clear();
    m_bHaveName = m_bNameTooLong = false;
}

void MimeParamReader::Finish()
{
    if (m_bFinished)
        return;
    m_bFinished = true;
    if (m_state == kValueStart || m_state == kToken || m_state == kQuoted ||
        m_state == kQuotedEscape)
        EndValue();
    for (Collected &param : m_params)
        if (param.present)
            Assemble(param);
}

void MimeParamReader::Assemble(Collected &param)
{
    MimeParam &result = param.result;
    if (param.plainFirst) {
        result.value = param.plain;
        return;
    }
    result.extended = true;
    for (int section = 0;; ++section) {
        auto found = param.sections.find(section);
        if (found == param.sections.end())
            break;
        std::string text = found->second.first;
        const bool encoded = found->second.second;
        if (section == 0 && encoded) {
            size_t tick = text.find('\'');
            size_t second = tick == std::string::npos ? tick : text.find('\'', tick + 1);
            if (second != std::string::npos) {
                result.charset = text.substr(0, tick);
                text.erase(0, second + 1);
            }
        }
        result.value += encoded ? PercentDecoded(text) : text;
    }
}

const MimeParam *MimeParamReader::Find(const char *name) const
{
    for (const Collected &param : m_params)
        if (param.present && param.name == name)
            return &param.result;
    return nullptr;
}

std::string MediaTypeOf(const char *line)
{
    const char *colon = std::strchr(line, ':');
    if (!colon)
        return "";
    const char *p = colon + 1;
    while (IsBlank(*p))
        ++p;
    std::string type;
    for (; *p && !IsBlank(*p) && *p != ';' && *p != '\r' && *p != '\n'; ++p)
        type += Lower(*p);
    return type;
}
