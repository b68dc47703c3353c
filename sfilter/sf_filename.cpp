// Parsing and testing the file-name patterns of the specialized filter (see
// sf_filename.h).
#include "sfilter/sf_filename.h"

#include <cstring>
#include <string>

#include "base/file_util.h"

namespace {

// Removes a leading and a trailing "*" from text; the trailing one counts only
// when the text is longer than one character, so that "*" is one star.
void strip_outer_stars(std::string &text, bool &leading, bool &trailing)
{
    leading = !text.empty() && text.front() == '*';
    trailing = text.size() > 1 && text.back() == '*';
    if (trailing)
        text.pop_back();
    if (leading)
        text.erase(0, 1);
}

bool begins_with(const std::string &text, const std::string &part)
{
    return text.compare(0, part.size(), part) == 0;
}

bool ends_with(const std::string &text, const std::string &part)
{
    return text.size() >= part.size() &&
           text.compare(text.size() - part.size(), part.size(), part) == 0;
}

bool contains(const std::string &text, const std::string &part)
{
    return text.find(part) != std::string::npos;
}

// The test of one part against its text with the given outer stars.
bool match_part(const std::string &text, const std::string &part, bool headStar, bool tailStar)
{
    if (headStar && tailStar)
        return contains(text, part);
    if (headStar)
        return ends_with(text, part);
    if (tailStar)
        return begins_with(text, part);
    return text == part;
}

// A base pattern with an inner star: "head*tail" plus the outer stars.
bool match_inner_star(const std::string &base, const std::string &head, const std::string &tail,
                      bool headStar, bool tailStar)
{
    if (base.size() < head.size() + tail.size())
        return false;
    if (headStar && tailStar) {
        size_t at = base.find(head);
        return at != std::string::npos && base.find(tail, at + head.size()) != std::string::npos;
    }
    if (headStar)
        return ends_with(base, tail) && contains(base.substr(0, base.size() - tail.size()), head);
    if (tailStar)
        return begins_with(base, head) && base.find(tail, head.size()) != std::string::npos;
    return false;
}

} // namespace

void ParseFilenamePattern(const char *pattern, Filename_Stru &out)
{
    std::memset(&out, 0, sizeof out);
    const std::string text = pattern ? pattern : "";
    strcpy_truncate(out.text, text.c_str(), sizeof out.text);
    if (text == "*") {
        out.headStar = true;
        out.extHeadStar = true;
        return;
    }

    std::string base = text;
    std::string ext;
    size_t dot = text.rfind('.');
    if (dot != std::string::npos) {
        base = text.substr(0, dot);
        ext = text.substr(dot + 1);
    }
    if (ext.find('*') != std::string::npos)
        strip_outer_stars(ext, out.extHeadStar, out.extTailStar);
    if (base.find('*') != std::string::npos) {
        strip_outer_stars(base, out.headStar, out.tailStar);
        out.extHeadStar = out.extHeadStar || out.headStar;
        out.extTailStar = out.extTailStar || out.tailStar;
    }
    size_t star = base.find('*');
    std::string head = base.substr(0, star);
    std::string tail = star == std::string::npos ? std::string() : base.substr(star + 1);
    strcpy_truncate(out.head, head.c_str(), sizeof out.head);
    strcpy_truncate(out.tail, tail.c_str(), sizeof out.tail);
    strcpy_truncate(out.ext, ext.c_str(), sizeof out.ext);
}

int MatchFilenamePattern(const Filename_Stru &pattern, const char *base, const char *ext)
{
    const std::string baseText = base ? base : "";
    const std::string extText = ext ? ext : "";
    if (!match_part(extText, pattern.ext, pattern.extHeadStar, pattern.extTailStar))
        return 0;
    if (pattern.tail[0] == '\0')
        return match_part(baseText, pattern.head, pattern.headStar, pattern.tailStar) ? 1 : 0;
    return match_inner_star(baseText, pattern.head, pattern.tail, pattern.headStar,
                            pattern.tailStar)
               ? 1
               : 0;
}
