// The MIME walk's state machine.
#include "mail/mime_walk.h"

#include <sys/stat.h>

#include <cstring>
#include <string>

#include "mail/boundary_list.h"
#include "mail/charset.h"
#include "mail/mail_info.h"
#include "mail/mime_header.h"
#include "mail/mime_line_reader.h"
#include "mail/mime_text.h"

namespace {

constexpr int kNameSize = MimeLineReader::kLineSize;
constexpr size_t kMaxBoundaryValue = 511;

enum State {
    kTopHeaders = 1,
    kBody = 2,
    kPartHeaders = 3,
    kContentType = 4,
    kDisposition = 5,
    kEnclosed = 6,
};

// The closing quote of a quoted value starting at `from`: the first quote
// followed by blanks and ';' or the line end, else the last quote.
size_t ClosingQuote(const std::string &line, size_t from)
{
    size_t last = std::string::npos;
    for (size_t q = line.find('"', from); q != std::string::npos; q = line.find('"', q + 1)) {
        size_t after = line.find_first_not_of(" \t", q + 1);
        if (after == std::string::npos || std::strchr(";\r\n", line[after]))
            return q;
        last = q;
    }
    return last;
}

std::string WithoutLineEnd(const std::string &text)
{
    return text.substr(0, text.find_first_of("\r\n"));
}

bool IsUuencodeBegin(const char *line)
{
    if (std::strncmp(line, "begin ", 6) != 0)
        return false;
    size_t digits = std::strspn(line + 6, "01234567");
    return digits >= 1 && digits <= 4 && line[6 + digits] == ' ';
}

class MimeWalk {
public:
    MimeWalk(FILE *mail, long size, MEMBUF *buf, FILE *text, CMailInfo *info, size_t blockSize)
        : m_reader(mail, blockSize), m_lSize(size), m_pBuf(buf), m_pText(text), m_pInfo(info)
    {
        m_szName[0] = '\0';
        m_szType[0] = '\0';
    }
    ~MimeWalk() { RemoveAllBoundary(m_pTop); }
    MimeWalk(const MimeWalk &) = delete;
    MimeWalk &operator=(const MimeWalk &) = delete;

    void Run();

private:
    void TopHeaderLine();
    void BodyLine();
    void PartHeaderLine();
    void ContentTypeLine();
    void DispositionLine();
    void EnclosedLine();

    void UuencodedBlock(const char *line);
    void BoundaryLine(const char *line);
    void ReadBoundaryParameter(const std::string &line, const std::string &lower);
    void ReadNameParameter(const std::string &line, const std::string &lower, const char *key,
                           bool decodeLines);
    void AfterHeaderLine();
    void RebuildComparison();
    void ClearAttachmentFlags()
    {
        m_bNonText = m_bNameFound = false;
        m_szName[0] = '\0';
        m_szType[0] = '\0';
    }
    Attach_Stru *RecordAttachment();
    void SetName(const std::string &name);
    void WriteHeader(const char *line) { InsertHeaderToTempFile(line, m_pBuf, m_pText); }
    void WriteRaw(const std::string &text) { WriteToTempFile(text.data(), int(text.size()), m_pBuf, m_pText); }
    void WriteBody(const char *line)
    {
        InsertDataToTempFile(line, m_nPartEncoding, m_nPartCharset, m_pBuf, m_pText, m_carry);
    }
    std::string Decoded(const char *line);

    MimeLineReader m_reader;
    long m_lSize;
    MEMBUF *m_pBuf;
    FILE *m_pText;
    CMailInfo *m_pInfo;

