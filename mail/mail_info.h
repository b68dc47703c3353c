// CMailInfo: what the filters know about one mail - the values of its
// envelope (AF) file, the relay hosts of its "Received:" headers, its size,
// time and direction, its attachments and a per-attachment mark that the
// specialized filter sets for attachments it takes.
//
// Envelope file: one item per line, the first character a command letter of
// "FTODCPSAR" and the rest its value (lines are trimmed of " \t\r\n" on the
// right; other lines are ignored; a later line of a letter replaces an
// earlier one):
//   F envelope sender   T envelope recipient   O header From   D header To
//   C header Cc         P Reply-To             S subject       A (stored only)
//   R received time, seconds since 1970 (decimal prefix)
// Values are decoded from encoded words and converted to the host code.
//
// One record lives for one mail and one thread: the pipeline builds it,
// ParseAFInfo fills it, the MIME walk adds attachments (AddAttach) and the
// rule scanner adds relay hosts (AddDomain). Both lists hold at most 128
// entries; more are dropped silently. The record preallocates 5 host
// buffers and 4 attachment records and grows one at a time.
//
// The m_psz... members are views of the strings beside them for the rule
// terms; ParseAFInfo refreshes a view with every assignment it makes, and a
// view stays null while its letter was never read.
#pragma once

#include <string>

#include "base/file_util.h"
#include "mail/attach.h"
#include "mail/envelope.h"

constexpr int MAX_DOMAIN_COUNT = 128;
constexpr int MAX_ATTACH_COUNT = 128;
constexpr int DOMAIN_BUFFER_SIZE = 512;     // 511 characters and the NUL
constexpr int DOMAIN_PREALLOC = 5;
constexpr int ATTACH_PREALLOC = 4;

class CMailInfo {
public:
    CMailInfo();
    ~CMailInfo();
    CMailInfo(const CMailInfo &) = delete;
    CMailInfo &operator=(const CMailInfo &) = delete;

    // Reads the envelope file. With raw false the value's enclosing "<" and
    // ">" are stripped and a value that is empty then is skipped. A file
    // that cannot be opened leaves the record unchanged. Always true.
    bool ParseAFInfo(const char *afPath, bool raw);
    // The same over the envelope file's text, already read.
    bool ParseAFText(const std::string &text, bool raw);
    // Appends a relay host; a host longer than 511 characters is cut in the
    // caller's own buffer first.
    void AddDomain(char *host);
    // Appends an attachment; name and type are cut in the caller's buffers
    // at 511 and 127 characters first. A reused record keeps its other
    // fields.
    void AddAttach(char *name, char *contentType);
    // Removes the TNEF names and temporary files of every attachment in use.
    void ClearAttachTnefFileList();
    // Clears the 128 per-attachment marks.
    void ClearCheckedFlag();

    std::string m_strFrom;            // O
    std::string m_strTo;              // D
    std::string m_strCc;              // C
    std::string m_strReplyTo;         // P
    std::string m_strSubject;         // S
    std::string m_strEnvelopeFrom;    // F
    std::string m_strEnvelopeTo;      // T (last line)
    std::string m_strA;               // A
    std::string m_strReceivedTime;    // R as text
    char *m_pDomain[MAX_DOMAIN_COUNT];    // malloc'ed 512-byte host buffers
    int m_nDomainCount;
    int m_nDomainAlloc;
    const char *m_pszFrom;
    const char *m_pszTo;
    const char *m_pszCc;
    const char *m_pszReplyTo;
    const char *m_pszSubject;
    const char *m_pszEnvelopeTo;
    const char *m_pszA;
    int m_nMailSize;                  // set by the pipeline
    int m_lReceivedTime;              // R value; the pipeline puts "now" for 0
    Attach_Stru *m_pAttach[MAX_ATTACH_COUNT];
    int m_nAttachCount;
    int m_nAttachAlloc;
    unsigned char m_bChecked[MAX_ATTACH_COUNT];   // taken by the specialized filter
    int m_nDirection;                 // 0 inbound, 1 outbound
    const char *m_pszEnvelopeFrom;
    int m_nMimeAmbiguity;             // MIME_AMBIGUOUS_... bits (mail/mime_walk.h)
    bool m_bTextWriteFailed;          // the walk's text file lost bytes (mail/mime_walk.h)

private:
    void ParseAFLines(f_read_text_file &lines, bool raw);
    void StoreValue(char letter, const std::string &value);
};
