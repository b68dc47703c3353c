// The parts of one RFC 1342 encoded word, "=?charset?B?text?=" or the Q form,
// and the code numbers of the charset names this system converts.
//
//   EncodedWord w;
//   if (ParseEncodedWord(p, w)) { ... p += w.length; }
#pragma once

#include <cstddef>
#include <string>

struct EncodedWord {
    int form = 0;            // 1 B, 2 Q
    std::string charset;
    std::string text;        // the encoded text (at most 151 characters unless asked)
    size_t length = 0;       // of the whole word
};

constexpr size_t kEncodedWordPartMax = 151;

// Whether p starts an encoded word (see is_rfc1342 for the rules); partMax
// is the longest charset and encoded text accepted.
bool ParseEncodedWord(const char *p, EncodedWord &word, size_t partMax = kEncodedWordPartMax);
// "ISO-2022-JP" 1, "SHIFT_JIS" 2, "EUC-JP" 3, "ISO-2022-CN" 4,
// "ISO-2022-CN-EXT" 5 in any case; -1 for any other name.
int EncodedWordCharsetCode(const std::string &charset);
// The decoded bytes of the word's text (up to a NUL byte, as the text is
// used as a C string); false when the text does not decode. rfcUnderscore
// reads "_" of the Q form as a blank.
bool DecodeEncodedWord(const EncodedWord &word, bool rfcUnderscore, std::string &bytes);
// Decoded bytes of charset code `code` (-1 unknown) converted to `target` as
// an encoded word's are: a known charset through fromANY, others as they are.
std::string ConvertWordBytes(const std::string &bytes, int code, int target);

struct RFC1342_DECODED;
// rfc1342_decode accepting encoded words whose parts are up to partMax long.
int DecodeEncodedWords(const char *src, RFC1342_DECODED *out, int target, size_t partMax);
