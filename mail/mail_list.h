// CMailList: the envelope recipients of one mail without repetitions, in the
// order of the envelope's "T" lines, and their comma-joined text.
//
//   CMailList list;
//   list.GatherMailList(afPath);       // reads the T lines, builds the text
//   const char *all = list.GetListString();   // "<a@x>,<b@y>", or null
//
// The list owns its entries and the joined text. A hash set of the addresses
// held keeps AddMailer's test for a repetition constant in time, so a mail
// of many recipients costs linear time.
#pragma once

#include <string>
#include <string_view>
#include <unordered_set>

class f_read_text_file;

class CMailer {
public:
    CMailer() = default;
    ~CMailer() { delete[] m_pszAddress; }
    CMailer(const CMailer &) = delete;
    CMailer &operator=(const CMailer &) = delete;

    char *m_pszAddress = nullptr;   // new[]'ed copy of the address
    CMailer *m_pNext = nullptr;
};

class CMailList {
public:
    CMailList() = default;
    ~CMailList();
    CMailList(const CMailList &) = delete;
    CMailList &operator=(const CMailList &) = delete;

    // Appends a copy of the address unless it is null, empty or already in
    // the list (exact, case-sensitive comparison).
    void AddMailer(const char *address);
    // AddMailer for every "T" line of the envelope file (the text after the
    // letter, trimmed on the right, brackets kept), then CreateListString.
    void GatherMailList(const char *afPath);
    // The same over the envelope file's text, already read.
    void GatherMailListText(const std::string &text);
    // Sum over the entries of (length + 1).
    int QueryListLen();
    // Rebuilds the joined text; it stays null for an empty list.
    void CreateListString();
    char *GetListString() { return m_pszList; }

    char *m_pszList = nullptr;   // malloc'ed joined text
    CMailer *m_pHead = nullptr;
    CMailer *m_pTail = nullptr;

private:
    void GatherLines(f_read_text_file &lines);

    std::unordered_set<std::string_view> m_addresses;   // views of the entries' texts
};
