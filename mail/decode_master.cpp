// CDecodeMaster: line-by-line decoding of extracted attachment files, and the
// uuencode / XXencode line decoder.
//
// uuencode maps a 6-bit value v to the character 32 + v (a backquote also
// stands for 0); XXencode uses "+-0-9A-Za-z" for 0 to 63 and is told apart
// by its count character, which is 'a' or above for lines of 38 bytes or
// more ('h' for the usual 45). Characters missing at the end of a line read
// as 0, since trailing blanks (uuencode's 0) are often stripped in transit.
#include "mail/decode_master.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <stdexcept>
#include <string>

#include "base/file_util.h"
#include "mail/transfer_codecs.h"

namespace {

constexpr char kXXAlphabet[] =
    "+-0123456789ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz";

// XXencode character -> the uuencode character of the same value; characters
// outside the alphabet read as 0.
struct XXTable {
    char uu[256];
    constexpr XXTable() : uu()
    {
        for (int i = 0; i < 256; ++i)
            uu[i] = ' ';
        for (int v = 0; v < 64; ++v)
            uu[static_cast<unsigned char>(kXXAlphabet[v])] = static_cast<char>(' ' + v);
    }
};
constexpr XXTable kXX;

struct FileCloser {
    void operator()(FILE *f) const { std::fclose(f); }
};

char *CopyBytes(const std::vector<char> &bytes, int *outLen)
{
    char *result = static_cast<char *>(std::malloc(bytes.size() + 1));
    if (!result)
        return nullptr;
    std::memcpy(result, bytes.data(), bytes.size());
    result[bytes.size()] = '\0';
    if (outLen)
        *outLen = static_cast<int>(bytes.size());
    return result;
}

} // namespace

char *CDecodeMaster::from_base64(const char *src, int len, int *outLen)
{
    return transfer_codecs::Base64Decode(src, len, outLen, true);
}

char *CDecodeMaster::from_qprint(char *src, int len, int *outLen)
{
    return ::from_qprint(src, len, outLen);
}

int CDecodeMaster::uu_DEC(char c, int xx)
{
    if (xx)
        c = kXX.uu[static_cast<unsigned char>(c)];
    return (static_cast<unsigned char>(c) - 32) & 63;
}

void CDecodeMaster::outdec(std::vector<char> &out, const char *quad, int n, int xx)
{
    const int a = uu_DEC(quad[0], xx);
    const int b = uu_DEC(quad[1], xx);
    const int c = uu_DEC(quad[2], xx);
    const int d = uu_DEC(quad[3], xx);
    const char bytes[3] = {static_cast<char>(a << 2 | b >> 4),
                           static_cast<char>(b << 4 | c >> 2),
                           static_cast<char>(c << 6 | d)};
    out.insert(out.end(), bytes, bytes + (n < 3 ? n : 3));
}

int CDecodeMaster::TrimCRLF(char *s, int len)
{
    if (!s || len < 0)
        return 0;
    s[len] = '\0';
    while (len > 0 && (s[len - 1] == '\r' || s[len - 1] == '\n'))
        s[--len] = '\0';
    return len;
}

char *CDecodeMaster::from_UU(const char *line, int len, int *outLen)
{
    if (outLen)
        *outLen = 0;
    if (!line || len < 1 || line[0] == '\0' || std::strncmp(line, "end", 3) == 0)
        return nullptr;
    const int xx = static_cast<unsigned char>(line[0]) >= 'a' ? 1 : 0;
    int n = uu_DEC(line[0], xx);
    std::vector<char> out;
    for (int at = 1; n > 0; at += 4, n -= 3) {
        char quad[4];
        for (int k = 0; k < 4; ++k) {
            const int i = at + k;
            quad[k] = i < len && line[i] != '\0' ? line[i] : (xx ? '+' : ' ');
        }
        outdec(out, quad, n, xx);
    }
    if (out.empty())
        return nullptr;
    return CopyBytes(out, outLen);
}

bool CDecodeMaster::Do_Decode(const char *inPath, const char *outPath, DECODETYPE type)
{
    std::unique_ptr<FILE, FileCloser> out(outPath ? std::fopen(outPath, "wb") : nullptr);
    if (!out)
        throw std::runtime_error("file open error");
    if (!inPath)
        return true;
    f_read_text_file in(inPath);
    std::string line;
    while (in.is_open() && in.read_a_line(line)) {
        line.erase(line.find_last_not_of(" \t\r\n") + 1);
        if (line.empty())
            continue;
        int n = 0;
        char *bytes = nullptr;
        if (type == QPRINT)
            bytes = from_qprint(line.data(), static_cast<int>(line.size()), &n);
        else if (type == UUENCODE)
            bytes = from_UU(line.data(), static_cast<int>(line.size()), &n);
        else
            bytes = from_base64(line.data(), static_cast<int>(line.size()), &n);
        if (bytes && n > 0)
            std::fwrite(bytes, 1, static_cast<size_t>(n), out.get());
        std::free(bytes);
    }
    return true;
}

bool CDecodeMaster::Do_QPDecode(const char *inPath, const char *outPath)
{
    return Do_Decode(inPath, outPath, QPRINT);
}

bool CDecodeMaster::Do_Base64Decode(const char *inPath, const char *outPath)
{
    return Do_Decode(inPath, outPath, BASE64);
}

bool CDecodeMaster::Do_UUDecode(const char *inPath, const char *outPath)
{
    return Do_Decode(inPath, outPath, UUENCODE);
}
