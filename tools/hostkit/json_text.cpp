#include "tools/hostkit/json_text.h"

#include <iconv.h>
#include <strings.h>

#include <cctype>
#include <cerrno>
#include <cstdio>

namespace {

// Length of the well-formed UTF-8 sequence at text[at] (non-ASCII lead), or
// 0 when the bytes there are not one.
size_t utf8_sequence_length(const std::string &text, size_t at)
{
    const auto byte = [&](size_t i) { return static_cast<unsigned char>(text[i]); };
    unsigned char lead = byte(at);
    size_t length;
    unsigned char low = 0x80, high = 0xBF;   // range of the second byte
    if (lead >= 0xC2 && lead <= 0xDF) {
        length = 2;
    } else if (lead >= 0xE0 && lead <= 0xEF) {
        length = 3;
        if (lead == 0xE0)
            low = 0xA0;   // no overlong forms
        if (lead == 0xED)
            high = 0x9F;  // no surrogates
    } else if (lead >= 0xF0 && lead <= 0xF4) {
        length = 4;
        if (lead == 0xF0)
            low = 0x90;
        if (lead == 0xF4)
            high = 0x8F;  // nothing above U+10FFFF
    } else {
        return 0;
    }
    if (at + length > text.size() || byte(at + 1) < low || byte(at + 1) > high)
        return 0;
    for (size_t i = 2; i < length; ++i) {
        if (byte(at + i) < 0x80 || byte(at + i) > 0xBF)
            return 0;
    }
    return length;
}

void append_utf8(unsigned code, std::string *out)
{
    if (code < 0x80) {
        *out += static_cast<char>(code);
    } else if (code < 0x800) {
        *out += static_cast<char>(0xC0 | (code >> 6));
        *out += static_cast<char>(0x80 | (code & 0x3F));
    } else if (code < 0x10000) {
        *out += static_cast<char>(0xE0 | (code >> 12));
        *out += static_cast<char>(0x80 | ((code >> 6) & 0x3F));
        *out += static_cast<char>(0x80 | (code & 0x3F));
    } else {
        *out += static_cast<char>(0xF0 | (code >> 18));
        *out += static_cast<char>(0x80 | ((code >> 12) & 0x3F));
        *out += static_cast<char>(0x80 | ((code >> 6) & 0x3F));
        *out += static_cast<char>(0x80 | (code & 0x3F));
    }
}

class Reader {
public:
    explicit Reader(const std::string &input) : m_in(input) {}

    bool object(JsonObject *object)
    {
        blanks();
        if (!take('{'))
            return fail("an object must start with {");
        blanks();
        if (take('}'))
            return end();
        for (;;) {
            std::string key;
            blanks();
            if (!string(&key))
                return false;
            blanks();
            if (!take(':'))
                return fail("':' expected after a key");
            blanks();
            if (!member(key, object))
                return false;
            blanks();
            if (take('}'))
                return end();
            if (!take(','))
                return fail("',' or '}' expected");
        }
    }

    std::string error;

private:
    bool member(const std::string &key, JsonObject *object)
    {
        if (object->has(key))
            return fail("key \"" + key + "\" appears twice");
        if (peek() == '"') {
            std::string value;
            if (!string(&value))
                return false;
            object->scalars[key] = value;
            return true;
        }
        if (take('[')) {
            std::vector<std::string> &items = object->lists[key];
            blanks();
            if (take(']'))
                return true;
            for (;;) {
                blanks();
                std::string item;
                if (!string(&item))
                    return false;
                items.push_back(item);
                blanks();
                if (take(']'))
                    return true;
                if (!take(','))
                    return fail("',' or ']' expected in a list");
            }
        }
        // A number, true, false or null: kept as written.
        size_t start = m_at;
        while (m_at < m_in.size() && (std::isalnum(static_cast<unsigned char>(m_in[m_at])) ||
                                      m_in[m_at] == '-' || m_in[m_at] == '+' || m_in[m_at] == '.'))
            ++m_at;
        if (start == m_at)
            return fail("a value must be a string, a list of strings, a number or a word");
        object->scalars[key] = m_in.substr(start, m_at - start);
        return true;
    }

    bool string(std::string *out)
    {
        if (!take('"'))
            return fail("'\"' expected");
        while (m_at < m_in.size()) {
            unsigned char c = static_cast<unsigned char>(m_in[m_at++]);
            if (c == '"')
                return true;
            if (c < 0x20)
                return fail("a control character in a string");
            if (c >= 0x80) {
                size_t length = utf8_sequence_length(m_in, m_at - 1);
                if (!length)
                    return fail("a string that is not UTF-8");
                out->append(m_in, m_at - 1, length);
                m_at += length - 1;
                continue;
            }
            if (c != '\\') {
                *out += static_cast<char>(c);
                continue;
            }
            if (m_at >= m_in.size())
                break;
            char escape = m_in[m_at++];
            switch (escape) {
            case '"': case '\\': case '/': *out += escape; break;
            case 'b': *out += '\b'; break;
            case 'f': *out += '\f'; break;
            case 'n': *out += '\n'; break;
            case 'r': *out += '\r'; break;
            case 't': *out += '\t'; break;
            case 'u': {
                unsigned code = 0;
                if (!hex4(&code))
                    return false;
                if (code >= 0xD800 && code <= 0xDBFF) {
                    unsigned low = 0;
                    if (!take('\\') || !take('u') || !hex4(&low) || low < 0xDC00 || low > 0xDFFF)
                        return fail("a lone surrogate in a string");
                    code = 0x10000 + ((code - 0xD800) << 10) + (low - 0xDC00);
                } else if (code >= 0xDC00 && code <= 0xDFFF) {
                    return fail("a lone surrogate in a string");
                }
                append_utf8(code, out);
                break;
            }
            default: return fail("an unknown escape in a string");
            }
        }
        return fail("a string is not closed");
    }

