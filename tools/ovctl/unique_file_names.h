// UniqueFileNames: the file names `ovctl tnef extract` saves attachments
// under, each used once within one extraction.
//
//   UniqueFileNames names;
//   names.Take("a.txt");   // "a.txt"
//   names.Take("a.txt");   // "a_2.txt"
//   names.Take("a.txt");   // "a_3.txt"
//
// A name is first made safe for a file name (SafeFileNamePart); when that is
// taken, "_2", "_3"... goes before its extension (the part from its last dot,
// unless the dot leads the name), the first number giving a name not taken.
// A counter per safe name remembers where the search stopped: names are never
// given back, so every number below it is still taken and the search goes on
// from there, giving the same names as counting from 2 each time, in linear
// rather than quadratic time for many equal names.
#pragma once

#include <string>
#include <unordered_map>
#include <unordered_set>

class UniqueFileNames {
public:
    std::string Take(const char *name);

private:
    std::unordered_set<std::string> m_taken;
    std::unordered_map<std::string, int> m_nextNumber;   // per safe name, from 2
};
