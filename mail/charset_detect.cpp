// AutoDetect: guesses the code of a text.
//
// A first pass looks for ISO-2022 escapes, shifts and encoded words and
// counts EUC characters; a second pass counts Shift_JIS characters; when both
// 8-bit codes fail a score decides. Both passes step over runs of bytes they
// do not act on eight at a time (AutoDetectByByte looks at every byte). The
// rules and the scoring are the system's own and kept exactly, down to the
// two score tests at the end.
#include <cstdint>
#include <cstring>
#include <strings.h>

#include "mail/byte_loop_reference.h"
#include "mail/byte_words.h"
#include "mail/charset.h"

namespace {

constexpr uint8_t kEsc = 0x1B;

const char *const kEncodedWordPrefixes[] = {
    "=?ISO-2022-JP?B?",     "=?ISO-2022-JP?Q?",     "=?SHIFT_JIS?B?",
    "=?SHIFT_JIS?Q?",       "=?EUC-JP?B?",          "=?EUC-JP?Q?",
    "=?ISO-2022-CN?B?",     "=?ISO-2022-CN?Q?",     "=?ISO-2022-CN-EXT?B?",
    "=?ISO-2022-CN-EXT?Q?",
};

bool StartsEncodedWord(const uint8_t *p)
{
    for (const char *prefix : kEncodedWordPrefixes)
        if (strncasecmp(reinterpret_cast<const char *>(p), prefix, std::strlen(prefix)) == 0)
            return true;
    return false;
}

// The mode an escape sequence at p (after ESC) sets, or the mode unchanged:
// ESC $ B, ( B, ( J and ( I are Japanese; ESC $ ) A, $ ) G and $ * H
// designate a Chinese set, ESC $ + I to M an extended one. The text ends
// with a NUL, so a byte is read only after the one before matched.
int EscapeMode(const uint8_t *p, int mode)
{
    if ((p[0] == '$' && p[1] == 'B') ||
        (p[0] == '(' && (p[1] == 'B' || p[1] == 'J' || p[1] == 'I')))
        return CHARSET_JIS;
    if (p[0] != '$')
        return mode;
    if ((p[1] == ')' && (p[2] == 'A' || p[2] == 'G')) || (p[1] == '*' && p[2] == 'H'))
        return mode == CHARSET_ISO2022CNEXT ? mode : CHARSET_ISO2022CN;
    if (p[1] == '+' && p[2] >= 'I' && p[2] <= 'M')
        return CHARSET_ISO2022CNEXT;
    return mode;
}

struct EucPass {
    int mode = CHARSET_PLAIN;
    int characters = 0;
    bool invalid = false;
    bool cut = false;
    bool eightBit = false;   // a byte of 128 or more was seen
};

bool IsEucByte(uint8_t b) { return b >= 161 && b <= 254; }

// Bytes the first pass acts on: ESC, SO, SI, "=" and every 8-bit byte;
// the others it steps over.
struct NotableBytes {
    bool notable[256] = {};
    NotableBytes()
    {
        for (int b = 128; b < 256; ++b)
            notable[b] = true;
        notable[kEsc] = notable[14] = notable[15] = notable[uint8_t('=')] = true;
    }
};
const NotableBytes kNotable;

// The bytes the first pass may act on among the eight at p (the test is
// wider: any byte from SO to ESC).
uint64_t NotableMask(const uint8_t *p)
{
    const uint64_t w = LoadWord(p);
    return HighByteMask(w) | ByteInMask(w, 14, kEsc) | ByteMask(w, uint8_t('='));
}

// With `words`, runs of bytes it does not act on are stepped over eight at
// a time, and up to the first byte it may act on.
EucPass FirstPass(const uint8_t *text, size_t n, bool words)
{
    EucPass r;
    for (size_t i = 0; i < n;) {
        if (words) {
            while (n - i >= 8) {
                const uint64_t mask = NotableMask(text + i);
                if (mask) {
                    i += FirstFlagged(mask);
                    break;
                }
                i += 8;
            }
        }
        if (i >= n)
            break;
        const uint8_t b = text[i];
        if (!kNotable.notable[b]) {
            ++i;
            continue;
        }
        if (b == kEsc) {
            r.mode = EscapeMode(text + i + 1, r.mode);
        } else if (b == 14 || b == 15) {
            if (r.mode != CHARSET_ISO2022CNEXT)
                r.mode = CHARSET_ISO2022CN;
        } else if (b == '=' && text[i + 1] == '?' && r.mode == CHARSET_PLAIN &&
                   StartsEncodedWord(text + i)) {
            r.mode = CHARSET_RFC1342;
        }
        if (b < 128) {
            ++i;
            continue;
        }
        r.eightBit = true;
        if (IsEucByte(b) && IsEucByte(text[i + 1])) {
            ++r.characters;
            i += 2;
        } else if (b == 142 && text[i + 1] >= 161 && text[i + 1] <= 223) {
            ++r.characters;
            i += 2;
        } else if (b == 143) {
            ++i;
        } else {
            r.invalid = true;
            r.cut = i == n - 1 && (IsEucByte(b) || b == 142);
            break;
        }
    }
    return r;
}

struct SjisPass {
    int doubles = 0;
    int halves = 0;
    bool invalid = false;
    bool cut = false;
};

bool IsLead(uint8_t b) { return (b >= 129 && b <= 159) || (b >= 224 && b <= 252); }
bool IsTrail(uint8_t b) { return (b >= 64 && b <= 126) || (b >= 128 && b <= 252); }

SjisPass SecondPass(const uint8_t *text, size_t n, bool words)
{
    SjisPass r;
    for (size_t i = 0; i < n;) {
        if (words)
            while (n - i >= 8 && !HasHighByte(LoadWord(text + i)))
                i += 8;
        if (i >= n)
            break;
        const uint8_t b = text[i];
        if (b < 128) {
            ++i;
        } else if (IsLead(b) && IsTrail(text[i + 1])) {
            ++r.doubles;
            i += 2;
        } else if (b >= 161 && b <= 223) {
            ++r.halves;
            ++i;
        } else {
            r.invalid = true;
            r.cut = i == n - 1 && IsLead(b);
            break;
        }
    }
    return r;
}

int Detect(const char *text, bool words)
{
    if (!text || !*text)
        return CHARSET_PLAIN;
    const auto *p = reinterpret_cast<const uint8_t *>(text);
    const size_t n = std::strlen(text);
    const EucPass euc = FirstPass(p, n, words);
    if (euc.characters > 0 && (!euc.invalid || euc.cut))
        return CHARSET_EUC;
    if (euc.mode == CHARSET_ISO2022CN || euc.mode == CHARSET_ISO2022CNEXT)
        return euc.mode;
    if (!euc.eightBit)   // the second pass would count nothing
        return euc.mode;
    const SjisPass sjis = SecondPass(p, n, words);
    if (sjis.doubles + sjis.halves > 0 && (!sjis.invalid || sjis.cut))
        return CHARSET_SJIS;
    if (euc.characters == 0 && sjis.doubles == 0 && sjis.halves == 0)
        return euc.mode;
    const int eucScore = 2 * euc.characters - (euc.invalid ? 20 : 0);
    const int sjisScore = 2 * sjis.doubles + sjis.halves - (sjis.invalid ? 20 : 0);
    if (eucScore >= sjisScore && eucScore >= 0 && euc.invalid)
        return CHARSET_EUC;
    if (sjisScore >= eucScore && sjisScore >= 0 && sjis.invalid)
        return CHARSET_SJIS;
    return CHARSET_PLAIN;
}

} // namespace

int AutoDetect(const char *text) { return Detect(text, true); }

int AutoDetectByByte(const char *text) { return Detect(text, false); }