    bool hex4(unsigned *code)
    {
        if (m_at + 4 > m_in.size())
            return fail("\\u needs four hex digits");
        *code = 0;
        for (int i = 0; i < 4; ++i) {
            char c = m_in[m_at++];
            int digit = c >= '0' && c <= '9'   ? c - '0'
                        : c >= 'a' && c <= 'f' ? c - 'a' + 10
                        : c >= 'A' && c <= 'F' ? c - 'A' + 10
                                               : -1;
            if (digit < 0)
                return fail("\\u needs four hex digits");
            *code = *code * 16 + static_cast<unsigned>(digit);
        }
        return true;
    }

    bool end()
    {
        blanks();
        return m_at == m_in.size() || fail("text after the object");
    }
    void blanks()
    {
        while (m_at < m_in.size() &&
               (m_in[m_at] == ' ' || m_in[m_at] == '\t' || m_in[m_at] == '\n' || m_in[m_at] == '\r'))
            ++m_at;
    }
    char peek() const { return m_at < m_in.size() ? m_in[m_at] : '\0'; }
    bool take(char c)
    {
        if (peek() != c || m_at >= m_in.size())
            return false;
        ++m_at;
        return true;
    }
    bool fail(const std::string &why)
    {
        error = why + " (at byte " + std::to_string(m_at) + ")";
        return false;
    }

    const std::string &m_in;
    size_t m_at = 0;
};

} // namespace

std::string json_quote(const std::string &text)
{
    std::string out = "\"";
    out.reserve(text.size() + 2);
    for (size_t i = 0; i < text.size();) {
        unsigned char c = static_cast<unsigned char>(text[i]);
        if (c >= 0x80) {
            size_t length = utf8_sequence_length(text, i);
            if (length) {
                out.append(text, i, length);
                i += length;
                continue;
            }
        }
        ++i;
        switch (c) {
        case '"': out += "\\\""; break;
        case '\\': out += "\\\\"; break;
        case '\n': out += "\\n"; break;
        case '\r': out += "\\r"; break;
        case '\t': out += "\\t"; break;
        default:
            if (c < 0x20 || c >= 0x7F) {
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

std::string valid_utf8(const std::string &text)
{
    std::string out;
    out.reserve(text.size());
    for (size_t i = 0; i < text.size();) {
        unsigned char c = static_cast<unsigned char>(text[i]);
        size_t length = c < 0x80 ? 1 : utf8_sequence_length(text, i);
        if (length) {
            out.append(text, i, length);
            i += length;
        } else {
            out += "\xEF\xBF\xBD";
            ++i;
        }
    }
    return out;
}

std::string json_quote_list(const std::vector<std::string> &items)
{
    std::string out = "[";
    for (size_t i = 0; i < items.size(); ++i)
        out += (i ? ", " : "") + json_quote(items[i]);
    return out + "]";
}

std::string JsonObject::text(const std::string &key) const
{
    auto found = scalars.find(key);
    return found == scalars.end() ? "" : found->second;
}

std::vector<std::string> JsonObject::list(const std::string &key) const
{
    auto found = lists.find(key);
    return found == lists.end() ? std::vector<std::string>{} : found->second;
}

bool JsonObject::has(const std::string &key) const
{
    return scalars.count(key) || lists.count(key);
}

bool parse_json_object(const std::string &input, JsonObject *object, std::string *error)
{
    *object = JsonObject{};
    if (input.size() > kJsonMaxInput) {
        *error = "longer than " + std::to_string(kJsonMaxInput) + " bytes";
        return false;
    }
    Reader reader(input);
    if (reader.object(object))
        return true;
    *error = reader.error;
    *object = JsonObject{};
    return false;
}

namespace {

// The text converted with iconv; a byte that does not convert is kept as it
// is (json_quote escapes it) and the conversion goes on after it.
std::string converted_to_utf8(const std::string &text, const char *code)
{
    iconv_t convert = iconv_open("UTF-8", code);
    if (convert == reinterpret_cast<iconv_t>(-1))
        return text;
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
            out += *in++;
            --inLeft;
            iconv(convert, nullptr, nullptr, nullptr, nullptr);
        }
    }
    iconv_close(convert);
    return out;
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
    return json_quote(utf8 ? text : converted_to_utf8(text, code));
}
