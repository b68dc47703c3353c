// Fuzzes the detector and the character-set converters. The first byte picks
// the host language, the target code and the function; the text is the rest
// up to a NUL. Converters must answer a terminated buffer, and ISO-2022
// writers must write 7-bit text whenever their input is one of theirs.
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>

#include "mail/charset.h"

namespace {

void Check(bool ok)
{
    if (!ok)
        std::abort();
}

std::string Take(char *p)
{
    Check(p != nullptr);
    std::string s = p;
    std::free(p);
    return s;
}

bool SevenBit(const std::string &s)
{
    for (unsigned char c : s)
        if (c >= 0x80)
            return false;
    return true;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *bytes, size_t size)
{
    if (size == 0)
        return 0;
    const uint8_t selector = bytes[0];
    const std::string text(reinterpret_cast<const char *>(bytes + 1), size - 1);
    const char *t = text.c_str();
    _language = selector & 3;
    const int target = (selector >> 2) & 7;   // 0 to 7: 6 and 7 are not codes
    const int code = AutoDetect(t);
    Check(code >= 0 && code <= 6);
    switch (selector >> 5) {
    case 0:
        Take(fromANY(t, target));
        break;
    case 1:
        Take(fromANYEx(t, target, _language));
        break;
    case 2:
        Check(SevenBit(Take(toJIS(t, CHARSET_SJIS))));
        Check(SevenBit(Take(toJIS(t, CHARSET_EUC))));
        break;
    case 3:
        Check(SevenBit(Take(toCNforPRC(t))));
        Check(SevenBit(Take(toCNforTWN(t))));
        break;
    case 4:
        Take(fromJISEx(t, target, selector & 1));
        Take(fromISO2022(t, CHARSET_SJIS));
        break;
    case 5:
        Take(toKNJ(t, target));
        Take(fromKNJ(t, target));
        break;
    default:
        Take(toISO2022(t, target, _language));
        break;
    }
    return 0;
}
