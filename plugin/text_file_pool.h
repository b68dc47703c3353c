// TextFilePool: the mails' text files, kept open from one mail to the next.
//
//   KeptTextFile file;
//   if (!g_textFiles.Take(dir, "DFI", &file)) ...make a new one...;
//   ... the walk writes file.stream, the keyword scan reads it back ...
//   g_textFiles.Keep(std::move(file));   // emptied, for the next mail
//   g_textFiles.Clear();                 // at stop: every kept file removed
//
// Each mail needs a text file of its own in the temporary directory, named
// after its direction ("DFI..." or "DFO..."). Making and removing a file
// costs a small mail about as much as copying it, so a file a mail is done
// with is emptied and handed to the next mail of the same directory and
// direction instead. No mail's text outlives its mail: a file is emptied
// when it is kept, and one that cannot be emptied is closed and removed.
// A kept file of another directory (after a reload moved it) is removed
// when met. At most as many files are kept as mails ever ran at once.
#pragma once

#include <cstdio>
#include <mutex>
#include <string>
#include <vector>

struct KeptTextFile {
    std::string dir;    // the temporary directory it was made in
    std::string prefix; // "DFI" or "DFO"
    std::string name;   // its full path
    FILE *stream = nullptr;
};

class TextFilePool
{
public:
    // A kept file of this directory and prefix, empty and at its start;
    // false when there is none.
    bool Take(const std::string &dir, const std::string &prefix, KeptTextFile *file);
    // Empties the file and keeps it; closes and removes it when it cannot
    // be emptied.
    void Keep(KeptTextFile file);
    // Closes and removes every kept file.
    void Clear();
    // Closes and removes one file.
    static void Discard(KeptTextFile &file);

private:

    std::mutex m_mutex;
    std::vector<KeptTextFile> m_files;
};

extern TextFilePool g_textFiles;
