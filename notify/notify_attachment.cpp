// WriteNotifyAttachment: the blocked mail's header or whole text as the last
// part of a notification mail.
//
// The header part reads the blocked mail up to its first line that begins
// with CR or LF. Lines holding encoded words whose charset belongs to the host
// language are decoded into the host's code; the part is declared
// "iso-8859-1"/"7bit" unless a decoded line is Shift_JIS (then "shift_jis",
// "8bit") or EUC (then "8bit" with the charset name left as it is). Other
// lines are copied as read, line ends included. The whole-mail parts copy the data file byte for
// byte.
#include "notify/notify_attachment.h"

#include <cstdlib>
#include <cstring>
#include <memory>
#include <vector>

#include "mail/charset.h"
#include "notify/notification.h"

namespace {

using FilePtr = std::unique_ptr<FILE, int (*)(FILE *)>;

struct FreeDeleter {
    void operator()(char *p) const { std::free(p); }
};

// A header line split into its text and its line end ("\r\n", "\n" or "").
struct HeaderLine {
    std::string text;
    std::string end;
};

// Header lines of the blocked mail, up to the first line beginning with CR
// or LF (that line not included).
std::vector<HeaderLine> read_header_lines(FILE *in)
{
    std::vector<HeaderLine> lines;
    char *raw = nullptr;
    size_t capacity = 0;
    ssize_t length;
    while ((length = getline(&raw, &capacity, in)) > 0) {
        if (raw[0] == '\r' || raw[0] == '\n')
            break;
        std::string line(raw, static_cast<size_t>(length));
        const size_t cut = line.find_last_not_of("\r\n");
        HeaderLine header;
        header.text = cut == std::string::npos ? "" : line.substr(0, cut + 1);
        header.end = line.substr(header.text.size());
        lines.push_back(std::move(header));
    }
    std::free(raw);
    return lines;
}

bool holds_encoded_word(const std::string &text)
{
    for (size_t at = text.find("=?"); at != std::string::npos; at = text.find("=?", at + 2))
        if (is_rfc1342(text.c_str() + at, nullptr, nullptr) > 0)
            return true;
    return false;
}

// Whether an encoded word's charset belongs to the host language: the
// Japanese codes on a Japanese (or other) host, the ISO-2022-CN forms on a
// Chinese one.
bool charset_of_host_language(const char *name)
{
    const bool chinese = _language == LANG_CHINESE || _language == LANG_TAIWAN;
    if (strcasecmp(name, "ISO-2022-CN") == 0 || strcasecmp(name, "ISO-2022-CN-EXT") == 0)
        return chinese;
    if (strcasecmp(name, "ISO-2022-JP") == 0 || strcasecmp(name, "SHIFT_JIS") == 0 ||
        strcasecmp(name, "EUC-JP") == 0)
        return !chinese;
    return false;
}

// The line decoded into the host's code, or empty when it stays as read.
std::string decode_header_text(const std::string &text)
{
    if (!holds_encoded_word(text))
        return "";
    RFC1342_DECODED decoded;
    if (rfc1342_decode(text.c_str(), &decoded, CHARSET_EUC) != 0)
        return "";
    std::unique_ptr<char, FreeDeleter> owned(decoded.m_pszText);
    if (decoded.m_nCode == -1 || !charset_of_host_language(decoded.m_szCharset))
        return "";
    std::unique_ptr<char, FreeDeleter> host(fromANY(decoded.m_pszText, _kanji));
    return host ? host.get() : "";
}

void write_header_part(FILE *out, FILE *in, const std::string &boundary)
{
    std::vector<HeaderLine> lines = read_header_lines(in);
    const char *charset = "iso-8859-1";
    const char *encoding = "7bit";
    for (HeaderLine &line : lines) {
        std::string decoded = decode_header_text(line.text);
        if (decoded.empty())
            continue;
        const int code = AutoDetect(decoded.c_str());
        if (code == CHARSET_SJIS) {
            charset = "shift_jis";
            encoding = "8bit";
        } else if (code == CHARSET_EUC) {
            encoding = "8bit";
        }
        line.text = std::move(decoded);
    }
    std::fprintf(out, "--%s\r\n", boundary.c_str());
    std::fputs("Content-Type: text/plain;\r\n", out);
    std::fprintf(out, "\tcharset=\"%s\"\r\n", charset);
    std::fprintf(out, "Content-Transfer-Encoding: %s\r\n", encoding);
    std::fputs("\r\n", out);
    for (const HeaderLine &line : lines) {
        std::fwrite(line.text.data(), 1, line.text.size(), out);
        std::fwrite(line.end.data(), 1, line.end.size(), out);
    }
}

void copy_file(FILE *out, FILE *in)
{
    char block[4096];
    size_t count;
    while ((count = std::fread(block, 1, sizeof block, in)) > 0)
        std::fwrite(block, 1, count, out);
}

void write_message_part(FILE *out, FILE *in, const std::string &boundary, bool asText)
{
    std::fprintf(out, "--%s\r\n", boundary.c_str());
    std::fputs(asText ? "Content-Type: text/plain;\r\n" : "Content-Type: message/rfc822;\r\n", out);
    std::fputs(asText ? "\tname=\"Message.txt\"\r\n" : "\tname=\"Message\"\r\n", out);
    std::fputs("Content-Transfer-Encoding: 7bit\r\n", out);
    std::fputs("\r\n", out);
    copy_file(out, in);
}

} // namespace

bool WriteNotifyAttachment(FILE *out, const char *blockedFile, int type,
                           const std::string &boundary)
{
    if (type != NOTIFY_HEADER && type != NOTIFY_MESSAGE && type != NOTIFY_MESSAGE_TEXT)
        return false;
    if (!blockedFile)
        return false;
    FilePtr in(std::fopen(blockedFile, "rb"), &std::fclose);
    if (!in)
        return false;
    if (type == NOTIFY_HEADER)
        write_header_part(out, in.get(), boundary);
    else
        write_message_part(out, in.get(), boundary, type == NOTIFY_MESSAGE_TEXT);
    std::fputs("\r\n", out);
    std::fprintf(out, "--%s--\r\n", boundary.c_str());
    return true;
}
