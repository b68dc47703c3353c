// Japanese mail bodies for the tests of body decoding: random EUC-JP lines
// (the walk's own code), turned into other codes by glibc's iconv, and
// transfer encodings that put a line break wherever a test asks.
//
//   std::string sjis = JapaneseIn("SHIFT_JIS", RandomJapaneseText(random, 12));
//   std::string mail = JapaneseMail("shift_jis", "base64", Base64Body(sjis));
#pragma once

#include <algorithm>
#include <cstdlib>
#include <random>
#include <stdexcept>
#include <string>
#include <vector>

#include "mail/transfer_codecs.h"
#include "support/mail_codec_fixtures.h"

// The text with every CR and LF removed.
inline std::string WithoutLineBreaks(std::string text)
{
    text.erase(
        std::remove_if(text.begin(), text.end(), [](char c) { return c == '\r' || c == '\n'; }),
        text.end());
    return text;
}

// Lines of EUC-JP text, each ending in CR LF and holding hiragana, with
// katakana, punctuation, ASCII words and kanji of both JIS levels (so that
// Shift_JIS lead bytes of both ranges, 0x81-0x9F and 0xE0-0xEF, occur).
inline std::string RandomJapaneseText(std::mt19937 &random, int lines)
{
    auto pick = [&random](int low, int high) {
        return std::uniform_int_distribution<int>(low, high)(random);
    };
    auto run = [&](int row, int lastCell, int longest) {
        std::string chars;
        for (int n = pick(1, longest); n > 0; --n)
            chars += {char(0xA0 + row), char(0xA0 + pick(1, lastCell))};
        return chars;
    };
    std::string text;
    for (int line = 0; line < lines; ++line) {
        text += run(4, 83, 5); // hiragana
        for (int n = pick(2, 16); n > 0; --n) {
            switch (pick(0, 7)) {
            case 0:
                text += run(5, 86, 4); // katakana
                break;
            case 1:
                text += {char(0xA1), char(0xA0 + pick(2, 3))}; // 、 。
                break;
            case 2:
                for (int k = pick(1, 4); k > 0; --k) { // level 1 (rows 16-46) and 2 (48-83)
                    const int row = pick(16, 82);
                    text += run(row + (row >= 47 ? 1 : 0), 94, 1);
                }
                break;
            default:
                for (int w = pick(1, 12); w > 0; --w) {
                    for (int k = pick(2, 8); k > 0; --k)
                        text += char('a' + pick(0, 25));
                    text += ' ';
                }
            }
        }
        text += "\r\n";
    }
    return text;
}

// The EUC-JP text in the iconv code `code` ("ISO-2022-JP", "SHIFT_JIS",
// "EUC-JP"); throws when iconv cannot convert it.
inline std::string JapaneseIn(const char *code, const std::string &euc)
{
    Oracle convert{"EUC-JP", code};
    std::string out;
    if (!convert(euc, &out))
        throw std::runtime_error(std::string("iconv cannot write ") + code);
    return out;
}

// Base64 of bytes on one line (no line break at all).
inline std::string Base64Line(const std::string &bytes)
{
    int length = 0;
    char *encoded = to_base64(bytes.data(), int(bytes.size()), &length);
    return WithoutLineBreaks(TakeBytes(encoded, length));
}

// Base64 as mailers write it: lines of 76 characters ending in CR LF.
inline std::string Base64Body(const std::string &bytes)
{
    std::string line = Base64Line(bytes);
    std::string body;
    for (size_t at = 0; at < line.size(); at += 76)
        body += line.substr(at, 76) + "\r\n";
    return body;
}

// Quoted-printable of bytes as one line per CR LF line of the text, without
// soft breaks; printable ASCII but "=" stays, everything else is "=XX".
inline std::string QpLines(const std::string &bytes)
{
    std::string out;
    for (size_t i = 0; i < bytes.size(); ++i) {
        unsigned char c = static_cast<unsigned char>(bytes[i]);
        if (c == '\r' && i + 1 < bytes.size() && bytes[i + 1] == '\n') {
            out += "\r\n";
            ++i;
        } else if (c > ' ' && c < 0x7F && c != '=') {
            out += char(c);
        } else {
            out += {'=', "0123456789ABCDEF"[c >> 4], "0123456789ABCDEF"[c & 15]};
        }
    }
    return out;
}

// Quoted-printable as mailers write it: soft breaks keep lines at 75
// characters.
inline std::string QpBody(const std::string &bytes)
{
    int length = 0;
    char *encoded = to_qprint(bytes.data(), int(bytes.size()), &length);
    return TakeBytes(encoded, length);
}

// The places in a quoted-printable line where a soft break may go (not
// inside an "=XX"), from 0 to the length before its CR LF.
inline std::vector<size_t> QpCutPlaces(const std::string &line)
{
    std::vector<size_t> places;
    size_t end = line.find("\r\n");
    end = end == std::string::npos ? line.size() : end;
    for (size_t i = 0; i <= end; i += (i < end && line[i] == '=') ? 3 : 1)
        places.push_back(i);
    return places;
}

// A single-part text mail with that charset and transfer encoding.
inline std::string JapaneseMail(const std::string &charset, const std::string &encoding,
                                const std::string &body)
{
    return "From: a@example.com\r\nTo: b@example.com\r\nSubject: test\r\nMIME-Version: 1.0\r\n"
           "Content-Type: text/plain; charset=" +
           charset + "\r\nContent-Transfer-Encoding: " + encoding + "\r\n\r\n" + body;
}

// The three codes of Japanese mail: iconv's name and the MIME charset.
struct JapaneseCode {
    const char *iconvName, *charset;
};
inline const JapaneseCode kJapaneseCodes[] = {
    {"ISO-2022-JP", "iso-2022-jp"}, {"SHIFT_JIS", "shift_jis"}, {"EUC-JP", "euc-jp"}};
