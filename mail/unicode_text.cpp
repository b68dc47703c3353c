// Unicode to the host's EUC form through iconv.
#include "mail/unicode_text.h"

#include <iconv.h>

#include <cerrno>

#include "mail/charset.h"

namespace {

const char *HostEucName()
{
    switch (_language) {
    case LANG_CHINESE:
        return "EUC-CN";
    case LANG_TAIWAN:
        return "EUC-TW";
    default:
        return "EUC-JP";
    }
}

// Converts with iconv; an input sequence it cannot take (or a character
// the target lacks) becomes "?" and the conversion goes on after it.
std::string Convert(const char *from, const std::string &bytes, size_t unit)
{
    iconv_t cd = iconv_open(HostEucName(), from);
    if (cd == iconv_t(-1))
        return bytes;
    std::string out;
    char buffer[1024];
    char *in = const_cast<char *>(bytes.data());
    size_t inLeft = bytes.size();
    while (inLeft > 0) {
        char *to = buffer;
        size_t toLeft = sizeof buffer;
        size_t done = iconv(cd, &in, &inLeft, &to, &toLeft);
        out.append(buffer, sizeof buffer - toLeft);
        if (done == size_t(-1) && errno != E2BIG) {
            out += '?';
            size_t skip = unit < inLeft ? unit : inLeft;
            in += skip;
            inLeft -= skip;
            iconv(cd, nullptr, nullptr, nullptr, nullptr);
        }
    }
    iconv_close(cd);
    return out;
}

} // namespace

bool IsUtf8Text(const std::string &bytes)
{
    bool wide = false;
    for (size_t i = 0; i < bytes.size();) {
        unsigned char c = static_cast<unsigned char>(bytes[i]);
        size_t length = c < 0x80 ? 1 : (c >> 5) == 0x6 ? 2 : (c >> 4) == 0xE ? 3 : (c >> 3) == 0x1E ? 4 : 0;
        if (length == 0 || i + length > bytes.size() || (length == 2 && c < 0xC2))
            return false;
        for (size_t k = 1; k < length; ++k)
            if ((static_cast<unsigned char>(bytes[i + k]) & 0xC0) != 0x80)
                return false;
        wide = wide || length > 1;
        i += length;
    }
    return wide;
}

std::string Utf8ToHostEuc(const std::string &utf8)
{
    return Convert("UTF-8", utf8, 1);
}

std::string Utf16leToHostEuc(const std::string &utf16)
{
    return Convert("UTF-16LE", utf16, 2);
}
