// ConfigFile: an INI-style settings file read into an ordered tree that
// keeps every line, answers look-ups, changes or removes keys, and writes the
// whole tree back with comments, blank lines and order intact.
//
//   ConfigFile ini("contscan.ini", 0);      // 0: case-insensitive
//   if (!ini.ok()) ...                      // unreadable: an empty tree
//   const char *v = ini.getparam("plug-in", "root_path");   // null if absent
//   ini.setparam("plug-in", "DeleteTempFile", "yes");
//   ini.dump();                             // write back to the same file
//
// Reading rules (writers of the plug-in's files follow them):
//   - a line is at most 1023 bytes (1024 with its terminator); the rest of a
//     longer line is skipped. A last line without a newline is ignored.
//   - blanks are space and tab only. Identifier characters are ASCII letters,
//     digits, "_-.()", the space, and bytes above 0x8D. A word runs on
//     across spaces, so "key = v" stores the key "key " (trailing blank) with
//     value "v"; only "key=v" stores the bare key.
//   - blank lines and lines whose first non-blank is "#" are kept as raw
//     lines; "[name]" opens a section; "key=value" is a key (value trimmed of
//     blanks and tabs on both sides). Any other line is dropped and vanishes
//     at the next write (";" starts no comment).
//   - a value ending in a backslash continues on the next line, read whole;
//     the backslash becomes a newline. An end of file while continuing ends
//     the read without that key.
//   - every read adds one empty raw line at the top, so each read-and-write
//     cycle grows the file by one empty first line.
//   - case-insensitive files lower section names and keys (ASCII) when read
//     and when looked up. Only the first section of a name is searched.
//
// No lock: callers sharing an object between threads hold their own.
#pragma once

#include <cstdint>
#include <ctime>
#include <string>
#include <vector>

#include "base/base_obj.h"
#include "base/containers.h"
#include "base/ov_string.h"

class ConfigFile : public BaseObj {
public:
    struct ConfigNode {
        enum Kind : int32_t { kRaw = 0, kSection = 1, kKey = 2 };

        ConfigNode() = default;
        ConfigNode(int32_t nodeKind, const String &nodeName, const String &nodeValue = String())
            : kind(nodeKind), name(nodeName), value(nodeValue)
        {
        }

        int32_t kind = kRaw;
        String name;    // raw: the whole line; section: its name; key: the key
        String value;   // keys only; may hold newlines (continued values)
    };
    using ConfigTree = Tree<ConfigNode>;

    // Reads the file; the ok flag is cleared when it cannot be read or
    // stat'ed (the object is then an empty, usable tree).
    ConfigFile(const char *name, int caseSensitive = 0);
    // Copies share the tree (reference counted) and take over name, case
    // flag and modification time; copying an unreadable object clears the
    // ok flag (a cleared flag is never set again).
    ConfigFile(const ConfigFile &other);
    ConfigFile &operator=(const ConfigFile &other);
    void copy(const ConfigFile &other);

    // Parses the file into the tree (appending); 0, or -1 when it cannot be
    // opened (the tree is then unchanged).
    int read_config(const char *name);

    // The value of key in the first section of that name, or null. Valid
    // until the tree changes.
    const char *getparam(const char *section, const char *key);
    // Sets the key; a missing key goes to the end of its section, a missing
    // section to the end of the file.
    void setparam(const char *section, const char *key, const char *value);
    // Removes the key when present.
    void unsetparam(const char *section, const char *key);

    // Rereads the file when its modification time changed: -1 when it cannot
    // be stat'ed, 0 when unchanged, else what read_config returns.
    int refresh();

    // Writes the whole tree (new files get mode 0664, less the umask); 0, or
    // -1 when the file cannot be written.
    int dump(const char *name);
    int dump();
    // As dump, leaving out every section of that name with all its lines.
    int dumpWithout(const char *name, const char *section);
    int dumpWithout(const char *section);

    // True when text, written as a section name or key, reads back as
    // itself: identifier characters only, the first not a blank.
    static bool valid_name(const char *text);
    // True when value, written as a key's value, reads back as itself: no
    // blank or tab at either end, no backslash at the end.
    static bool valid_value(const char *value);

    const char *filename() const { return m_name.c_str(); }
    bool case_sensitive() const { return m_caseSensitive != 0; }

private:
    // The section node of that (already lowered) name, or null.
    TreeNode<ConfigNode> *find_section(const String &section) const;
    // The key node under section, or null.
    TreeNode<ConfigNode> *find_key(const char *section, const char *key, TreeNode<ConfigNode> **sectionNode) const;
    String normalise(const char *text) const;
    int write_tree(const char *name, const char *skipSection) const;

    String m_name;
    int32_t m_caseSensitive = 0;
    time_t m_mtime = 0;
    long m_mtimeNsec = 0;
    SmartPtr<ConfigTree> m_tree;
};

// A line of a settings file that the reader does not take as written, for
// the administrators' lint: its 1-based number and what happens to it.
struct ConfigLineProblem {
    int line;
    std::string reason;
};

// Every such line of the file: dropped lines (neither section, key, blank
// nor "#" comment), lines cut at 1023 bytes, keys whose name keeps a blank
// before "=", a continued value cut off by the end of the file, and a last
// line without newline. Empty for a clean or unreadable file.
std::vector<ConfigLineProblem> FindConfigLineProblems(const char *name);

