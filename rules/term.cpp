// Evaluation of one rule term against a mail's fields (see term.h).
#include "rules/term.h"

#include <cstdlib>
#include <cstring>
#include <ctime>

#include "base/file_util.h"
#include "sfilter/wildcard.h"

namespace {

constexpr char kBlanks[] = " \t\r\n";

void LowerAscii(std::string &text)
{
    for (char &c : text) {
        if (c >= 'A' && c <= 'Z')
            c = static_cast<char>(c - 'A' + 'a');
    }
}

std::string Trimmed(const std::string &text)
{
    size_t first = text.find_first_not_of(kBlanks);
    if (first == std::string::npos)
        return "";
    size_t last = text.find_last_not_of(kBlanks);
    return text.substr(first, last - first + 1);
}

// Calls visit with each comma-separated piece of text, trimmed, until it
// returns true.
template <typename Visit>
bool AnyPiece(const std::string &text, Visit visit)
{
    size_t start = 0;
    for (;;) {
        size_t comma = text.find(',', start);
        size_t end = comma == std::string::npos ? text.size() : comma;
        if (visit(Trimmed(text.substr(start, end - start))))
            return true;
        if (comma == std::string::npos)
            return false;
        start = comma + 1;
    }
}

char *DuplicateText(const std::string &text)
{
    char *copy = static_cast<char *>(std::malloc(text.size() + 1));
    if (copy != nullptr)
        std::memcpy(copy, text.c_str(), text.size() + 1);
    return copy;
}

// Value of the hexadecimal digits at the start of text[0..count); reading
// stops at the first character that is not a hex digit.
unsigned long HexPrefix(const char *text, int count)
{
    unsigned long result = 0;
    for (int i = 0; i < count; ++i) {
        char c = text[i];
        int digit;
        if (c >= '0' && c <= '9')
            digit = c - '0';
        else if (c >= 'a' && c <= 'f')
            digit = c - 'a' + 10;
        else if (c >= 'A' && c <= 'F')
            digit = c - 'A' + 10;
        else
            break;
        result = result * 16 + static_cast<unsigned long>(digit);
    }
    return result;
}

// A file name split at its last "." (no "." means no extension).
void SplitAtLastDot(const std::string &name, std::string &base, std::string &ext)
{
    size_t dot = name.rfind('.');
    if (dot == std::string::npos) {
        base = name;
        ext.clear();
    } else {
        base = name.substr(0, dot);
        ext = name.substr(dot + 1);
    }
}

} // namespace

CTerm::CTerm()
    : var(VAR_DOM), op(OP_EQ), ignoreCase(false), pattern(false), number(0), value(nullptr),
      mime(nullptr)
{
}

CTerm::~CTerm()
{
    Reset();
}

void CTerm::Reset()
{
    std::free(value);
    std::free(mime);
    value = nullptr;
    mime = nullptr;
    number = 0;
}

void CTerm::Set(VAR_TYPE var_, OP_TYPE op_, bool ignoreCase_, bool pattern_, int number_)
{
    Reset();
    var = var_;
    op = op_;
    ignoreCase = ignoreCase_;
    pattern = pattern_;
    number = number_;
}

void CTerm::Set(VAR_TYPE var_, OP_TYPE op_, bool ignoreCase_, bool pattern_, const char *text)
{
    Set(var_, op_, ignoreCase_, pattern_, 0);
    std::string name = text ? text : "";
    if (var == VAR_ATTACH) {
        size_t colon = name.rfind(':');
        if (colon != std::string::npos) {
            std::string type = name.substr(colon + 1);
            LowerAscii(type);
            mime = DuplicateText(type);
            name.erase(colon);
        }
    }
    if (ignoreCase)
        LowerAscii(name);
    value = DuplicateText(name);
}

bool CTerm::Evaluate(int n) const
{
    switch (op) {
    case OP_EQ:
        return n == number;
    case OP_NE:
        return n != number;
    case OP_LT:
        return n < number;
    case OP_GT:
        return n > number;
    }
    return false;
}

