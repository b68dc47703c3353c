// Random Japanese bodies and their transfer encodings (see the header).
#include "support/mail_japanese_text.h"

#include <cstdlib>
#include <stdexcept>

#include "mail/transfer_codecs.h"
#include "support/mail_codec_fixtures.h"

namespace {

// One EUC-JP character of JIS X 0208 row `row`, cell `cell`.
std::string EucChar(int row, int cell)
{
    return {char(0xA0 + row), char(0xA0 + cell)};
}

std::string Run(std::mt19937 &random, int row, int lastCell, int longest)
{
    std::string run;
    for (int n = std::uniform_int_distribution<int>(1, longest)(random); n > 0; --n)
        run += EucChar(row, std::uniform_int_distribution<int>(1, lastCell)(random));
    return run;
}

std::string Kanji(std::mt19937 &random)
{
    std::string run;
    for (int n = std::uniform_int_distribution<int>(1, 4)(random); n > 0; --n) {
        // Level 1 (rows 16-46) and level 2 (rows 48-83) are fully assigned.
        int row = std::uniform_int_distribution<int>(16, 82)(random);
        row += row >= 47 ? 1 : 0;
        run += EucChar(row, std::uniform_int_distribution<int>(1, 94)(random));
    }
    return run;
}

// A run of 1 to 12 ASCII words, each followed by a blank.
std::string AsciiWords(std::mt19937 &random)
{
    std::string words;
    for (int n = std::uniform_int_distribution<int>(1, 12)(random); n > 0; --n) {
        for (int k = std::uniform_int_distribution<int>(2, 8)(random); k > 0; --k)
            words += char('a' + std::uniform_int_distribution<int>(0, 25)(random));
        words += ' ';
    }
    return words;
}

const char kHex[] = "0123456789ABCDEF";

} // namespace

std::string RandomJapaneseText(std::mt19937 &random, int lines)
{
    std::string text;
    for (int line = 0; line < lines; ++line) {
        text += Run(random, 4, 83, 5);   // hiragana
        for (int n = std::uniform_int_distribution<int>(2, 16)(random); n > 0; --n) {
            switch (std::uniform_int_distribution<int>(0, 7)(random)) {
            case 0:
                text += Run(random, 4, 83, 5);
                break;
            case 1:
                text += Run(random, 5, 86, 4);   // katakana
                break;
            case 2:
                text += Kanji(random);
                break;
            case 3:
                text += EucChar(1, std::uniform_int_distribution<int>(2, 3)(random));   // 、 。
                break;
            default:
                text += AsciiWords(random);
                break;
            }
        }
        text += "\r\n";
    }
    return text;
}

std::string JapaneseIn(const char *code, const std::string &euc)
{
    Oracle convert("EUC-JP", code);
    std::string out;
    if (!convert(euc, &out))
        throw std::runtime_error(std::string("iconv cannot write ") + code);
    return out;
}

std::string Base64Line(const std::string &bytes)
{
    int length = 0;
    char *encoded = to_base64(bytes.data(), int(bytes.size()), &length);
    return WithoutLineBreaks(TakeBytes(encoded, length));
}

std::string Base64Body(const std::string &bytes)
{
    std::string line = Base64Line(bytes);
    std::string body;
    for (size_t at = 0; at < line.size(); at += 76)
        body += line.substr(at, 76) + "\r\n";
    return body;
}

std::string QpLines(const std::string &bytes)
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
            out += {'=', kHex[c >> 4], kHex[c & 15]};
        }
    }
    return out;
}

std::string QpBody(const std::string &bytes)
{
    int length = 0;
    char *encoded = to_qprint(bytes.data(), int(bytes.size()), &length);
    return TakeBytes(encoded, length);
}

std::vector<size_t> QpCutPlaces(const std::string &line)
{
    std::vector<size_t> places;
    size_t end = line.find("\r\n");
    end = end == std::string::npos ? line.size() : end;
    for (size_t i = 0; i <= end; i += (i < end && line[i] == '=') ? 3 : 1)
        places.push_back(i);
    return places;
}

std::string JapaneseMail(const std::string &charset, const std::string &encoding,
                         const std::string &body)
{
    return "From: a@example.com\r\nTo: b@example.com\r\nSubject: test\r\nMIME-Version: 1.0\r\n"
           "Content-Type: text/plain; charset=" +
           charset + "\r\nContent-Transfer-Encoding: " + encoding + "\r\n\r\n" + body;
}

std::string WithoutLineBreaks(const std::string &text)
{
    std::string out;
    for (char c : text)
        if (c != '\r' && c != '\n')
            out += c;
    return out;
}
