// encode_str: ISO-2022 text made fit for a header, its runs of Japanese or
// Chinese text written as B-form encoded words.
//
// A run is the whole word (up to a blank or one of ( ) < > " ,) holding
// ISO-2022 characters, and words joined only by blanks form one run. Each run
// is cut at character boundaries into encoded words of at most 75 characters,
// each a complete ISO-2022 text of its own (designated at its start, back in
// ASCII at its end), joined by a header fold (CR LF and a blank).
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "mail/c_buffer.h"
#include "mail/charset.h"
#include "mail/iso2022_reader.h"
#include "mail/iso2022_writer.h"
#include "mail/transfer_codecs.h"

namespace {

constexpr size_t kMaxWordLength = 75;

bool IsSpecial(const MbChar &c) { return c.set != MbSet::Ascii && c.set != MbSet::Raw; }

bool IsBlank(const MbChar &c) { return c.set == MbSet::Ascii && (c.b1 == ' ' || c.b1 == '\t'); }

bool IsDelimiter(const MbChar &c)
{
    return c.set == MbSet::Ascii && (c.b1 == '\r' || c.b1 == '\n' || IsBlank(c) ||
                                     std::strchr("()<>\",", c.b1) != nullptr);
}

struct Family {
    const char *prefix;
    Iso2022Writer::Family writer;
};

Family RunFamily(const std::vector<MbChar> &chars, size_t begin, size_t end)
{
    bool chinese = false;
    bool ext = false;
    for (size_t i = begin; i < end; ++i) {
        if (IsJapaneseSet(chars[i].set))
            return Family{"=?ISO-2022-JP?B?", Iso2022Writer::Japanese};
        chinese = chinese || IsChineseSet(chars[i].set);
        ext = ext || (IsCnsPlane(chars[i].set) && CnsPlane(chars[i].set) >= 3);
    }
    if (ext)
        return Family{"=?ISO-2022-CN-EXT?B?", Iso2022Writer::Chinese};
    if (chinese)
        return Family{"=?ISO-2022-CN?B?", Iso2022Writer::Chinese};
    return Family{"=?ISO-2022-JP?B?", Iso2022Writer::Japanese};
}

// Appends one encoded word for the ISO-2022 bytes; false when encoding fails.
bool AppendWord(const Family &family, const std::string &bytes, std::string &out)
{
    int n = 0;
    std::unique_ptr<char, CBufferFree> b64(
        to_base64(bytes.data(), static_cast<int>(bytes.size()), &n));
    if (!b64)
        return false;
    out += family.prefix;
    for (int i = 0; i < n; ++i)
        if (b64.get()[i] != '\r' && b64.get()[i] != '\n')
            out += b64.get()[i];
    out += "?=";
    return true;
}

// Writes chars[begin, end) as encoded words of at most kMaxWordLength.
bool AppendRun(const std::vector<MbChar> &chars, size_t begin, size_t end, std::string &out)
{
    const Family family = RunFamily(chars, begin, end);
    const size_t room = kMaxWordLength - std::strlen(family.prefix) - 2;
    const size_t maxBytes = room / 4 * 3;
    std::string piece;
    Iso2022Writer w(family.writer, piece);
    bool first = true;
    for (size_t i = begin; i < end; ++i) {
        std::string trial = piece;
        Iso2022Writer t = w;
        t.Retarget(trial);
        t.Put(chars[i]);
        t.Finish();
        if (trial.size() > maxBytes && !piece.empty()) {
            w.Finish();
            if (!first)
                out += "\r\n ";
            if (!AppendWord(family, piece, out))
                return false;
            first = false;
            piece.clear();
            w = Iso2022Writer(family.writer, piece);
        }
        w.Put(chars[i]);
    }
    w.Finish();
    if (!first)
        out += "\r\n ";
    return AppendWord(family, piece, out);
}

// Where the run holding the special character at i ends: the end of its word,
// and of every following word reached over blanks that holds one too.
size_t RunEnd(const std::vector<MbChar> &chars, size_t i)
{
    size_t end = i;
    for (;;) {
        while (end < chars.size() && !IsDelimiter(chars[end]))
            ++end;
        size_t next = end;
        while (next < chars.size() && IsBlank(chars[next]))
            ++next;
        if (next == end || next == chars.size())
            return end;
        size_t wordEnd = next;
        bool special = false;
        for (; wordEnd < chars.size() && !IsDelimiter(chars[wordEnd]); ++wordEnd)
            special = special || IsSpecial(chars[wordEnd]);
        if (!special)
            return end;
        end = wordEnd;
    }
}

} // namespace

char *encode_str(const char *text)
{
    if (!text)
        return nullptr;
    std::vector<MbChar> chars;
    Iso2022Reader reader(text, std::strlen(text));
    for (MbChar c; reader.Next(c);)
        chars.push_back(c);
    std::string out;
    size_t wordStart = 0;   // first character of the current word
    size_t copied = 0;      // characters already written
    for (size_t i = 0; i < chars.size(); ++i) {
        if (IsDelimiter(chars[i])) {
            wordStart = i + 1;
            continue;
        }
        if (!IsSpecial(chars[i]))
            continue;
        for (; copied < wordStart; ++copied)
            out += static_cast<char>(chars[copied].b1);
        const size_t end = RunEnd(chars, i);
        if (!AppendRun(chars, wordStart, end, out))
            return nullptr;
        copied = end;
        i = end - 1;
        wordStart = end;
    }
    for (; copied < chars.size(); ++copied)
        out += static_cast<char>(chars[copied].b1);
    return MallocCopy(out);
}
