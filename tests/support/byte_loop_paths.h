// The run-wise loops (detector, ISO-2022 reader in every host setting,
// quoted-printable decoder) against their byte-at-a-time forms on one text:
// what differs first, "" when nothing.
#pragma once

#include <cstdlib>
#include <string>

#include "mail/byte_loop_reference.h"
#include "mail/charset.h"
#include "mail/transfer_codecs.h"

// A malloc'ed answer, freed: `length` bytes, or up to its NUL.
inline std::string ByteLoopText(char *owned, int length = -1)
{
    std::string text = !owned ? "(null)" : length < 0 ? owned : std::string(owned, size_t(length));
    std::free(owned);
    return text;
}

inline std::string ByteLoopDifference(std::string text)
{
    const char *t = text.c_str();
    if (AutoDetect(t) != AutoDetectByByte(t))
        return "AutoDetect";
    const int language = _language;
    std::string difference;
    for (int setting = 0; setting < 8 && difference.empty(); ++setting) {
        _language = setting & 1 ? LANG_CHINESE : LANG_JAPANESE;
        const int to = setting & 2 ? CHARSET_SJIS : CHARSET_EUC;
        if (ByteLoopText(fromJISEx(t, to, setting & 4)) !=
            ByteLoopText(fromJISExByCharacter(t, to, setting & 4)))
            difference = "fromJISEx, setting " + std::to_string(setting);
    }
    _language = language;
    std::string copy = text;
    int length = 0;
    char *runWise = from_qprint(&text[0], int(text.size()), &length);
    const std::string decoded = ByteLoopText(runWise, length);
    char *byByte = from_qprint_by_byte(&copy[0], int(copy.size()), &length);
    if (ByteLoopText(byByte, length) != decoded && difference.empty())
        difference = "from_qprint";
    return difference;
}
