// Character codes of mail text: detection, RFC 1342 encoded words and the
// conversions between the Japanese codes and the Chinese ISO-2022 forms.
//
// Choices where the contracts leave room (chosen to round-trip real mail):
//  - toISO2022 and fromANYEx: the third argument is the host language
//    (`_language`, LANG_*). LANG_CHINESE sends texts detected as 0, 2 or 3 to
//    toCNforPRC, LANG_TAIWAN to toCNforTWN (a Chinese host has no Shift_JIS:
//    that guess of the detector is GBK or Big5); other languages use toJIS.
//  - encode_str runs: a run is the whole word (up to a blank or one of
//    ( ) < > " ,) holding ISO-2022 text, so "Re:" goes inside the encoded
//    word as RFC 2047 wants; words joined only by blanks form one run, the
//    blanks inside. A run is cut at character boundaries into words of at
//    most 75 characters, each designated at its start and back in ASCII at
//    its end, joined by CR LF and a blank (a header fold); other text is
//    copied.
//  - decode_str runs follow RFC 2047: white space between encoded words is
//    dropped, neighbouring words of one charset are joined before conversion
//    (a character split over two words survives), "_" of the Q form is a
//    blank, a word that does not decode stays as written. Its result is
//    ISO-2022: Shift_JIS and EUC-JP words become ISO-2022-JP, words of other
//    charsets keep their bytes.
//  - Code 3 is the EUC form of the host language's set: EUC-JP (`_language`
//    0, 1), EUC-CN (2), EUC-TW (3); code 2 is Shift_JIS. The host's own set
//    goes by code arithmetic, another set's characters through glibc iconv's
//    tables ("?" when the target lacks one). As targets of fromISO2022, 1, 4,
//    5 and codes outside 1..5 (0, 6, 7) keep the ISO-2022 form: fromANY(sjis,
//    0) is ISO-2022-JP.
//  - toCNforPRC reads EUC-CN (GB 2312 by arithmetic) and GBK (other
//    characters via iconv into CNS planes 1-2); toCNforTWN reads EUC-TW when
//    the whole text is well-formed EUC-TW, else Big5 (via iconv).
//  - Writers return to ASCII before CR/LF and at the end and designate again
//    on each line (RFC 1468, RFC 1922), as iconv does; readers are lenient.
//  - fromJISEx's third argument, non-zero, widens half-width katakana.
//  - is_rfc1342 wants a non-empty charset, accepts an empty encoded text.
//
// Header values and body text are brought into one host code (`_kanji`, EUC
// by default) so that rule texts and keywords match whatever code a mail
// used:
//
//   RFC1342_DECODED d;
//   if (rfc1342_decode(value, &d, CHARSET_EUC) == 0) {
//       char *text = fromANY(d.m_pszText, _kanji);   // may be null
//       ...
//       free(text);
//       free(d.m_pszText);
//   }
//
// Every converter returns a new NUL-terminated buffer from malloc (the caller
// frees it), or null for a null input or when memory runs out. Bytes that
// cannot be converted never stop a conversion: in ISO-2022 output a character
// that has no place there becomes "?", into Shift_JIS or EUC a byte that is
// not ISO-2022 text passes through unchanged.
#pragma once

#include <cstdint>

// Code numbers: of a detected text, of `_kanji`, and of conversion targets.
enum : int {
    CHARSET_PLAIN = 0,              // plain or unknown
    CHARSET_JIS = 1,                // ISO-2022-JP
    CHARSET_SJIS = 2,               // Shift_JIS
    CHARSET_EUC = 3,                // EUC (EUC-JP unless the host is Chinese)
    CHARSET_ISO2022CN = 4,          // ISO-2022-CN
    CHARSET_ISO2022CNEXT = 5,       // ISO-2022-CN-EXT
    CHARSET_RFC1342 = 6,            // text holding encoded words (detector only)
};

// Values of `_language`.
enum : int {
    LANG_OTHER = 0,
    LANG_JAPANESE = 1,
    LANG_CHINESE = 2,               // simplified, GB 2312
    LANG_TAIWAN = 3,                // traditional, CNS 11643 / Big5
};

// The host's code (3 after start), the host language (0 after start) and the
// character set of log lines and generated paths (0 plain, 2, 3), all set
// from the "HostLanguage" setting when the plug-in starts.
extern int _kanji;
extern int _language;
extern int g_nHostCharset;

// Result of rfc1342_decode; the caller provides it, the decoder clears it.
struct RFC1342_DECODED {
    char *m_pszText;            // decoded, converted text (malloc'ed, caller frees)
    char m_szCharset[152];      // charset name of the last encoded word
    int32_t m_nCode;            // code of m_pszText, -1 when that charset was unknown
};

// The code (0 to 6) of a NUL-terminated text; null or empty is 0.
int AutoDetect(const char *text);

// Whether p starts an encoded word "=?charset?B|Q?text?=": 0 no, 1 the B
// form, 2 the Q form. charsetOut and textOut (152 bytes each) may be null.
int is_rfc1342(const char *p, char *charsetOut, char *textOut);
// As is_rfc1342; when positive, *len receives the charset name's length.
int is_rfc1342_len(const char *p, int *len);

// Decodes the encoded words of src and converts the whole to target (all
// callers pass 3). 0 on success, -1 on failure with out cleared.
int rfc1342_decode(const char *src, RFC1342_DECODED *out, int target);

// The text with its encoded words decoded, in ISO-2022 form (see above).
char *decode_str(const char *text);
// The text with its ISO-2022 runs written as B-form encoded words.
char *encode_str(const char *text);

// Any detected code to target; fromANYEx converts through toISO2022 with the
// host language arg and gives the ISO-2022 form itself for targets 1, 4, 5.
char *fromANY(const char *text, int target);
char *fromANYEx(const char *text, int target, int arg);

// From code `from` to `_kanji`, and from `_kanji` to code `to`.
char *toKNJ(const char *text, int from);
char *fromKNJ(const char *text, int to);

// To ISO-2022-JP from code `from` (2 Shift_JIS, 3 EUC-JP; others are copied).
char *toJIS(const char *text, int from);
// From ISO-2022-JP to code `to` (2 or 3; others are copied); fromJISEx with
// widenKana non-zero also turns half-width katakana into full-width ones.
char *fromJIS(const char *text, int to);
char *fromJISEx(const char *text, int to, int widenKana);
// From any ISO-2022 form (JP or CN) to code `to`.
char *fromISO2022(const char *text, int to);
// To the ISO-2022 form of host language arg from code `from`.
char *toISO2022(const char *text, int from, int arg);
// EUC-CN/GBK to ISO-2022-CN; EUC-TW or Big5 to ISO-2022-CN(-EXT).
char *toCNforPRC(const char *text);
char *toCNforTWN(const char *text);
