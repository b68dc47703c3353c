// Japanese mail bodies: random EUC-JP lines, other codes through iconv, and
// transfer encodings with line breaks where a test asks.
#pragma once

#include <cstdlib>
#include <random>
#include <stdexcept>
#include <string>
#include <vector>

#include "mail/transfer_codecs.h"
#include "support/mail_codec_fixtures.h"

inline std::string WithoutLineBreaks(const std::string &text)
{
    std::string out;
    for (char c : text)
        out += c == '\r' || c == '\n' ? "" : std::string(1, c);
    return out;
}

// Lines of EUC-JP text ending in CR LF: kana, punctuation, ASCII words and
// kanji of both JIS levels (Shift_JIS lead bytes of both ranges).
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

// The EUC-JP text in the iconv code `code`; throws when iconv cannot.
inline std::string JapaneseIn(const char *code, const std::string &euc)
{
    Oracle convert{"EUC-JP", code};
    std::string out;
    if (!convert(euc, &out))
        throw std::runtime_error(std::string("iconv cannot write ") + code);
    return out;
}

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

// Quoted-printable without soft breaks: only printable ASCII but "=" stays.
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

// Quoted-printable as mailers write it (lines of 75 with soft breaks).
inline std::string QpBody(const std::string &bytes)
{
    int length = 0;
    char *encoded = to_qprint(bytes.data(), int(bytes.size()), &length);
    return TakeBytes(encoded, length);
}

// Where a soft break may go in a quoted-printable line (not inside "=XX").
inline std::vector<size_t> QpCutPlaces(const std::string &line)
{
    std::vector<size_t> places;
    size_t end = line.find("\r\n");
    end = end == std::string::npos ? line.size() : end;
    for (size_t i = 0; i <= end; i += (i < end && line[i] == '=') ? 3 : 1)
        places.push_back(i);
    return places;
}

inline std::string JapaneseMail(const std::string &charset, const std::string &encoding,
                                const std::string &body)
{
    return "From: a@example.com\r\nTo: b@example.com\r\nSubject: test\r\nMIME-Version: 1.0\r\n"
           "Content-Type: text/plain; charset=" +
           charset + "\r\nContent-Transfer-Encoding: " + encoding + "\r\n\r\n" + body;
}

// iconv's name and the MIME charset of each Japanese code.
struct JapaneseCode {
    const char *iconvName, *charset;
};
inline const JapaneseCode kJapaneseCodes[] = {
    {"ISO-2022-JP", "iso-2022-jp"}, {"SHIFT_JIS", "shift_jis"}, {"EUC-JP", "euc-jp"}};
