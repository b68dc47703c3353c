// Header line readers and attachment recording for the MIME walk.
#include "mail/mime_header.h"

#include <strings.h>

#include <cstdlib>
#include <cstring>

#include "base/file_util.h"
#include "mail/charset.h"
#include "mail/encoded_word.h"
#include "mail/mail_info.h"

bool HeaderIs(const char *line, const char *prefix)
{
    return strncasecmp(line, prefix, std::strlen(prefix)) == 0;
}

bool IsBlankLine(const char *line)
{
    return line[0] == '\r' || line[0] == '\n';
}

bool IsContinuationLine(const char *line)
{
    return line[0] == ' ' || line[0] == '\t';
}

std::string LowerCopy(const std::string &text)
{
    std::string lower = text;
    for (char &c : lower)
        if (c >= 'A' && c <= 'Z')
            c = char(c - 'A' + 'a');
    return lower;
}

int TransferEncodingOf(const std::string &line)
{
    static const struct {
        const char *name;
        int code;
    } kEncodings[] = {{"7bit", ENCODING_7BIT},     {"quoted-printable", ENCODING_QPRINT},
                      {"base64", ENCODING_BASE64}, {"8bit", ENCODING_8BIT},
                      {"binary", ENCODING_BINARY}};
    std::string lower = LowerCopy(line);
    for (const auto &encoding : kEncodings)
        if (lower.find(encoding.name) != std::string::npos)
            return encoding.code;
    return 0;
}

int CharsetCodeOf(const std::string &text)
{
    static const struct {
        const char *name;
        int code;
    } kCharsets[] = {{"us-ascii", MIME_CHARSET_US_ASCII},     {"iso-2022-jp", MIME_CHARSET_ISO2022JP},
                     {"big5", MIME_CHARSET_BIG5},             {"iso-8859-1", MIME_CHARSET_ISO8859_1},
                     {"shift_jis", MIME_CHARSET_SHIFT_JIS},   {"euc-jp", MIME_CHARSET_EUC_JP}};
    for (const auto &charset : kCharsets)
        if (text.find(charset.name) != std::string::npos)
            return charset.code;
    return 0;
}

int ContentClassOf(const char *line, bool *digest)
{
    static const struct {
        const char *prefix;
        int code;
    } kClasses[] = {{"Content-Type: multipart", CLASS_MULTIPART},
                    {"Content-Type: message", CLASS_MESSAGE},
                    {"Content-Type: image", CLASS_IMAGE},
                    {"Content-Type: audio", CLASS_AUDIO},
                    {"Content-Type: video", CLASS_VIDEO},
                    {"Content-Type: application", CLASS_APPLICATION}};
    *digest = HeaderIs(line, "Content-Type: multipart/digest");
    for (const auto &kind : kClasses)
        if (HeaderIs(line, kind.prefix))
            return kind.code;
    return CLASS_TEXT;
}

void GetContentTypeString(const char *line, char *out)
{
    out[0] = '\0';
    size_t skip = std::strlen("Content-Type:") + 1;
    if (std::strlen(line) < skip)
        return;
    const char *from = line + skip;
    size_t length = std::strcspn(from, " ;\r\n");
    if (length > 127)
        length = 127;
    std::memcpy(out, from, length);
    out[length] = '\0';
}

void BlankControlCharacters(char *text)
{
    for (; text && *text; ++text)
        if (static_cast<unsigned char>(*text) < 0x20)
            *text = ' ';
}

void CleanAttachmentName(char *name)
{
    BlankControlCharacters(name);
    if (!name)
        return;
    size_t length = std::strlen(name);
    while (length > 0 && name[length - 1] == ' ')
        name[--length] = '\0';
    size_t lead = std::strspn(name, " ");
    std::memmove(name, name + lead, length - lead + 1);
}

Attach_Stru *AddAttachInfo(char *name, char *contentType, CMailInfo *info)
{
    if (!info || (!name && !contentType))
        return nullptr;
    int before = info->m_nAttachCount;
    BlankControlCharacters(contentType);
    RFC1342_DECODED decoded;
    if (name && *name && DecodeEncodedWords(name, &decoded, CHARSET_EUC, kMaxEncodedName) == 0 &&
        decoded.m_pszText) {
        if (std::strlen(decoded.m_pszText) > 511)
            decoded.m_pszText[511] = '\0';
        CleanAttachmentName(decoded.m_pszText);
        info->AddAttach(decoded.m_pszText, contentType);
        std::free(decoded.m_pszText);
    } else {
        if (name && std::strlen(name) > 511)
            name[511] = '\0';
        CleanAttachmentName(name);
        info->AddAttach(name, contentType);
    }
    if (info->m_nAttachCount == before)
        return nullptr;
    Attach_Stru *attach = info->m_pAttach[info->m_nAttachCount - 1];
    attach->m_nStart = -1;
    attach->m_nEnd = 0;
    attach->m_nEncoding = 0;
    attach->m_bTnef = false;
    attach->ClearFileList();
    return attach;
}
