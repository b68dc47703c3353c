// Keyword import files ("sf" tokens of the policy file) and the exclusion
// lines of the "Anti-Spam" policy (see policy_reader.h).
#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <memory>

#include "base/log.h"
#include "base/profile.h"
#include "contscan/policy.h"
#include "contscan/policy_reader.h"
#include "mail/charset.h"

namespace
{

// Lines of import and exclusion files are read in pieces of this size.
constexpr int kLineBuffer = 512;
const char kAntiSpamPolicy[] = "Anti-Spam";

struct FileCloser {
    void operator()(FILE *file) const { std::fclose(file); }
};

void TrimRight(std::string &text, const char *set)
{
    size_t end = text.find_last_not_of(set);
    text.erase(end == std::string::npos ? 0 : end + 1);
}

// A name from a settings or policy file: absolute, or under the program
// directory.
std::string FullPath(const char *name, const char *settingsFile)
{
    return name[0] == '/' ? std::string(name) : ProgramDirectoryOf(settingsFile) + name;
}

// One piece of an import line in the host's character code, without its line
// end and trailing blanks.
std::string ConvertLine(char *line)
{
    std::string text;
    if (char *converted = fromANY(line, _kanji)) {
        text = converted;
        std::free(converted);
    }
    if (text.empty())
        text = line;
    TrimRight(text, "\n\r\t ");
    return text;
}

void LowerAscii(std::string &text)
{
    for (char &c : text) {
        if (c >= 'A' && c <= 'Z')
            c = static_cast<char>(c - 'A' + 'a');
    }
}

// The non-empty pieces of a text between commas.
std::vector<std::string> SplitAtCommas(const std::string &text)
{
    std::vector<std::string> pieces;
    size_t start = 0;
    while (start <= text.size()) {
        size_t comma = text.find(',', start);
        size_t end = comma == std::string::npos ? text.size() : comma;
        if (end > start)
            pieces.push_back(text.substr(start, end - start));
        if (comma == std::string::npos)
            break;
        start = comma + 1;
    }
    return pieces;
}

// Adds the keywords of one read piece: a piece that begins a line starts a
// new list; the pieces of a cut line go on in the same list.
void AddImportPiece(POLICY_STRU *policy, const std::vector<std::string> &keywords, bool newLine,
                    KEYWORDLIST_STRU *&list)
{
    size_t next = 0;
    if (newLine) {
        list = nullptr;
        if (keywords.empty())
            return;
        list = AddKeywordList(policy, keywords[0].c_str());
        next = 1;
    }
    if (!list)
        return;
    for (; next < keywords.size(); ++next)
        AddKeyword(list, keywords[next].c_str());
}

} // namespace

std::string ProgramDirectoryOf(const char *settingsFile)
{
    if (!settingsFile)
        return std::string();
    const char *slash = std::strrchr(settingsFile, '/');
    return slash ? std::string(settingsFile, slash + 1) : std::string();
}

void ReadExAntiSpam(std::vector<std::string> &lines, const char *settingsFile)
{
    char name[kLineBuffer] = "";
    if (settingsFile)
        GetPrivateProfileString("Advanced Options", "Ex-AntiSpam", "", name, sizeof name,
                                settingsFile);
    if (!name[0])
        return;
    std::string path = FullPath(name, settingsFile);
    ovux_log->start() << "ReadExAntiSpam: fopen (" << path << ")" << Orvane::endl;
    std::unique_ptr<FILE, FileCloser> file(OpenRegularFile(path.c_str()));
    if (!file) {
        ovux_log->start() << "ReadExAntiSpam: Open File Error: " << Log::syserr() << Orvane::endl;
        return;
    }
    char buffer[kLineBuffer];
    while (std::fgets(buffer, sizeof buffer, file.get())) {
        std::string line = buffer;
        TrimRight(line, "\n\r\t ");
        if (!line.empty())
            lines.push_back(line);
    }
}

int AddKeywordFromImportFile(POLICY_STRU *policy, const char *file, int caseSensitive,
                             const char *settingsFile)
{
    if (!policy || !file)
        return 0;
    std::string path = FullPath(file, settingsFile);
    TrimRight(path, " \t\r\n");
    ovux_log->start() << "AddKeywordFromImportFile: Policy[" << policy->m_szName << "]: (" << file
                      << ") -> (" << path << ")" << Orvane::endl;
    std::vector<std::string> excluded;
    if (std::strcmp(policy->m_szName, kAntiSpamPolicy) == 0)
        ReadExAntiSpam(excluded, settingsFile);

    std::unique_ptr<FILE, FileCloser> input(OpenRegularFile(path.c_str()));
    if (!input) {
        ovux_log->start() << "AddKeywordFromImportFile: Open ImportFile Error: " << Log::syserr()
                          << Orvane::endl;
        return 0;
    }
    char buffer[kLineBuffer];
    bool newLine = true; // the previous piece ended its line
    KEYWORDLIST_STRU *list = nullptr;
    while (std::fgets(buffer, sizeof buffer, input.get())) {
        size_t length = std::strlen(buffer);
        bool endsLine = length > 0 && buffer[length - 1] == '\n';
        std::string text = ConvertLine(buffer);
        if (std::find(excluded.begin(), excluded.end(), text) == excluded.end()) {
            if (!caseSensitive)
                LowerAscii(text);
            AddImportPiece(policy, SplitAtCommas(text), newLine, list);
        }
        newLine = endsLine;
    }
    return 1;
}
