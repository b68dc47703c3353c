// The "Received:" state machine (see received_hosts.h).
#include "rules/received_hosts.h"

#include <cstring>
#include <string>

#include "mail/mail_info.h"

namespace {

constexpr int kLineSize = 512;   // 511 characters and the terminator

class ReceivedReader {
public:
    ReceivedReader(FILE *file, CMailInfo &info) : m_file(file), m_info(info) {}

    void Run();

private:
    enum State { kSeek, kFrom, kFromHost, kBy, kByHost, kDone };

    // Reads the next header piece into m_line; false at the end of the
    // header (or file).
    bool NextLine();
    // The next state with the next piece, or kDone at the end of the header.
    State WithNextLine(State state) { return NextLine() ? SetText(state, 0) : kDone; }
    State SetText(State state, size_t offset)
    {
        m_offset = offset;
        return state;
    }

    State Seek();
    State From();
    State FromHost();
    State By();
    State ByHost();
    // Adds the word at m_offset of the current piece.
    void AddHostWord();
    // The current piece lower-cased (ASCII letters only, the search keys
    // being ASCII).
    const std::string &Lower();
    // Offset just after `key` in the current text (searched lower-cased), or
    // npos.
    size_t After(const char *key);
    bool NothingFollows(size_t offset) const;

    FILE *m_file;
    CMailInfo &m_info;
    std::string m_line;    // the current header piece
    std::string m_lower;   // the same, lower-cased; empty until needed
    size_t m_offset = 0;   // where the current text begins in m_line
};

bool is_blank(char c)
{
    return c == ' ' || c == '\t';
}

bool ReceivedReader::NextLine()
{
    char buffer[kLineSize];
    if (!std::fgets(buffer, sizeof buffer, m_file))
        return false;
    if (buffer[0] == '\r' || buffer[0] == '\n')
        return false;
    m_line = buffer;
    m_lower.clear(); // lowered when first searched: most pieces never are
    return true;
}

const std::string &ReceivedReader::Lower()
{
    if (m_lower.empty()) {
        m_lower = m_line;
        for (char &c : m_lower)
            if (c >= 'A' && c <= 'Z')
                c = static_cast<char>(c - 'A' + 'a');
    }
    return m_lower;
}

size_t ReceivedReader::After(const char *key)
{
    size_t at = Lower().find(key, m_offset);
    return at == std::string::npos ? at : at + std::strlen(key);
}

bool ReceivedReader::NothingFollows(size_t offset) const
{
    return m_line.find_first_not_of(" \t\r\n", offset) == std::string::npos;
}

void ReceivedReader::AddHostWord()
{
    size_t start = m_line.find_first_not_of(" \t", m_offset);
    if (start == std::string::npos)
        return;
    size_t end = m_line.find_first_of(" \t\r\n", start);
    std::string word = m_line.substr(start, end == std::string::npos ? end : end - start);
    if (word.empty())
        return;
    m_info.AddDomain(&word[0]);
}

ReceivedReader::State ReceivedReader::Seek()
{
    static const char kReceived[] = "Received:";
    if (m_line.compare(0, sizeof kReceived - 1, kReceived) != 0)
        return WithNextLine(kSeek);
    size_t afterColon = sizeof kReceived - 1;
    if (NothingFollows(afterColon))
        return WithNextLine(kFrom);
    return SetText(kFrom, afterColon);
}

ReceivedReader::State ReceivedReader::From()
{
    size_t after = After(" from");
    if (after == std::string::npos)
        return kBy;   // the same text
    if (NothingFollows(after))
        return WithNextLine(kFromHost);
    return SetText(kFromHost, after);
}

ReceivedReader::State ReceivedReader::FromHost()
{
    AddHostWord();
    if (Lower().find("by ") != std::string::npos)
        return SetText(kBy, 0);
    if (!NextLine())
        return kDone;
    return is_blank(m_line[0]) ? SetText(kBy, 0) : SetText(kSeek, 0);
}

ReceivedReader::State ReceivedReader::By()
{
    size_t after = After("by ");
    if (after == std::string::npos)
        return WithNextLine(kSeek);
    if (NothingFollows(after))
        return WithNextLine(kByHost);
    return SetText(kByHost, after);
}

ReceivedReader::State ReceivedReader::ByHost()
{
    AddHostWord();
    return WithNextLine(kSeek);
}

void ReceivedReader::Run()
{
    State state = WithNextLine(kSeek);
    while (state != kDone) {
        switch (state) {
        case kSeek:
            state = Seek();
            break;
        case kFrom:
            state = From();
            break;
        case kFromHost:
            state = FromHost();
            break;
        case kBy:
            state = By();
            break;
        case kByHost:
            state = ByHost();
            break;
        case kDone:
            break;
        }
    }
}

} // namespace

void CollectReceivedHosts(FILE *file, CMailInfo &info)
{
    if (!file)
        return;
    ReceivedReader(file, info).Run();
}
