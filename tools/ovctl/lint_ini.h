// The lines of "contscan.ini" as ovctl lint needs them: section headings and
// keys with their line numbers, named as the settings reader names them (a
// word runs on across blanks, so "[Junk words ]" is the section "Junk words "
// and "key = v" the key "key "; values are trimmed of blanks and tabs).
// Look-ups ignore case, as the plug-in's reader does, and search only the
// first section of a name. Continued values (a trailing backslash) are taken
// by their first line only.
#pragma once

#include <string>
#include <vector>

struct IniEntry {
    int line = 0;
    std::string section; // the section the key is in ("" before any)
    int sectionLine = 0; // the line of that section's heading
    std::string key;     // empty for a section heading
    std::string value;
};

class IniIndex
{
public:
    // Reads the file; an unreadable file gives an empty index.
    explicit IniIndex(const std::string &path);

    const std::string &path() const { return m_path; }
    // Section headings, in file order.
    std::vector<IniEntry> headings() const;
    // Whether a section of that name exists.
    bool has_section(const std::string &section) const;
    // The key of the first section of that name, or null.
    const IniEntry *find(const std::string &section, const std::string &key) const;

private:
    std::string m_path;
    std::vector<IniEntry> m_entries;
};

// ASCII lower case.
std::string ini_lower(std::string text);
