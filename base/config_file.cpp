// ConfigFile: reading an INI-style file into its tree, look-ups and changes,
// and writing the tree back. The reading rules are listed in config_file.h.
#include "base/config_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <memory>
#include <string>

namespace {

using ConfigNode = ConfigFile::ConfigNode;

// Longest line kept, terminator included.
constexpr size_t kLineBuffer = 1024;

// RAII owner of a stdio stream.
struct FileCloser {
    void operator()(FILE *file) const
    {
        if (file)
            std::fclose(file);
    }
};

bool is_blank(unsigned char c) { return c == ' ' || c == '\t'; }

bool is_identifier(unsigned char c)
{
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') ||
           c == '_' || c == '-' || c == '.' || c == '(' || c == ')' || c == ' ' || c > 141;
}

void lower_ascii(std::string &text)
{
    for (char &c : text)
        if (c >= 'A' && c <= 'Z')
            c = static_cast<char>(c - 'A' + 'a');
}

// Reads one newline-terminated line (without the newline) of at most
// kLineBuffer-1 bytes, skipping the rest of a longer one. False at end of
// file, also for a last line that has no newline.
bool read_line(FILE *file, std::string &line)
{
    line.clear();
    for (;;) {
        int c = getc_unlocked(file);
        if (c == EOF)
            return false;
        if (c == '\n')
            return true;
        if (line.size() < kLineBuffer - 1)
            line.push_back(static_cast<char>(c));
    }
}

// Walks one line: blanks skipped between words, identifier words taken whole.
class LineScanner {
public:
    explicit LineScanner(const std::string &line) : m_line(line) {}

    void skip_blanks()
    {
        while (m_pos < m_line.size() && is_blank(m_line[m_pos]))
            ++m_pos;
    }
    bool at_end() const { return m_pos >= m_line.size(); }
    unsigned char peek() const { return at_end() ? 0 : m_line[m_pos]; }
    bool starts_identifier() const { return !at_end() && is_identifier(peek()); }
    void skip() { ++m_pos; }
    // Identifier characters from here on (the caller checked the first).
    std::string take_word()
    {
        size_t start = m_pos;
        while (m_pos < m_line.size() && is_identifier(m_line[m_pos]))
            ++m_pos;
        return m_line.substr(start, m_pos - start);
    }
    std::string rest() const { return m_line.substr(m_pos); }

private:
    const std::string &m_line;
    size_t m_pos = 0;
};

enum class LineKind { kRaw, kSection, kKey, kDropped };

// Classifies a line; fills name (section or key) and value (key only).
LineKind parse_line(const std::string &line, std::string &name, std::string &value)
{
    LineScanner scan(line);
    scan.skip_blanks();
    if (scan.at_end() || scan.peek() == '#')
        return LineKind::kRaw;
    if (scan.peek() == '[') {
        scan.skip();
        scan.skip_blanks();
        if (!scan.starts_identifier())
            return LineKind::kDropped;
        name = scan.take_word();
        scan.skip_blanks();
        return scan.peek() == ']' ? LineKind::kSection : LineKind::kDropped;
    }
    if (!scan.starts_identifier())
        return LineKind::kDropped;
    name = scan.take_word();
    scan.skip_blanks();
    if (scan.peek() != '=')
        return LineKind::kDropped;
    scan.skip();
    scan.skip_blanks();
    value = scan.rest();
    size_t last = value.find_last_not_of(" \t");
    value.erase(last == std::string::npos ? 0 : last + 1);
    return LineKind::kKey;
}

// Follows backslash continuations of a key's value. False when the file
// ended before the value did.
bool read_continuation(FILE *file, std::string &value)
{
    std::string line;
    while (!value.empty() && value.back() == '\\') {
        value.back() = '\n';
        if (!read_line(file, line))
            return false;
        value += line;
    }
    return true;
}

bool write_all(FILE *file, const std::string &text)
{
    return text.empty() || std::fwrite(text.data(), 1, text.size(), file) == text.size();
}

// The file text of one node.
std::string node_text(const ConfigNode &node)
{
    switch (node.kind) {
    case ConfigNode::kSection:
        return "[" + node.name.str() + "]\n";
    case ConfigNode::kKey: {
        std::string text = node.name.str() + "=";
        for (char c : node.value.str())
            text += c == '\n' ? std::string("\\\n") : std::string(1, c);
        return text + "\n";
    }
    default:
        return node.name.str() + "\n";
    }
}

// Opens name for writing with truncation; new files get mode 0664.
FILE *open_for_writing(const char *name)
{
    int fd = ::open(name, O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0664);
    if (fd < 0)
        return nullptr;
    FILE *file = ::fdopen(fd, "w");
    if (!file)
        ::close(fd);
    return file;
}

} // namespace

