// Name texts of the TNEF decoder.
#include "mail/tnef_text.h"

#include <cstring>

namespace {

void AppendUtf8(std::string &out, unsigned long code)
{
    if (code < 0x80) {
        out += char(code);
    } else if (code < 0x800) {
        out += char(0xC0 | (code >> 6));
        out += char(0x80 | (code & 0x3F));
    } else if (code < 0x10000) {
        out += char(0xE0 | (code >> 12));
        out += char(0x80 | ((code >> 6) & 0x3F));
        out += char(0x80 | (code & 0x3F));
    } else {
        out += char(0xF0 | (code >> 18));
        out += char(0x80 | ((code >> 12) & 0x3F));
        out += char(0x80 | ((code >> 6) & 0x3F));
        out += char(0x80 | (code & 0x3F));
    }
}

bool IsContinuation(unsigned char c)
{
    return (c & 0xC0) == 0x80;
}

} // namespace

std::string TnefString8(const std::string &bytes)
{
    return bytes.substr(0, bytes.find('\0'));
}

std::string TnefUnicodeToUtf8(const std::string &bytes)
{
    std::string out;
    size_t units = bytes.size() / 2;
    auto unit = [&bytes](size_t i) {
        return static_cast<unsigned>(static_cast<unsigned char>(bytes[2 * i]) |
                                     static_cast<unsigned char>(bytes[2 * i + 1]) << 8);
    };
    for (size_t i = 0; i < units; ++i) {
        unsigned long code = unit(i);
        if (code == 0)
            break;
        if (code >= 0xD800 && code <= 0xDBFF && i + 1 < units && unit(i + 1) >= 0xDC00 &&
            unit(i + 1) <= 0xDFFF) {
            code = 0x10000 + ((code - 0xD800) << 10) + (unit(i + 1) - 0xDC00);
            ++i;
        } else if (code >= 0xD800 && code <= 0xDFFF) {
            code = 0xFFFD;
        }
        AppendUtf8(out, code);
    }
    return out;
}

void TnefCopyName(char *out, size_t size, const std::string &text)
{
    if (size == 0)
        return;
    size_t length = text.size() < size - 1 ? text.size() : size - 1;
    // A continuation byte just past the cut: back off to its lead byte.
    while (length > 0 && length < text.size() &&
           IsContinuation(static_cast<unsigned char>(text[length])))
        --length;
    std::memcpy(out, text.data(), length);
    out[length] = '\0';
}
