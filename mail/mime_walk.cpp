// The MIME walk's state machine.
#include "mail/mime_walk.h"

#include <sys/stat.h>

#include <cstring>
#include <string>

#include "mail/boundary_list.h"
#include "mail/charset.h"
#include "mail/encoded_word.h"
#include "mail/mail_info.h"
#include "mail/mime_header.h"
#include "mail/mime_line_reader.h"
#include "mail/mime_params.h"
#include "mail/mime_text.h"

namespace {

constexpr int kNameSize = MimeLineReader::kLineSize;
constexpr size_t kMaxClearBoundary = 70;   // the longest boundary the format allows

enum State {
    kTopHeaders = 1,
    kBody = 2,
    kPartHeaders = 3,
    kContentType = 4,
    kDisposition = 5,
    kEnclosed = 6,
};

// The header with parameters being read in states 4 and 5.
enum HeaderKind { kNoHeader, kTypeHeader, kDispositionHeader, kIgnoredHeader };

// A name parameter's value; an RFC 2231 one converted from its charset as
// an encoded word's text is.
std::string NameValue(const MimeParam &param)
{
    if (!param.extended)
        return param.value;
    return ConvertWordBytes(param.value, EncodedWordCharsetCode(param.charset), CHARSET_EUC);
}

std::string WithoutLineEnd(const std::string &text)
{
    return text.substr(0, text.find_first_of("\r\n"));
}

bool IsUuencodeBegin(const char *line)
{
    if (line[0] != 'b' || std::strncmp(line, "begin ", 6) != 0)
        return false;
    size_t digits = std::strspn(line + 6, "01234567");
    return digits >= 1 && digits <= 4 && line[6 + digits] == ' ';
}

class MimeWalk {
public:
    MimeWalk(FILE *mail, long size, MEMBUF *buf, FILE *text, CMailInfo *info, size_t blockSize,
             MimeTextPath path)
        : m_reader(mail, blockSize), m_lSize(size), m_pBuf(buf), m_pText(text), m_pInfo(info)
    {
        m_carry.reference = path == MimeTextPath::kReference;
        m_szName[0] = '\0';
        m_szType[0] = '\0';
    }
    ~MimeWalk() { RemoveAllBoundary(m_pTop); }
    MimeWalk(const MimeWalk &) = delete;
    MimeWalk &operator=(const MimeWalk &) = delete;

    // False when a write to the text file failed.
    bool Run();

private:
    void TopHeaderLine();
    void BodyLine();
    void PartHeaderLine();
    void ContentTypeLine();
    void DispositionLine();
    void EnclosedLine();

    void UuencodedBlock(const char *line);
    void BoundaryLine(const char *line);
    void StartContentType(const char *line);
    void StartDisposition(const char *line);
    void EndHeader();
    void ApplyContentTypeParameters();
    void UpdateName();
    void PushBoundary(const std::string &value);
    void Ambiguous(int reason)
    {
        if (m_pInfo)
            m_pInfo->m_nMimeAmbiguity |= reason;
    }
    void AfterHeaderLine();
    void RebuildComparison();
    // A new header block (a part's or an enclosed message's) begins.
    void ClearAttachmentFlags()
    {
        m_bNonText = m_bNameFound = false;
        m_szName[0] = '\0';
        m_szType[0] = '\0';
        m_bBlockContentType = m_bBlockDisposition = false;
        m_bTypeName = m_bDispositionName = false;
        m_strTypeName.clear();
        m_strDispositionName.clear();
        m_strMediaType.clear();
    }
    Attach_Stru *RecordAttachment();
    void SetName(const std::string &name);
    void WriteHeader(const char *line)
    {
        Written(InsertHeaderToTempFile(line, m_pBuf, m_pText, m_carry.reference));
    }
    void WriteRaw(const std::string &text)
    {
        Written(WriteToTempFile(text.data(), int(text.size()), m_pBuf, m_pText));
    }
    void WriteBody(const char *line)
    {
        Written(InsertDataToTempFile(line, m_nPartEncoding, m_nPartCharset, m_pBuf, m_pText,
                                     m_carry));
    }
    void FlushBody() { Written(FlushDataToTempFile(m_pBuf, m_pText, m_carry)); }
    void Written(bool ok) { m_bWriteFailed = m_bWriteFailed || !ok; }
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
    bool m_bWriteFailed = false;

