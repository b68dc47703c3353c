// Text of attachment files for the keyword scan.
#include "mail/attach_decode_comp.h"

#include <strings.h>

#include <cstring>
#include <fstream>
#include <iterator>

#include "mail/attachment_ops.h"
#include "mail/mail_info.h"
#include "mail/mime_text.h"
#include "mail/unicode_text.h"

namespace {

constexpr size_t kMinRun = 4;
constexpr size_t kMaxFileBytes = 64 * 1024 * 1024;   // larger files are read this far

bool HasExtension(const char *name, const char *extension)
{
    size_t length = std::strlen(name);
    size_t extLength = std::strlen(extension);
    return length >= extLength && strcasecmp(name + length - extLength, extension) == 0;
}

bool ReadWholeFile(const char *path, std::string &bytes)
{
    std::ifstream in(path, std::ios::binary);
    if (!in)
        return false;
    bytes.assign(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
    if (bytes.size() > kMaxFileBytes)
        bytes.resize(kMaxFileBytes);
    return true;
}

bool IsPrintableAscii(unsigned c)
{
    return (c >= 0x20 && c < 0x7F) || c == '\t';
}

// Characters a UTF-16 text run is made of.
bool IsTextUnit(unsigned u)
{
    return IsPrintableAscii(u) || (u >= 0xA0 && u <= 0x24F) || (u >= 0x3000 && u <= 0x30FF) ||
           (u >= 0x3400 && u <= 0x9FFF) || (u >= 0xAC00 && u <= 0xD7A3) || (u >= 0xFF00 && u <= 0xFFEF);
}

void AsciiRuns(const std::string &bytes, std::string &out)
{
    size_t start = 0;
    for (size_t i = 0; i <= bytes.size(); ++i) {
        if (i < bytes.size() && IsPrintableAscii(static_cast<unsigned char>(bytes[i])))
            continue;
        if (i - start >= kMinRun)
            out.append(bytes, start, i - start).append("\n");
        start = i + 1;
    }
}

// UTF-16LE runs at one byte alignment, collected for one conversion.
void Utf16Runs(const std::string &bytes, size_t alignment, std::string &utf16)
{
    size_t start = alignment;
    size_t i = alignment;
    for (; i + 1 < bytes.size(); i += 2) {
        unsigned unit = static_cast<unsigned char>(bytes[i]) | static_cast<unsigned char>(bytes[i + 1]) << 8;
        if (IsTextUnit(unit))
            continue;
        if ((i - start) / 2 >= kMinRun)
            utf16.append(bytes, start, i - start).append("\n\0", 2);
        start = i + 2;
    }
    if ((i - start) / 2 >= kMinRun)
        utf16.append(bytes, start, i - start).append("\n\0", 2);
}

// A text file line by line, as body text.
void PlainText(const std::string &bytes, MEMBUF *buf, FILE *text)
{
    if (bytes.size() >= 2 && static_cast<unsigned char>(bytes[0]) == 0xFF &&
        static_cast<unsigned char>(bytes[1]) == 0xFE) {
        std::string converted = Utf16leToHostEuc(bytes.substr(2));
        WriteToTempFile(converted.data(), int(converted.size()), buf, text);
        return;
    }
    if (IsUtf8Text(bytes)) {
        std::string converted = Utf8ToHostEuc(bytes);
        WriteToTempFile(converted.data(), int(converted.size()), buf, text);
        return;
    }
    DecodeCarry carry;
    size_t start = 0;
    while (start < bytes.size()) {
        size_t end = bytes.find('\n', start);
        end = end == std::string::npos ? bytes.size() : end + 1;
        // Pieces of at most 4095 bytes, as the walk reads lines.
        if (end - start > 4095)
            end = start + 4095;
        std::string line = bytes.substr(start, end - start);
        InsertDataToTempFile(line.c_str(), 1, 0, buf, text, carry);
        start = end;
    }
    FlushDataToTempFile(buf, text, carry);
}

} // namespace

bool AttachDecodeComp::IsIncluded(const char *name)
{
    if (!name)
        return false;
    for (const char *extension : {".txt", ".doc", ".ppt", ".xls"})
        if (HasExtension(name, extension))
            return true;
    return false;
}

std::string AttachDecodeComp::OfficeText(const std::string &bytes)
{
    std::string out;
    AsciiRuns(bytes, out);
    std::string utf16;
    Utf16Runs(bytes, 0, utf16);
    Utf16Runs(bytes, 1, utf16);
    if (!utf16.empty())
        out += Utf16leToHostEuc(utf16);
    return out;
}

bool AttachDecodeComp::DecodeTextFile(const char *path, const char *name, MEMBUF *buf, FILE *text)
{
    std::string bytes;
    if (!IsIncluded(name) || !path || !ReadWholeFile(path, bytes))
        return false;
    if (HasExtension(name, ".txt")) {
        PlainText(bytes, buf, text);
    } else {
        std::string runs = OfficeText(bytes);
        WriteToTempFile(runs.data(), int(runs.size()), buf, text);
    }
    return true;
}

int AttachDecodeComp::TraverseDecodeProcedure(const char *dfFile, CMailInfo &info, MEMBUF *buf,
                                              FILE *text)
{
    int read = 0;
    for (int i = 0; i < info.m_nAttachCount; ++i) {
        Attach_Stru &attach = *info.m_pAttach[i];
        if (IsTnefAttachment(attach) || !IsIncluded(attach.m_szName))
            continue;
        if (DecodeAttachmentContent(dfFile, info, i) &&
            DecodeTextFile(attach.m_strTempFile2.c_str(), attach.m_szName, buf, text))
            ++read;
        RemoveAttachmentTempFiles(attach);
    }
    return read;
}
