// Copying a message file without its uuencoded blocks.
#include "mail/extract_data_file.h"

#include <cstdio>
#include <cstring>
#include <string>

#include "mail/mime_header.h"
#include "mail/mime_line_reader.h"

namespace {

// The outer boundary from the top-level headers seen so far ("" if none).
std::string OuterBoundary(const std::string &headers)
{
    std::string lower = LowerCopy(headers);
    size_t at = lower.find("boundary=");
    if (at == std::string::npos)
        return "";
    size_t from = at + 9;
    if (from < headers.size() && headers[from] == '"') {
        size_t close = headers.find('"', from + 1);
        return close == std::string::npos ? "" : headers.substr(from + 1, close - from - 1);
    }
    size_t end = headers.find_first_of(" ;\t\r\n", from);
    return headers.substr(from, end == std::string::npos ? std::string::npos : end - from);
}

bool StartsUuencode(const char *line)
{
    if (std::strncmp(line, "begin ", 6) != 0)
        return false;
    size_t digits = std::strspn(line + 6, "01234567");
    return digits >= 1 && digits <= 4 && line[6 + digits] == ' ';
}

} // namespace

bool ExtractDataFile(const char *mailPath, const char *outPath)
{
    FILE *in = mailPath ? std::fopen(mailPath, "rb") : nullptr;
    if (!in)
        return false;
    FILE *out = outPath ? std::fopen(outPath, "wb") : nullptr;
    if (!out) {
        std::fclose(in);
        return false;
    }
    MimeLineReader reader(in);
    bool inHeaders = true;
    bool inBlock = false;
    std::string headers;   // the top-level Content-Type header, unfolded
    bool inContentType = false;
    std::string boundaryLine;
    while (reader.Next()) {
        const char *line = reader.text();
        if (inHeaders) {
            if (IsBlankLine(line)) {
                inHeaders = false;
                std::string boundary = OuterBoundary(headers);
                if (!boundary.empty())
                    boundaryLine = "--" + boundary;
            } else if (HeaderIs(line, "Content-Type:") || (inContentType && IsContinuationLine(line))) {
                inContentType = true;
                headers += line;
            } else {
                inContentType = false;
            }
        } else if (inBlock) {
            bool outer = !boundaryLine.empty() &&
                         std::strncmp(line, boundaryLine.c_str(), boundaryLine.size()) == 0;
            if (!outer) {
                inBlock = std::strncmp(line, "end", 3) != 0;
                continue;
            }
            inBlock = false;
        } else if (StartsUuencode(line)) {
            inBlock = true;
            continue;
        }
        std::fwrite(line, 1, size_t(reader.length()), out);
    }
    bool ok = std::fclose(out) == 0;
    std::fclose(in);
    return ok;
}
