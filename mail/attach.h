// Attach_Stru: one attachment of a mail as the MIME walk found it (name,
// MIME type, byte range in the message file, transfer encoding) with the
// list of file names found inside it when it is a TNEF attachment, and the
// temporary files made from it.
//
// The record owns its TNEF name list and its temporary files: ClearFileList
// (also run by the destructor) deletes them. Copying is only possible with
// operator=, whose rules are deliberate:
//   - the name, type and byte range are copied;
//   - the source's TNEF names are appended to the destination's list, which
//     is not cleared first;
//   - m_nEncoding, m_bTnef and the temporary-file strings are not copied (a
//     copy never owns the source's temporary files).
#pragma once

#include <string>

#include "mail/tnef_file_name.h"

class Attach_Stru {
public:
    Attach_Stru();
    ~Attach_Stru();
    Attach_Stru(const Attach_Stru &) = delete;
    Attach_Stru &operator=(const Attach_Stru &other);

    // Appends a node holding at most 1023 characters of name. With
    // makeTempPath, and when this attachment was decoded as TNEF, the node's
    // m_strTempPath becomes the temporary directory followed by the name,
    // made safe for a file name (no "/" and no "..").
    void AddFileName(const char *name, bool makeTempPath);
    // Destroys every TNEF name node (deleting their files) and deletes the
    // two temporary files of the attachment.
    void ClearFileList();

    char m_szName[512];            // file name, at most 511 characters
    char m_szContentType[128];     // MIME type, at most 127 characters
    int m_nStart;                  // body start in the message file; -1 (the
                                   // default) when unknown
    int m_nEnd;                    // body end in the message file
    CTnefFileName *m_pTnefHead;    // first name inside a TNEF attachment
    CTnefFileName *m_pTnefTail;    // last one, for appending
    int m_nEncoding;               // transfer encoding code, 0 unknown
    bool m_bTnef;                  // decoded as TNEF
    std::string m_strTempFile;     // temporary file made from the attachment
    std::string m_strTempFile2;    // a second temporary file
};
