// RFC 1342 encoded words in header values: the recogniser is_rfc1342 and the
// decoder rfc1342_decode, which turns a whole header value into one code.
//
// rfc1342_decode keeps everything between words as it stands (white space
// included) and decodes the Q form as it stands (an underscore stays one):
// the header readers of this system rely on exactly that.
#include <cstring>
#include <memory>
#include <string>

#include "base/file_util.h"
#include "mail/c_buffer.h"
#include "mail/charset.h"
#include "mail/encoded_word.h"

namespace {

// Appends the plain text, converted with fromISO2022, to out.
void AppendPlain(const std::string &plain, int target, std::string &out)
{
    if (plain.empty())
        return;
    std::unique_ptr<char, CBufferFree> converted(fromISO2022(plain.c_str(), target));
    out += converted ? converted.get() : plain.c_str();
}

} // namespace

std::string ConvertWordBytes(const std::string &bytes, int code, int target)
{
    if (code < 0 || bytes.empty())
        return bytes;
    std::unique_ptr<char, CBufferFree> converted(fromANY(bytes.c_str(), target));
    return converted ? std::string(converted.get()) : std::string(bytes.c_str());
}

int is_rfc1342(const char *p, char *charsetOut, char *textOut)
{
    EncodedWord word;
    if (!ParseEncodedWord(p, word))
        return 0;
    if (charsetOut)
        strcpy_truncate(charsetOut, word.charset.c_str(), kEncodedWordPartMax + 1);
    if (textOut)
        strcpy_truncate(textOut, word.text.c_str(), kEncodedWordPartMax + 1);
    return word.form;
}

int is_rfc1342_len(const char *p, int *len)
{
    char charset[kEncodedWordPartMax + 1];
    const int form = is_rfc1342(p, charset, nullptr);
    if (form > 0 && len)
        *len = static_cast<int>(std::strlen(charset));
    return form;
}

int rfc1342_decode(const char *src, RFC1342_DECODED *out, int target)
{
    return DecodeEncodedWords(src, out, target, kEncodedWordPartMax);
}

int DecodeEncodedWords(const char *src, RFC1342_DECODED *out, int target, size_t partMax)
{
    if (out)
        std::memset(out, 0, sizeof *out);
    if (!src || !out || !*src)
        return -1;
    std::string result;
    result.reserve(512);
    std::string plain;
    int lastCode = 0;
    for (const char *p = src; *p;) {
        EncodedWord word;
        if (*p != '=' || !ParseEncodedWord(p, word, partMax)) {
            plain += *p++;
            continue;
        }
        AppendPlain(plain, target, result);
        plain.clear();
        std::string bytes;
        if (!DecodeEncodedWord(word, false, bytes)) {
            std::memset(out, 0, sizeof *out);
            return -1;
        }
        lastCode = EncodedWordCharsetCode(word.charset);
        result += ConvertWordBytes(bytes, lastCode, target);
        strcpy_truncate(out->m_szCharset, word.charset.c_str(), sizeof out->m_szCharset);
        p += word.length;
    }
    AppendPlain(plain, target, result);
    out->m_pszText = MallocCopy(result);
    if (!out->m_pszText) {
        std::memset(out, 0, sizeof *out);
        return -1;
    }
    out->m_nCode = lastCode < 0 ? -1 : target;
    return 0;
}