bool CTerm::Evaluate(const char *field) const
{
    if (value == nullptr)
        return false;
    const std::string text = field ? field : "";
    if (var == VAR_SUBJ)
        return CompareOneElement(value, text, false);
    return AnyPiece(value, [&](const std::string &element) {
        return CompareOneElement(element, text, true);
    });
}

bool CTerm::CompareOneElement(const std::string &element, const std::string &field,
                              bool list) const
{
    if (!list)
        return ComparePiece(element, field);
    return AnyPiece(field, [&](const std::string &piece) { return ComparePiece(element, piece); });
}

bool CTerm::ComparePiece(const std::string &element, const std::string &piece) const
{
    // An element quoted as '' (nothing between the quotes) stands for an
    // empty field; in every other comparison the quotes are ordinary text.
    if (element == "''" && piece.empty())
        return true;
    if (element.empty() || piece.empty())
        return false;
    std::string want = element;
    std::string have = piece;
    if (ignoreCase) {
        LowerAscii(want);
        LowerAscii(have);
    }
    bool same = pattern ? WildCardStringCompare(have.c_str(), want.c_str()) : want == have;
    return op == OP_EQ ? same : !same;
}

bool CTerm::EvaluateTime(long t) const
{
    if (t == -1 || value == nullptr)
        return false;
    time_t when = static_cast<time_t>(t);
    struct tm local;
    if (localtime_r(&when, &local) == nullptr)
        return false;
    unsigned long dayBit = 1UL << local.tm_wday;
    unsigned long hourBit = 1UL << local.tm_hour;
    size_t length = std::strlen(value);
    if (length % 8 != 0)
        return false;
    for (size_t block = 0; block < length; block += 8) {
        unsigned long days = HexPrefix(value + block, 2);
        unsigned long hours = HexPrefix(value + block + 2, 6);
        if ((days & dayBit) != 0 && (hours & hourBit) != 0)
            return true;
    }
    return false;
}

bool CTerm::EvaluateAttach(const Attach_Stru *a) const
{
    if (a == nullptr || value == nullptr)
        return false;
    NamePatterns want;
    std::string text = value;
    size_t dot = text.rfind('.');
    if (dot != std::string::npos) {
        want.base = text.substr(0, dot);
        want.ext = text.substr(dot + 1);   // empty when the value ends with "."
    }
    std::string type = a->m_szContentType;
    LowerAscii(type);

    std::string name = a->m_szName, base, ext;
    if (ignoreCase)
        LowerAscii(name);
    SplitAtLastDot(name, base, ext);
    if (MatchName(want, base, ext, type))
        return true;

    // Then the files found inside the attachment (TNEF contents).
    for (const CTnefFileName *node = a->m_pTnefHead; node != nullptr; node = node->m_pNext) {
        std::string inner = node->m_strName;
        if (ignoreCase)
            LowerAscii(inner);
        char innerBase[OV_MAX_PATH];
        char innerExt[OV_MAX_PATH];
        _splitpath(inner.c_str(), nullptr, nullptr, innerBase, innerExt);
        if (MatchName(want, innerBase, innerExt[0] == '.' ? innerExt + 1 : innerExt, type))
            return true;
    }
    return false;
}

bool CTerm::MatchName(const NamePatterns &want, const std::string &base, const std::string &ext,
                      const std::string &contentType) const
{
    auto fits = [this](const std::string &wanted, const std::string &have) {
        if (wanted.empty())
            return true;
        return pattern ? have.find(wanted) != std::string::npos : have == wanted;
    };
    if (!fits(want.base, base) || !fits(want.ext, ext))
        return false;
    if (mime == nullptr || *mime == '\0' || std::strcmp(mime, "none") == 0 ||
        std::strcmp(mime, "all") == 0)
        return true;   // mime is stored lowered, so this is the case-blind test
    return contentType.find(mime) != std::string::npos;
}
