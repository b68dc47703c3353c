// Reading "contscan.ini" for ovctl lint (see lint_ini.h).
#include "tools/ovctl/lint_ini.h"

#include "base/file_util.h"

namespace
{

std::string trim_blanks(const std::string &text)
{
    size_t first = text.find_first_not_of(" \t");
    if (first == std::string::npos)
        return "";
    return text.substr(first, text.find_last_not_of(" \t") - first + 1);
}

} // namespace

std::string ini_lower(std::string text)
{
    for (char &c : text) {
        if (c >= 'A' && c <= 'Z')
            c = static_cast<char>(c - 'A' + 'a');
    }
    return text;
}

IniIndex::IniIndex(const std::string &path) : m_path(path)
{
    f_read_text_file file(path.c_str());
    if (!file.is_open())
        return;
    std::string line, section;
    int sectionLine = 0;
    bool continued = false; // the line goes on a value ended by a backslash
    for (int number = 1; file.read_a_line(line); ++number) {
        while (!line.empty() && (line.back() == '\r' || line.back() == '\n'))
            line.pop_back();
        const bool wasContinued = continued;
        const size_t start = line.find_first_not_of(" \t");
        const bool comment = start == std::string::npos || line[start] == '#';
        continued = !line.empty() && line.back() == '\\' &&
                    (wasContinued ||
                     (!comment && line[start] != '[' && line.find('=') != std::string::npos));
        if (wasContinued || comment)
            continue;
        IniEntry entry;
        entry.line = number;
        if (line[start] == '[') {
            size_t close = line.find(']', start);
            if (close == std::string::npos)
                continue;
            size_t name = line.find_first_not_of(" \t", start + 1);
            if (name == std::string::npos || name >= close)
                continue;
            section = line.substr(name, close - name);
            sectionLine = number;
            entry.section = section;
            entry.sectionLine = number;
        } else {
            size_t equals = line.find('=', start);
            if (equals == std::string::npos)
                continue;
            entry.section = section;
            entry.sectionLine = sectionLine;
            entry.key = line.substr(start, equals - start);
            entry.value = trim_blanks(line.substr(equals + 1));
        }
        m_entries.push_back(entry);
    }
}

std::vector<IniEntry> IniIndex::headings() const
{
    std::vector<IniEntry> found;
    for (const IniEntry &entry : m_entries) {
        if (entry.key.empty())
            found.push_back(entry);
    }
    return found;
}

bool IniIndex::has_section(const std::string &section) const
{
    const std::string wanted = ini_lower(section);
    for (const IniEntry &entry : m_entries) {
        if (entry.key.empty() && ini_lower(entry.section) == wanted)
            return true;
    }
    return false;
}

const IniEntry *IniIndex::find(const std::string &section, const std::string &key) const
{
    const std::string wantedSection = ini_lower(section), wantedKey = ini_lower(key);
    int sectionLine = 0; // the first heading of that name
    for (const IniEntry &entry : m_entries) {
        if (entry.key.empty() && sectionLine == 0 && ini_lower(entry.section) == wantedSection)
            sectionLine = entry.line;
    }
    for (const IniEntry &entry : m_entries) {
        if (!entry.key.empty() && sectionLine != 0 && entry.sectionLine == sectionLine &&
            ini_lower(entry.key) == wantedKey)
            return &entry;
    }
    return nullptr;
}