ConfigFile::ConfigFile(const char *name, int caseSensitive)
    : m_name(name), m_caseSensitive(caseSensitive), m_tree(new ConfigTree)
{
    struct stat info;
    if (read_config(name) != 0 || ::stat(m_name.c_str(), &info) != 0) {
        clear();
        return;
    }
    m_mtime = info.st_mtim.tv_sec;
    m_mtimeNsec = info.st_mtim.tv_nsec;
}

ConfigFile::ConfigFile(const ConfigFile &other) : BaseObj() { copy(other); }

ConfigFile &ConfigFile::operator=(const ConfigFile &other)
{
    if (this != &other)
        copy(other);
    return *this;
}

void ConfigFile::copy(const ConfigFile &other)
{
    m_name = other.m_name;
    m_caseSensitive = other.m_caseSensitive;
    m_mtime = other.m_mtime;
    m_mtimeNsec = other.m_mtimeNsec;
    m_tree = other.m_tree;
    if (!other.ok())
        clear();
}

bool ConfigFile::valid_name(const char *text)
{
    if (!text || !*text || is_blank(*text))
        return false;
    for (const char *p = text; *p; ++p)
        if (!is_identifier(*p))
            return false;
    return true;
}

bool ConfigFile::valid_value(const char *value)
{
    if (!value)
        return false;
    std::string text = value;
    if (text.empty())
        return true;
    return !is_blank(text.front()) && !is_blank(text.back()) && text.back() != '\\';
}

int ConfigFile::read_config(const char *name)
{
    if (!name)
        return -1;
    std::unique_ptr<FILE, FileCloser> file(std::fopen(name, "r"));
    if (!file)
        return -1;
    TreeIter<ConfigNode> at(*m_tree);
    at.add_child(ConfigNode(ConfigNode::kRaw, ""));
    std::string line;
    while (read_line(file.get(), line)) {
        std::string word, value;
        switch (parse_line(line, word, value)) {
        case LineKind::kRaw:
            at.add_child(ConfigNode(ConfigNode::kRaw, line));
            break;
        case LineKind::kSection:
            if (!m_caseSensitive)
                lower_ascii(word);
            at.top();
            at.add_child(ConfigNode(ConfigNode::kSection, word));
            at.down_last();
            break;
        case LineKind::kKey:
            if (!read_continuation(file.get(), value))
                return 0;
            if (!m_caseSensitive)
                lower_ascii(word);
            at.add_child(ConfigNode(ConfigNode::kKey, word, value));
            break;
        case LineKind::kDropped:
            break;
        }
    }
    return 0;
}

String ConfigFile::normalise(const char *text) const
{
    std::string copy = text ? text : "";
    if (!m_caseSensitive)
        lower_ascii(copy);
    return String(copy);
}

TreeNode<ConfigNode> *ConfigFile::find_section(const String &section) const
{
    for (TreeNode<ConfigNode> *n = m_tree->root()->first_child(); n; n = n->next_sibling())
        if (n->data.kind == ConfigNode::kSection && n->data.name == section)
            return n;
    return nullptr;
}

TreeNode<ConfigNode> *ConfigFile::find_key(const char *section, const char *key,
                                           TreeNode<ConfigNode> **sectionNode) const
{
    TreeNode<ConfigNode> *owner = find_section(normalise(section));
    if (sectionNode)
        *sectionNode = owner;
    if (!owner)
        return nullptr;
    String wanted = normalise(key);
    for (TreeNode<ConfigNode> *n = owner->first_child(); n; n = n->next_sibling())
        if (n->data.kind == ConfigNode::kKey && n->data.name == wanted)
            return n;
    return nullptr;
}

const char *ConfigFile::getparam(const char *section, const char *key)
{
    if (!section || !key)
        return nullptr;
    TreeNode<ConfigNode> *node = find_key(section, key, nullptr);
    return node ? node->data.value.c_str() : nullptr;
}

