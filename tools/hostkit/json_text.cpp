// JSON string literals in valid UTF-8 (see json_text.h).
#include "tools/hostkit/json_text.h"

#include <iconv.h>
#include <strings.h>

#include <cerrno>
#include <cstdio>
#include <cstring>

namespace
{

void append_escaped_byte(std::string &out, unsigned char byte)
{
    char text[8];
    std::snprintf(text, sizeof text, "\\x%02x", byte);
    out += text;
}

// Length of the valid UTF-8 sequence at text[at], or 0.
size_t utf8_sequence(const std::string &text, size_t at)
{
    const unsigned char lead = static_cast<unsigned char>(text[at]);
    size_t length;
    unsigned min;
    if (lead < 0x80)
        return 1;
    if (lead >= 0xC2 && lead <= 0xDF) {
        length = 2;
        min = 0x80;
    } else if (lead >= 0xE0 && lead <= 0xEF) {
        length = 3;
        min = 0x800;
    } else if (lead >= 0xF0 && lead <= 0xF4) {
        length = 4;
        min = 0x10000;
    } else {
        return 0;
    }
    if (at + length > text.size())
        return 0;
    unsigned value = lead & (0x7F >> length);
    for (size_t i = 1; i < length; ++i) {
        const unsigned char next = static_cast<unsigned char>(text[at + i]);
        if ((next & 0xC0) != 0x80)
            return 0;
        value = (value << 6) | (next & 0x3F);
    }
    if (value < min || value > 0x10FFFF || (value >= 0xD800 && value <= 0xDFFF))
        return 0;
    return length;
}

// UTF-8 text with every invalid byte written as \xNN.
std::string valid_utf8(const std::string &text)
{
    std::string out;
    for (size_t at = 0; at < text.size();) {
        size_t length = utf8_sequence(text, at);
        if (length == 0) {
            append_escaped_byte(out, static_cast<unsigned char>(text[at]));
            ++at;
        } else {
            out.append(text, at, length);
            at += length;
        }
    }
    return out;
}

// Converts with iconv; a byte that does not convert is escaped and skipped.
std::string converted_to_utf8(const std::string &text, const char *code)
{
    iconv_t convert = iconv_open("UTF-8", code);
    if (convert == reinterpret_cast<iconv_t>(-1))
        return valid_utf8(text);
    std::string out;
    std::string input = text;
    char *in = &input[0];
    size_t inLeft = input.size();
    char block[256];
    while (inLeft > 0) {
        char *to = block;
        size_t toLeft = sizeof block;
        size_t done = iconv(convert, &in, &inLeft, &to, &toLeft);
        out.append(block, static_cast<size_t>(to - block));
        if (done == static_cast<size_t>(-1) && errno != E2BIG) {
            append_escaped_byte(out, static_cast<unsigned char>(*in));
            ++in;
            --inLeft;
            iconv(convert, nullptr, nullptr, nullptr, nullptr);
        }
    }
    iconv_close(convert);
    // iconv's output is UTF-8; checking again costs little and keeps the
    // promise should a converter misbehave.
    return valid_utf8(out);
}

} // namespace

const char *host_code_name(const std::string &hostLanguage)
{
    auto starts = [&hostLanguage](const char *prefix) {
        return hostLanguage.rfind(prefix, 0) == 0;
    };
    if (starts("ja"))
        return hostLanguage == "ja_JP.sjis" || hostLanguage == "ja_JP.SJIS" ? "SHIFT_JIS"
                                                                            : "EUC-JP";
    if (starts("zh_TW"))
        return hostLanguage.find("ig5") != std::string::npos ? "BIG5" : "EUC-TW";
    if (starts("zh"))
        return "GB2312";
    return "UTF-8";
}

std::string json_string(const std::string &text, const char *code)
{
    const bool utf8 = !code || strcasecmp(code, "UTF-8") == 0;
    const std::string clean = utf8 ? valid_utf8(text) : converted_to_utf8(text, code);
    std::string out = "\"";
    for (unsigned char c : clean) {
        switch (c) {
        case '"':
            out += "\\\"";
            break;
        case '\\':
            out += "\\\\";
            break;
        case '\n':
            out += "\\n";
            break;
        case '\r':
            out += "\\r";
            break;
        case '\t':
            out += "\\t";
            break;
        default:
            if (c < 0x20 || c == 0x7F) {
                char escaped[8];
                std::snprintf(escaped, sizeof escaped, "\\u%04x", c);
                out += escaped;
            } else {
                out += static_cast<char>(c);
            }
        }
    }
    return out + "\"";
}
