// Parsing and decoding of one RFC 1342 encoded word.
#include "mail/encoded_word.h"

#include <strings.h>

#include <cstdlib>
#include <cstring>
#include <memory>

#include "mail/c_buffer.h"
#include "mail/charset.h"
#include "mail/transfer_codecs.h"

namespace {

bool IsPrintable(unsigned char c) { return c > ' ' && c < 127; }

bool IsCharsetChar(unsigned char c)
{
    return IsPrintable(c) && std::strchr("()<>@,;:\\~/[]?.=", c) == nullptr;
}

// Reads characters accepted by ok from p up to the next "?"; false when
// there are none of them, too many, or another character stops the part.
template <class Accept>
bool ReadPart(const char *&p, std::string &part, Accept ok, bool allowEmpty, size_t partMax)
{
    const char *start = p;
    while (*p != '?') {
        if (*p == '\0' || !ok(static_cast<unsigned char>(*p)))
            return false;
        ++p;
    }
    const size_t n = static_cast<size_t>(p - start);
    if (n > partMax || (n == 0 && !allowEmpty))
        return false;
    part.assign(start, n);
    ++p;   // the "?"
    return true;
}

} // namespace

bool ParseEncodedWord(const char *p, EncodedWord &word, size_t partMax)
{
    if (!p || p[0] != '=' || p[1] != '?')
        return false;
    const char *start = p;
    p += 2;
    if (!ReadPart(p, word.charset, IsCharsetChar, false, partMax))
        return false;
    const char form = *p;
    if (form != 'B' && form != 'b' && form != 'Q' && form != 'q')
        return false;
    if (p[1] != '?')
        return false;
    p += 2;
    if (!ReadPart(p, word.text, IsPrintable, true, partMax) || *p != '=')
        return false;
    word.form = form == 'B' || form == 'b' ? 1 : 2;
    word.length = static_cast<size_t>(p + 1 - start);
    return true;
}

int EncodedWordCharsetCode(const std::string &charset)
{
    static const struct {
        const char *name;
        int code;
    } kNames[] = {
        {"ISO-2022-JP", CHARSET_JIS},          {"SHIFT_JIS", CHARSET_SJIS},
        {"EUC-JP", CHARSET_EUC},               {"ISO-2022-CN-EXT", CHARSET_ISO2022CNEXT},
        {"ISO-2022-CN", CHARSET_ISO2022CN},
    };
    for (const auto &n : kNames)
        if (strcasecmp(charset.c_str(), n.name) == 0)
            return n.code;
    return -1;
}

bool DecodeEncodedWord(const EncodedWord &word, bool rfcUnderscore, std::string &bytes)
{
    std::string text = word.text;   // from_qprint writes its NUL at text[len]
    if (rfcUnderscore && word.form == 2)
        for (char &c : text)
            if (c == '_')
                c = ' ';
    int n = 0;
    const int len = static_cast<int>(text.size());
    std::unique_ptr<char, CBufferFree> decoded(
        word.form == 1 ? from_base64(text.c_str(), len, &n) : from_qprint(text.data(), len, &n));
    if (!decoded)
        return false;
    bytes.assign(decoded.get(), strnlen(decoded.get(), static_cast<size_t>(n)));
    return true;
}