    int m_nState = kTopHeaders;
    int m_nLevel = 1;
    bool m_bReprocess = false;
    bool m_bDone = false;
    int m_nTopEncoding = ENCODING_7BIT;
    int m_nPartEncoding = ENCODING_7BIT;
    int m_nTopCharset = MIME_CHARSET_US_ASCII;
    int m_nPartCharset = MIME_CHARSET_US_ASCII;
    bool m_bMimeVersion = false;
    bool m_bBoundaryKnown = false;
    bool m_bTopContentType = false;
    bool m_bCharsetSeen = false;
    int m_nClass = CLASS_TEXT;
    bool m_bDigest = false;
    bool m_bTextPart = true;
    bool m_bNonText = false;
    bool m_bNameFound = false;
    char m_szName[kNameSize];
    char m_szType[128];
    _BOUNDLIST *m_pTop = nullptr;
    std::string m_strOpen;    // "--" + boundary
    std::string m_strClose;   // "--" + boundary + "--"
    long m_lTopContentType = 0;
    long m_lPartStart = 0;
    bool m_bEndPending = false;
    int m_nPendingIndex = -1;
    int m_nEncodingCode = 0;
    DecodeCarry m_carry;
};

void MimeWalk::Run()
{
    while (!m_bDone) {
        if (!m_bReprocess && !m_reader.Next())
            break;
        m_bReprocess = false;
        switch (m_nState) {
        case kTopHeaders:
            TopHeaderLine();
            break;
        case kBody:
            BodyLine();
            break;
        case kPartHeaders:
            PartHeaderLine();
            break;
        case kContentType:
            ContentTypeLine();
            break;
        case kDisposition:
            DispositionLine();
            break;
        default:
            EnclosedLine();
            break;
        }
    }
    FlushDataToTempFile(m_pBuf, m_pText, m_carry);
}

void MimeWalk::RebuildComparison()
{
    if (m_pTop) {
        m_strOpen = std::string("--") + m_pTop->m_szBoundary;
        m_strClose = m_strOpen + "--";
    } else {
        m_strOpen.clear();
        m_strClose.clear();
    }
}

void MimeWalk::SetName(const std::string &name)
{
    size_t length = name.size() < size_t(kNameSize - 1) ? name.size() : size_t(kNameSize - 1);
    std::memcpy(m_szName, name.data(), length);
    m_szName[length] = '\0';
}

Attach_Stru *MimeWalk::RecordAttachment()
{
    Attach_Stru *attach = AddAttachInfo(m_szName, m_szType, m_pInfo);
    if (attach && m_nEncodingCode != 0)
        attach->m_nEncoding = m_nEncodingCode;
    return attach;
}

void MimeWalk::TopHeaderLine()
{
    const char *line = m_reader.text();
    if (IsBlankLine(line)) {
        int next = m_nClass == CLASS_MESSAGE ? kEnclosed : kBody;
        RebuildComparison();
        Attach_Stru *attach = m_bNameFound ? RecordAttachment() : nullptr;
        if (attach) {
            attach->m_nStart = int(m_lTopContentType);
            attach->m_nEnd = int(m_lSize);
        }
        if (m_bBoundaryKnown || m_nClass == CLASS_TEXT || m_nClass == CLASS_MESSAGE)
            m_nState = next;
        else
            m_bDone = true;   // a single non-text body: nothing more to read
        return;
    }
    if (HeaderIs(line, "Mime-Version")) {
        m_bMimeVersion = true;
    } else if (HeaderIs(line, "Content-Type:")) {
        m_bTopContentType = true;
        m_lTopContentType = m_reader.start();
        m_nState = kContentType;
        m_bReprocess = true;
    } else if (HeaderIs(line, "Content-Transfer-Encoding:")) {
        if (int code = TransferEncodingOf(line)) {
            m_nTopEncoding = m_nPartEncoding = code;
            if (code == ENCODING_BASE64)
                m_nEncodingCode = ENCODING_BASE64;
        }
        WriteHeader(line);
    } else if (HeaderIs(line, "Content-Disposition:") && m_bTopContentType && !m_bNameFound) {
        m_nState = kDisposition;
        m_bReprocess = true;
    } else {
        WriteHeader(line);
    }
}

void MimeWalk::BodyLine()
{
    char *line = m_reader.text();
    if (IsUuencodeBegin(line)) {
        UuencodedBlock(line);
    } else if ((!m_bMimeVersion && !m_bTopContentType) || !m_bBoundaryKnown) {
        WriteBody(line);
    } else if (m_strOpen.empty() || std::strncmp(line, m_strOpen.c_str(), m_strOpen.size()) != 0) {
        if (m_bTextPart)
            WriteBody(line);
    } else {
        BoundaryLine(line);
    }
}

void MimeWalk::UuencodedBlock(const char *line)
{
    std::string bare = WithoutLineEnd(line);
    std::string name = bare.substr(bare.rfind(' ') + 1);
    Attach_Stru *attach = AddAttachInfo(&name[0], nullptr, m_pInfo);
    if (attach) {
        attach->m_nStart = int(m_reader.start());
        std::strcpy(attach->m_szContentType, "UUEncoded");
        attach->m_nEncoding = ENCODING_UUENCODE;
    }
    WriteBody(line);
    long end = m_reader.end();
    while (m_reader.Next()) {
        end = m_reader.end();
        if (std::strncmp(m_reader.text(), "end", 3) == 0)
            break;
    }
    if (attach)
        attach->m_nEnd = int(end);
}

void MimeWalk::BoundaryLine(const char *line)
{
    if (m_bEndPending && m_pInfo && m_nPendingIndex < m_pInfo->m_nAttachCount)
        m_pInfo->m_pAttach[m_nPendingIndex]->m_nEnd = int(m_reader.start());
    m_bEndPending = false;
    FlushDataToTempFile(m_pBuf, m_pText, m_carry);
    std::string bare = WithoutLineEnd(line);
    bare.erase(bare.find_last_not_of(" \t") + 1);
    if (bare == m_strClose) {
        m_pTop = RemoveBoundary(m_pTop);
        RebuildComparison();
        m_bTextPart = true;
        m_nPartEncoding = m_nTopEncoding;
        m_nPartCharset = m_nTopCharset;
    } else if (bare == m_strOpen) {
        m_nState = m_pTop->m_bDigest ? kEnclosed : kPartHeaders;
        m_nLevel = 2;
        m_bTextPart = true;
        ClearAttachmentFlags();
        m_nPartEncoding = m_nTopEncoding;
        m_nPartCharset = m_nTopCharset;
        m_lPartStart = m_reader.end();
    }
    WriteBody(line);
}

void MimeWalk::PartHeaderLine()
{
    const char *line = m_reader.text();
    if (IsBlankLine(line)) {
        WriteHeader(line);
        m_nState = m_nClass == CLASS_MESSAGE ? kEnclosed : kBody;
        RebuildComparison();
        Attach_Stru *attach = (m_bNonText || m_bNameFound) ? RecordAttachment() : nullptr;
        if (attach && m_nClass != CLASS_MESSAGE) {
            attach->m_nStart = int(m_lPartStart);
            m_bEndPending = true;
            m_nPendingIndex = m_pInfo->m_nAttachCount - 1;
        } else if (attach) {
            attach->m_nStart = -1;
            m_bEndPending = false;
        }
        return;
    }
    if (HeaderIs(line, "Content-Transfer-Encoding:")) {
        if (int code = TransferEncodingOf(line)) {
            m_nPartEncoding = code;
            if (code == ENCODING_BASE64)
                m_nEncodingCode = ENCODING_BASE64;
        }
        WriteHeader(line);
    } else if (HeaderIs(line, "Content-Type:")) {
        m_nState = kContentType;
        m_bReprocess = true;
    } else if (HeaderIs(line, "Content-Disposition:") && m_bTopContentType) {
        m_nState = kDisposition;
        m_bReprocess = true;
    } else {
        WriteHeader(line);
    }
}

void MimeWalk::ContentTypeLine()
{
    std::string line = m_reader.text();
    WriteHeader(line.c_str());
    if (HeaderIs(line.c_str(), "Content-Type:")) {
        m_bTextPart = HeaderIs(line.c_str(), "Content-Type: text");
        m_nClass = ContentClassOf(line.c_str(), &m_bDigest);
        if (m_nClass != CLASS_TEXT && m_nClass != CLASS_MULTIPART)
            m_bNonText = true;
        GetContentTypeString(line.c_str(), m_szType);
    }
    std::string lower = LowerCopy(line);
    ReadBoundaryParameter(line, lower);
    size_t charset = lower.find("charset=");
    if (charset != std::string::npos) {
        m_bCharsetSeen = true;
        if (int code = CharsetCodeOf(lower.substr(charset + 8))) {
            if (m_nLevel == 1)
                m_nTopCharset = code;
            else
                m_nPartCharset = code;
        }
    }
    ReadNameParameter(line, lower, "name=", false);
    AfterHeaderLine();
}

void MimeWalk::DispositionLine()
{
    std::string line = Decoded(m_reader.text());
    WriteRaw(line);
    ReadNameParameter(line, LowerCopy(line), "filename=", true);
    AfterHeaderLine();
}

// Step 4 of states 4 and 5: a folded line stays, any other goes back to
// the headers it belongs to.
void MimeWalk::AfterHeaderLine()
{
    if (m_bDone)
        return;
    if (!m_reader.Next()) {
        m_bDone = true;
        return;
    }
    if (!IsContinuationLine(m_reader.text()))
        m_nState = m_nLevel == 2 ? kPartHeaders : kTopHeaders;
    m_bReprocess = true;
}

void MimeWalk::EnclosedLine()
{
    const char *line = m_reader.text();
    if (IsBlankLine(line)) {
        WriteHeader(line);
        return;
    }
    m_nState = kPartHeaders;
    m_nLevel = 2;
    m_nClass = CLASS_TEXT;   // the default type of a message
    m_bTextPart = true;
    ClearAttachmentFlags();
    m_bReprocess = true;
}

std::string MimeWalk::Decoded(const char *line)
{
    RFC1342_DECODED decoded;
    if (rfc1342_decode(line, &decoded, CHARSET_EUC) != 0 || !decoded.m_pszText)
        return line;
    std::string text = decoded.m_pszText;
    std::free(decoded.m_pszText);
    return text;
}

void MimeWalk::ReadBoundaryParameter(const std::string &line, const std::string &lower)
{
    size_t at = lower.find("boundary=");
    if (at == std::string::npos)
        return;
    size_t from = at + 9;
    std::string value;
    if (from < line.size() && line[from] == '"') {
        size_t close = line.find('"', from + 1);
        if (close != std::string::npos) {
            value = line.substr(from + 1, close - from - 1);
        } else {
            value = WithoutLineEnd(line.substr(from + 1));
            // The value goes on in one folded line; any other line is lost.
            if (m_reader.Next() && m_reader.text()[0] == '\t') {
                std::string more = m_reader.text() + 1;
                value += more.substr(0, more.find_first_of("\"\r\n"));
            } else if (m_reader.length() == 0) {
                m_bDone = true;
            }
        }
    } else {
        size_t end = line.find_first_of(" ;\r\n", from);
        value = line.substr(from, end == std::string::npos ? std::string::npos : end - from);
    }
    if (value.size() > kMaxBoundaryValue)
        value.resize(kMaxBoundaryValue);
    m_bBoundaryKnown = true;
    m_pTop = AddBoundary(&value[0], m_pTop, m_bDigest ? 1 : 0);
}

void MimeWalk::ReadNameParameter(const std::string &line, const std::string &lower, const char *key,
                                 bool decodeLines)
{
    size_t at = lower.find(key);
    if (at == std::string::npos)
        return;
    size_t from = at + std::strlen(key);
    size_t first = line.find_first_not_of(" \t", from);
    bool quoted = first != std::string::npos && line[first] == '"';
    std::string name;
    bool complete = false;
    if (quoted) {
        size_t close = ClosingQuote(line, first + 1);
        complete = close != std::string::npos;
        name = complete ? line.substr(first + 1, close - first - 1) : WithoutLineEnd(line.substr(first + 1));
    } else {
        size_t semicolon = line.find(';', from);
        complete = semicolon != std::string::npos;
        name = complete ? line.substr(from, semicolon - from) : WithoutLineEnd(line.substr(from));
    }
    // Folded value: continuation lines are written and joined (without their
    // first character) until the value ends; the first other line goes back.
    while (!complete) {
        if (!m_reader.Next())
            break;
        if (!IsContinuationLine(m_reader.text())) {
            m_reader.PutBack();
            break;
        }
        std::string more = decodeLines ? Decoded(m_reader.text()) : std::string(m_reader.text());
        if (decodeLines)
            WriteRaw(more);
        else
            WriteHeader(more.c_str());
        more = WithoutLineEnd(more.substr(1));
        size_t end = quoted ? ClosingQuote(more, 0) : more.find(';');
        complete = end != std::string::npos;
        if (complete)
            more.resize(end);
        if (name.size() + more.size() < size_t(kNameSize - 1))
            name += more;
    }
    SetName(name);
    m_bNameFound = true;
}

} // namespace

void WalkMail(FILE *mail, long size, MEMBUF *buf, FILE *text, CMailInfo *info, size_t blockSize)
{
    if (buf) {
        buf->m_bInMemory = 1;
        buf->m_nLength = 0;
        buf->m_szData[0] = '\0';
    }
    MimeWalk walk(mail, size, buf, text, info, blockSize);
    walk.Run();
    if (buf && buf->m_bInMemory)
        buf->m_szData[buf->m_nLength] = '\0';
}

bool GetAttachmentInfo(const char *mailPath, MEMBUF *buf, const char *textPath, CMailInfo *info)
{
    FILE *mail = mailPath ? std::fopen(mailPath, "rb") : nullptr;
    if (!mail)
        return false;
    struct stat status;
    long size = fstat(fileno(mail), &status) == 0 ? long(status.st_size) : 0;
    FILE *text = textPath ? std::fopen(textPath, "wb") : nullptr;
    WalkMail(mail, size, buf, text, info);
    if (text)
        std::fclose(text);
    std::fclose(mail);
    return true;
}
