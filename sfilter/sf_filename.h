// Filename_Stru: one file-name pattern of a specialized-filter rule, split
// for the test of file names found inside attachments (TNEF or archive
// members).
//
// A pattern "<base>.<ext>" (split at the last ".") is cut into:
//   headStar / tailStar        the base began / ended with "*"
//   extHeadStar / extTailStar  the extension began / ended with "*"; the
//                              base's outer stars set them too, so "*.exe"
//                              also passes the extension "myexe"
//   head, tail                 the base without its outer stars, cut at its
//                              first inner "*" ("re*me": "re" and "me")
//   ext                        the extension without its outer stars
// "*" alone matches every name. A pattern with an inner star but no outer
// one ("re*me.txt") never passes the member test; such a pattern is matched
// by the attachment's whole-name test only.
//
// Names given to MatchFilenamePattern must already be lower case, as the
// patterns are.
#pragma once

struct Filename_Stru {
    bool headStar;
    bool tailStar;
    bool extHeadStar;
    bool extTailStar;
    char head[1025];
    char tail[1025];
    char ext[33];
    char text[1025];   // the pattern as written
};
static_assert(sizeof(Filename_Stru) == 3112, "Filename_Stru is a fixed record");

// Fills `out` from `pattern` (null reads as "").
void ParseFilenamePattern(const char *pattern, Filename_Stru &out);
// 1 when base and extension (without its dot) pass the pattern, else 0.
int MatchFilenamePattern(const Filename_Stru &pattern, const char *base, const char *ext);
