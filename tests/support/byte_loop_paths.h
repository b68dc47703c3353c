// Compares the run-wise loops of the converters and decoders with their
// byte-at-a-time forms on one text, for the test and the fuzz target that
// check them: the ISO-2022 reader into Shift_JIS and EUC (Japanese and
// Chinese host, katakana kept and widened), the detector, and the
// quoted-printable decoder. Returns what differs first, "" when nothing.
//
//   EXPECT_EQ(ByteLoopDifference(text), "");
#pragma once

#include <cstdlib>
#include <memory>
#include <string>

#include "mail/byte_loop_reference.h"
#include "mail/charset.h"
#include "mail/transfer_codecs.h"

// A converter's or decoder's malloc'ed answer, freed: up to its NUL, or
// `length` bytes when that is given.
inline std::string ByteLoopText(char *owned, int length = -1)
{
    std::unique_ptr<char, decltype(&std::free)> text(owned, &std::free);
    if (!text)
        return "(null)";
    return length < 0 ? std::string(text.get()) : std::string(text.get(), size_t(length));
}

inline std::string ByteLoopDifference(const std::string &text)
{
    const char *t = text.c_str();
    if (AutoDetect(t) != AutoDetectByByte(t))
        return "AutoDetect";
    const int language = _language;
    std::string difference;
    for (int host : {int(LANG_JAPANESE), int(LANG_CHINESE)}) {
        _language = host;
        for (int to : {int(CHARSET_SJIS), int(CHARSET_EUC)})
            for (int widen : {0, 1})
                if (difference.empty() && ByteLoopText(fromJISEx(t, to, widen)) !=
                                              ByteLoopText(fromJISExByCharacter(t, to, widen)))
                    difference = "fromJISEx to " + std::to_string(to) + " widen " +
                                 std::to_string(widen) + " host " + std::to_string(host);
    }
    _language = language;
    std::string a = text;
    std::string b = text;
    int length = 0;
    char *runWise = from_qprint(&a[0], int(a.size()), &length);
    const std::string decoded = ByteLoopText(runWise, length);
    char *byByte = from_qprint_by_byte(&b[0], int(b.size()), &length);
    if (difference.empty() && decoded != ByteLoopText(byByte, length))
        difference = "from_qprint";
    return difference;
}