void ConfigFile::setparam(const char *section, const char *key, const char *value)
{
    if (!section || !key)
        return;
    TreeNode<ConfigNode> *owner = nullptr;
    if (TreeNode<ConfigNode> *node = find_key(section, key, &owner)) {
        node->data.value = value;
        return;
    }
    TreeIter<ConfigNode> at(*m_tree);
    if (!owner) {
        at.add_child(ConfigNode(ConfigNode::kSection, normalise(section)));
        at.down_last();
    } else {
        // Walk down to the section found; it is a child of the root.
        for (at.down(); at.node() != owner; at.right()) {
        }
    }
    at.add_child(ConfigNode(ConfigNode::kKey, normalise(key), String(value)));
}

void ConfigFile::unsetparam(const char *section, const char *key)
{
    if (!section || !key)
        return;
    TreeNode<ConfigNode> *node = find_key(section, key, nullptr);
    if (!node)
        return;
    TreeIter<ConfigNode> at(*m_tree);
    while (at.node() != node && at.next()) {
    }
    at.remove();
}

int ConfigFile::refresh()
{
    struct stat info;
    if (::stat(m_name.c_str(), &info) != 0)
        return -1;
    if (info.st_mtim.tv_sec == m_mtime && info.st_mtim.tv_nsec == m_mtimeNsec)
        return 0;
    m_mtime = info.st_mtim.tv_sec;
    m_mtimeNsec = info.st_mtim.tv_nsec;
    m_tree.reset(new ConfigTree);
    return read_config(m_name.c_str());
}

int ConfigFile::write_tree(const char *name, const char *skipSection) const
{
    if (!name)
        return -1;
    std::unique_ptr<FILE, FileCloser> file(open_for_writing(name));
    if (!file)
        return -1;
    String skipped = skipSection ? normalise(skipSection) : String();
    bool skipping = false;
    bool written = true;
    TreeIter<ConfigNode> at(*m_tree);
    while (at.next()) {
        if (at->kind == ConfigNode::kSection)
            skipping = skipSection && at->name == skipped;
        if (!skipping)
            written = write_all(file.get(), node_text(*at)) && written;
    }
    bool closed = std::fclose(file.release()) == 0;
    return written && closed ? 0 : -1;
}

int ConfigFile::dump(const char *name) { return write_tree(name, nullptr); }

int ConfigFile::dump() { return write_tree(m_name.c_str(), nullptr); }

int ConfigFile::dumpWithout(const char *name, const char *section)
{
    return write_tree(name, section ? section : "");
}

int ConfigFile::dumpWithout(const char *section) { return dumpWithout(m_name.c_str(), section); }

std::vector<ConfigLineProblem> FindConfigLineProblems(const char *name)
{
    std::vector<ConfigLineProblem> problems;
    std::unique_ptr<FILE, FileCloser> file(name ? std::fopen(name, "r") : nullptr);
    if (!file)
        return problems;
    std::string raw;
    int number = 0;
    bool continuing = false;
    for (;;) {
        raw.clear();
        int c;
        while ((c = getc_unlocked(file.get())) != EOF && c != '\n')
            raw.push_back(static_cast<char>(c));
        const bool ended = c == '\n';
        if (!ended && raw.empty())
            break;
        ++number;
        if (!ended) {
            problems.push_back({number, continuing ? "the file ends inside a continued value: "
                                                     "the key is not stored"
                                                   : "the last line has no newline and is ignored"});
            break;
        }
        const std::string line = raw.substr(0, kLineBuffer - 1);
        if (raw.size() >= kLineBuffer)
            problems.push_back({number, "longer than 1023 bytes: the rest of the line is lost"});
        if (continuing) {
            continuing = !line.empty() && line.back() == '\\';
            continue;
        }
        std::string word, value;
        switch (parse_line(line, word, value)) {
        case LineKind::kDropped:
            problems.push_back({number, "not a section, key, blank or \"#\" line: dropped"});
            break;
        case LineKind::kKey:
            if (!word.empty() && is_blank(word.back()))
                problems.push_back({number, "blank before \"=\": the key is \"" + word + "\""});
            continuing = !value.empty() && value.back() == '\\';
            break;
        default:
            break;
        }
    }
    return problems;
}

