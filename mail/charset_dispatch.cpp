// The dispatchers: fromANY / fromANYEx (any detected code to a target),
// toKNJ / fromKNJ (to and from the host code `_kanji`) and toISO2022 (to the
// ISO-2022 form of a host language). They only choose the converters.
#include <memory>

#include "mail/c_buffer.h"
#include "mail/charset.h"

namespace {

using Buffer = std::unique_ptr<char, CBufferFree>;

bool IsIso2022Code(int code)
{
    return code == CHARSET_JIS || code == CHARSET_ISO2022CN || code == CHARSET_ISO2022CNEXT;
}

// fromISO2022(text, target) of an intermediate buffer, which is freed; the
// buffer itself when the target is an ISO-2022 code.
char *FinishFromIso2022(char *iso, int target)
{
    if (!iso || IsIso2022Code(target))
        return iso;
    Buffer owned(iso);
    return fromISO2022(owned.get(), target);
}

} // namespace

char *fromANY(const char *text, int target)
{
    if (!text)
        return nullptr;
    if (!*text)
        return toJIS(text, target);
    const int code = AutoDetect(text);
    if (code == target)
        return MallocCopy(text);
    if (code == CHARSET_RFC1342)
        return FinishFromIso2022(decode_str(text), target);
    if (IsIso2022Code(code))
        return fromISO2022(text, target);
    char *jis = toJIS(text, code);
    if (target == CHARSET_JIS)
        return jis;
    Buffer owned(jis);
    return jis ? fromISO2022(jis, target) : nullptr;
}

char *fromANYEx(const char *text, int target, int arg)
{
    if (!text)
        return nullptr;
    if (!*text)
        return toISO2022(text, target, arg);
    const int code = AutoDetect(text);
    if (code == target)
        return MallocCopy(text);
    if (code == CHARSET_RFC1342)
        return FinishFromIso2022(decode_str(text), target);
    if (IsIso2022Code(code))
        return fromISO2022(text, target);
    return FinishFromIso2022(toISO2022(text, code, arg), target);
}

namespace {

// From one code to another by way of ISO-2022-JP.
char *ConvertViaJis(const char *text, int from, int to)
{
    if (!text)
        return nullptr;
    if (!*text)
        return toJIS(text, from);
    if (from == to)
        return MallocCopy(text);
    if (from == CHARSET_JIS)
        return fromJIS(text, to);
    Buffer jis(toJIS(text, from));
    return jis ? fromJIS(jis.get(), to) : nullptr;
}

} // namespace

char *toKNJ(const char *text, int from)
{
    return ConvertViaJis(text, from, _kanji);
}

char *fromKNJ(const char *text, int to)
{
    return ConvertViaJis(text, _kanji, to);
}

char *toISO2022(const char *text, int from, int arg)
{
    if (!text)
        return nullptr;
    if (IsIso2022Code(from))
        return MallocCopy(text);
    if (from == CHARSET_RFC1342)
        return decode_str(text);
    if (arg == LANG_CHINESE)
        return toCNforPRC(text);
    if (arg == LANG_TAIWAN)
        return toCNforTWN(text);
    return toJIS(text, from);
}