    // Parameters: only the first Content-Type and Content-Disposition of a
    // header block count; a Content-Disposition filename wins over a
    // Content-Type name.
    int m_nHeader = kNoHeader;
    bool m_bBlockContentType = false;
    bool m_bBlockDisposition = false;
    std::string m_strMediaType;   // of the block's Content-Type, as a client reads it
    MimeParamReader m_typeParams{"boundary", "charset", "name"};
    MimeParamReader m_dispositionParams{"filename"};
    bool m_bTypeName = false;
    bool m_bDispositionName = false;
    std::string m_strTypeName;
    std::string m_strDispositionName;
    long m_lTopDisposition = -1;
    bool m_bLinePiece = false;   // the line goes on from the previous piece
};

bool MimeWalk::Run()
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
    FlushBody();
    return !m_bWriteFailed;
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
            // From the first of its Content-Type and Content-Disposition lines.
            long start = m_bTopContentType ? m_lTopContentType : m_lTopDisposition;
            if (m_lTopDisposition >= 0 && m_lTopDisposition < start)
                start = m_lTopDisposition;
            attach->m_nStart = int(start < 0 ? 0 : start);
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
        if (!m_bTopContentType)
            m_lTopContentType = m_reader.start();
        m_bTopContentType = true;
        m_nState = kContentType;
        m_bReprocess = true;
    } else if (HeaderIs(line, "Content-Transfer-Encoding:")) {
        if (int code = TransferEncodingOf(line)) {
            m_nTopEncoding = m_nPartEncoding = code;
            if (code == ENCODING_BASE64)
                m_nEncodingCode = ENCODING_BASE64;
        }
        WriteHeader(line);
    } else if (HeaderIs(line, "Content-Disposition:")) {
        if (m_lTopDisposition < 0)
            m_lTopDisposition = m_reader.start();
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
    } else if (m_strOpen.empty() || line[0] != m_strOpen[0] ||
               std::strncmp(line, m_strOpen.c_str(), m_strOpen.size()) != 0) {
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
    FlushBody();
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
    } else if (HeaderIs(line, "Content-Disposition:")) {
        m_nState = kDisposition;
        m_bReprocess = true;
    } else {
        WriteHeader(line);
    }
}

void MimeWalk::ContentTypeLine()
{
    const char *line = m_reader.text();
    WriteHeader(line);
    if (HeaderIs(line, "Content-Type:") && !m_bLinePiece)
        StartContentType(line);
    else if (m_nHeader == kTypeHeader)
        m_typeParams.Feed(line, std::strlen(line));
    AfterHeaderLine();
}

void MimeWalk::StartContentType(const char *line)
{
    if (m_bBlockContentType) {
        Ambiguous(MIME_AMBIGUOUS_CONTENT_TYPES);
        m_nHeader = kIgnoredHeader;
        return;
    }
    m_bBlockContentType = true;
    m_nHeader = kTypeHeader;
    m_bTextPart = HeaderIs(line, "Content-Type: text");
    m_nClass = ContentClassOf(line, &m_bDigest);
    if (m_nClass != CLASS_TEXT && m_nClass != CLASS_MULTIPART)
        m_bNonText = true;
    GetContentTypeString(line, m_szType);
    m_strMediaType = MediaTypeOf(line);
    m_bDigest = m_strMediaType == "multipart/digest";
    m_typeParams.Reset();
    const char *value = line + std::strlen("Content-Type:");
    m_typeParams.Feed(value, std::strlen(value));
}

void MimeWalk::DispositionLine()
{
    const char *line = m_reader.text();
    WriteRaw(Decoded(line));
    if (HeaderIs(line, "Content-Disposition:") && !m_bLinePiece)
        StartDisposition(line);
    else if (m_nHeader == kDispositionHeader)
        m_dispositionParams.Feed(line, std::strlen(line));
    AfterHeaderLine();
}

void MimeWalk::StartDisposition(const char *line)
{
    if (m_bBlockDisposition) {
        m_nHeader = kIgnoredHeader;
        return;
    }
    m_bBlockDisposition = true;
    m_nHeader = kDispositionHeader;
    m_dispositionParams.Reset();
    const char *value = line + std::strlen("Content-Disposition:");
    m_dispositionParams.Feed(value, std::strlen(value));
}

// Step 4 of states 4 and 5: a folded line, or the next piece of a line
// longer than the reader's buffer, stays; any other line ends the header and
// goes back to the headers it belongs to.
void MimeWalk::AfterHeaderLine()
{
    const int length = m_reader.length();
    const bool cut = length > 0 && m_reader.text()[length - 1] != '\n';
    if (!m_reader.Next()) {
        EndHeader();
        m_bDone = true;
        return;
    }
    m_bLinePiece = cut;
    if (!cut && !IsContinuationLine(m_reader.text())) {
        EndHeader();
        m_nState = m_nLevel == 2 ? kPartHeaders : kTopHeaders;
    }
    m_bReprocess = true;
}

