// Fuzzes the detector and the character-set converters. The first byte picks
// the host language, the target code and the function; the text is the rest
// up to a NUL. Converters must answer a terminated buffer, and ISO-2022
// writers must write 7-bit text whenever their input is one of theirs.
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>

#include "fuzz_buffers.h"
#include "mail/charset.h"

namespace {

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
    fuzz_check(code >= 0 && code <= 6);
    switch (selector >> 5) {
    case 0:
        fuzz_take(fromANY(t, target));
        break;
    case 1:
        fuzz_take(fromANYEx(t, target, _language));
        break;
    case 2:
        fuzz_check(SevenBit(fuzz_take(toJIS(t, CHARSET_SJIS))));
        fuzz_check(SevenBit(fuzz_take(toJIS(t, CHARSET_EUC))));
        break;
    case 3:
        fuzz_check(SevenBit(fuzz_take(toCNforPRC(t))));
        fuzz_check(SevenBit(fuzz_take(toCNforTWN(t))));
        break;
    case 4:
        fuzz_take(fromJISEx(t, target, selector & 1));
        fuzz_take(fromISO2022(t, CHARSET_SJIS));
        break;
    case 5:
        fuzz_take(toKNJ(t, target));
        fuzz_take(fromKNJ(t, target));
        break;
    default:
        fuzz_take(toISO2022(t, target, _language));
        break;
    }
    return 0;
}
