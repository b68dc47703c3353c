// Wildcard comparisons of a text with a pattern. Neither changes case:
// lower both sides first for a case-blind test.
//
//   WildCardStringCompare    header values: the pattern's "*"-separated
//                            pieces must occur in the text in order, without
//                            overlapping and unanchored ("abc" matches
//                            "xxabcxx"); "?" is an ordinary character.
//   WildCardFilenameCompare  file names: a glob over the whole name, "*" any
//                            run of characters, "?" exactly one ("*.exe"
//                            matches "a.exe" but not "a.exe.txt").
#pragma once

bool WildCardStringCompare(const char *text, const char *pattern);
bool WildCardFilenameCompare(const char *name, const char *pattern);