void MimeWalk::EndHeader()
{
    if (m_nHeader == kTypeHeader) {
        m_typeParams.Finish();
        ApplyContentTypeParameters();
    } else if (m_nHeader == kDispositionHeader) {
        m_dispositionParams.Finish();
        if (const MimeParam *filename = m_dispositionParams.Find("filename")) {
            m_bDispositionName = true;
            m_strDispositionName = NameValue(*filename);
        }
        UpdateName();
    }
    m_nHeader = kNoHeader;
}

void MimeWalk::ApplyContentTypeParameters()
{
    const MimeParam *boundary = m_typeParams.Find("boundary");
    if (boundary && m_strMediaType.compare(0, 10, "multipart/") == 0) {
        if (boundary->plainCount + (boundary->anyExtended ? 1 : 0) > 1)
            Ambiguous(MIME_AMBIGUOUS_BOUNDARIES);
        if (boundary->anyExtended)
            Ambiguous(MIME_AMBIGUOUS_ENCODED_BOUNDARY);
        if (boundary->value.size() > kMaxClearBoundary)
            Ambiguous(MIME_AMBIGUOUS_LONG_BOUNDARY);
        PushBoundary(boundary->value);
    }
    if (const MimeParam *charset = m_typeParams.Find("charset")) {
        m_bCharsetSeen = true;
        if (int code = CharsetCodeOf(LowerCopy(charset->value))) {
            if (m_nLevel == 1)
                m_nTopCharset = code;
            else
                m_nPartCharset = code;
        }
    }
    if (const MimeParam *name = m_typeParams.Find("name")) {
        m_bTypeName = true;
        m_strTypeName = NameValue(*name);
    }
    UpdateName();
}

void MimeWalk::UpdateName()
{
    if (m_bDispositionName)
        SetName(m_strDispositionName);
    else if (m_bTypeName)
        SetName(m_strTypeName);
    m_bNameFound = m_bDispositionName || m_bTypeName;
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

void MimeWalk::PushBoundary(const std::string &value)
{
    m_bBoundaryKnown = true;
    m_pTop = AddBoundary(value.c_str(), m_pTop, m_bDigest ? 1 : 0);
}

} // namespace

std::string MimeAmbiguityText(int reasons)
{
    static const struct {
        int reason;
        const char *text;
    } kReasons[] = {
        {MIME_AMBIGUOUS_CONTENT_TYPES, "two Content-Type headers"},
        {MIME_AMBIGUOUS_BOUNDARIES, "two boundary parameters"},
        {MIME_AMBIGUOUS_ENCODED_BOUNDARY, "RFC 2231-encoded boundary"},
        {MIME_AMBIGUOUS_LONG_BOUNDARY, "boundary longer than 70 characters"},
    };
    std::string text;
    for (const auto &entry : kReasons)
        if (reasons & entry.reason)
            text += (text.empty() ? "" : "; ") + std::string(entry.text);
    return text;
}

bool WalkMail(FILE *mail, long size, MEMBUF *buf, FILE *text, CMailInfo *info, size_t blockSize,
              MimeTextPath path)
{
    if (buf) {
        buf->m_bInMemory = 1;
        buf->m_nLength = 0;
        buf->m_szData[0] = '\0';
    }
    if (info) {
        info->m_nMimeAmbiguity = 0;
        info->m_bTextWriteFailed = false;
    }
    MimeWalk walk(mail, size, buf, text, info, blockSize, path);
    bool written = walk.Run();
    if (buf && buf->m_bInMemory)
        buf->m_szData[buf->m_nLength] = '\0';
    if (info && !written)
        info->m_bTextWriteFailed = true;
    return written;
}

bool GetAttachmentInfo(const char *mailPath, MEMBUF *buf, const char *textPath, CMailInfo *info)
{
    FILE *mail = mailPath ? std::fopen(mailPath, "rb") : nullptr;
    if (!mail)
        return false;
    struct stat status;
    long size = fstat(fileno(mail), &status) == 0 ? long(status.st_size) : 0;
    FILE *text = textPath ? std::fopen(textPath, "wb") : nullptr;
    if (text)   // a large mail's text goes out in few writes
        std::setvbuf(text, nullptr, _IOFBF, size_t(1) << 16);
    bool written = WalkMail(mail, size, buf, text, info);
    if (text && std::fclose(text) != 0)
        written = false;
    if (info && !written)
        info->m_bTextWriteFailed = true;
    std::fclose(mail);
    return true;
}
