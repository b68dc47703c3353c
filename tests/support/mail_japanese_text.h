// Japanese mail bodies for the tests of body decoding: random lines of
// kana, kanji and ASCII words, made as EUC-JP (the walk's own code, so the
// expected text needs no conversion) and turned into ISO-2022-JP or
// Shift_JIS by glibc's iconv; transfer encodings that put a line break
// wherever a test asks.
//
//   std::mt19937 random(7);
//   std::string euc = RandomJapaneseText(random, 12);          // CR LF lines
//   std::string sjis = JapaneseIn("SHIFT_JIS", euc);
//   std::string body = Base64Body(sjis);                       // 76-column lines
//   std::string mail = JapaneseMail("shift_jis", "base64", body);
#pragma once

#include <random>
#include <string>
#include <vector>

// Lines of EUC-JP text, each ending in CR LF; every line holds hiragana.
// Kanji come from both JIS levels, so that Shift_JIS lead bytes of both
// ranges (0x81-0x9F, 0xE0-0xEF) occur.
std::string RandomJapaneseText(std::mt19937 &random, int lines);

// The EUC-JP text in the iconv code `code` ("ISO-2022-JP", "SHIFT_JIS",
// "EUC-JP"); throws when iconv cannot convert it.
std::string JapaneseIn(const char *code, const std::string &euc);

// Base64 of bytes on one line (no line break at all).
std::string Base64Line(const std::string &bytes);
// Base64 as mailers write it: lines of 76 characters ending in CR LF.
std::string Base64Body(const std::string &bytes);
// Quoted-printable of bytes as one line per CR LF line of the text, without
// soft breaks; printable ASCII but "=" stays, everything else is "=XX".
std::string QpLines(const std::string &bytes);
// Quoted-printable as mailers write it: soft breaks keep lines at 75
// characters.
std::string QpBody(const std::string &bytes);
// The places in a quoted-printable line where a soft break may go (not
// inside an "=XX"), from 0 to the length before its CR LF.
std::vector<size_t> QpCutPlaces(const std::string &line);

// A single-part text mail with that charset and transfer encoding.
std::string JapaneseMail(const std::string &charset, const std::string &encoding,
                         const std::string &body);

// The text with every CR and LF removed.
std::string WithoutLineBreaks(const std::string &text);
