// Fuzzes the encoded-word code: is_rfc1342, rfc1342_decode, decode_str and
// encode_str. Japanese text written as encoded words by encode_str must read
// back the same through decode_str.
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>

#include "fuzz_buffers.h"
#include "mail/charset.h"

namespace {

// encode_str then decode_str gives the same EUC-JP text, for a Japanese
// text without controls (an ESC could start a designation) or "=" (which
// could read as encoded words).
void RoundTrip(const std::string &euc)
{
    for (unsigned char c : euc)
        if (c < 0x20 || c == 0x7F)
            return;
    const std::string jis = fuzz_take(toJIS(euc.c_str(), CHARSET_EUC));
    if (jis.find('=') != std::string::npos)
        return;
    const std::string header = fuzz_take(encode_str(jis.c_str()));
    for (size_t at = header.find("=?"); at != std::string::npos; at = header.find("=?", at)) {
        const size_t end = header.find("?=", at + 16);   // after "=?ISO-2022-JP?B?"
        fuzz_check(end != std::string::npos && end + 2 - at <= 75);
        at = end + 2;
    }
    const std::string back = fuzz_take(decode_str(header.c_str()));
    fuzz_check(fuzz_take(fromJIS(back.c_str(), CHARSET_EUC)) == fuzz_take(fromJIS(jis.c_str(), CHARSET_EUC)));
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *bytes, size_t size)
{
    const std::string text(reinterpret_cast<const char *>(bytes), size);
    const char *t = text.c_str();
    char charset[152];
    char encoded[152];
    for (const char *p = std::strchr(t, '='); p; p = std::strchr(p + 1, '=')) {
        const int form = is_rfc1342(p, charset, encoded);
        fuzz_check(form >= 0 && form <= 2);
        int len = -1;
        fuzz_check(is_rfc1342_len(p, &len) == form);
        if (form)
            fuzz_check(len == static_cast<int>(std::strlen(charset)));
    }
    RFC1342_DECODED d;
    if (rfc1342_decode(t, &d, CHARSET_EUC) == 0) {
        fuzz_check(d.m_pszText != nullptr);
        fuzz_take(d.m_pszText);
    } else {
        fuzz_check(d.m_pszText == nullptr);
    }
    fuzz_take(decode_str(t));
    fuzz_take(encode_str(t));
    RoundTrip(text.substr(0, text.find('\0')));
    return 0;
}
