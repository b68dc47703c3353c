// Conversion of notification texts to the host language's ISO-2022 form.
//
// toISO2022 turns a detected code into the host language's ISO-2022 form
// (ISO-2022-JP unless the host is Chinese; text already in an ISO-2022 form or
// holding encoded words is copied), encode_str then wraps the ISO-2022 runs of
// a header value in "=?...?B?...?=" words.
#include "notify/notify_text.h"

#include <cstdlib>
#include <memory>

#include "mail/charset.h"

namespace {

struct FreeDeleter {
    void operator()(char *p) const { std::free(p); }
};
using MallocText = std::unique_ptr<char, FreeDeleter>;

// The ISO-2022 runs of iso as encoded words; raw when that yields nothing.
std::string encoded_words(const std::string &iso, const std::string &raw)
{
    MallocText encoded(encode_str(iso.c_str()));
    return encoded ? encoded.get() : raw;
}

} // namespace

bool IsNonAscii(const char *text)
{
    return text && AutoDetect(text) != CHARSET_PLAIN;
}

std::string NotifyBodyText(const char *text)
{
    if (!text)
        return "";
    if (!IsNonAscii(text))
        return text;
    MallocText iso(toISO2022(text, AutoDetect(text), _language));
    return iso ? iso.get() : text;
}

std::string NotifyHeaderValue(const char *text)
{
    if (!IsNonAscii(text))
        return text ? text : "";
    return encoded_words(NotifyBodyText(text), text);
}

const char *NotifyBodyCharset()
{
    switch (_language) {
    case LANG_CHINESE:
        return "iso-2022-cn";
    case LANG_TAIWAN:
        return "iso-2022-cn-ext";
    default:
        return "iso-2022-jp";
    }
}
