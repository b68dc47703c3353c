// CTnefFileName: one file name found inside a TNEF attachment (winmail.dat),
// a node of the attachment's singly linked list (Attach_Stru::m_pTnefHead).
//
// A node owns the temporary files named by its two paths: destroying it
// deletes each file whose path is not empty. The list itself is walked and
// freed by Attach_Stru::ClearFileList; a node never deletes its successor.
#pragma once

#include <cstddef>
#include <string>

class CTnefFileName {
public:
    CTnefFileName();
    ~CTnefFileName();
    CTnefFileName(const CTnefFileName &) = delete;
    CTnefFileName &operator=(const CTnefFileName &) = delete;

    static constexpr size_t kMaxNameLength = 1023;

    // Copies at most 1023 characters of name (null stores an empty name).
    void SetName(const char *name);

    // The name inside the TNEF stream, at most 1023 characters. It takes the
    // room the name needs, not a fixed buffer: a stream may hold a name
    // every dozen bytes, and every one of them is kept.
    std::string m_strName;
    CTnefFileName *m_pNext;        // next node, null at the end
    std::string m_strPath;         // a temporary file belonging to this name
    std::string m_strTempPath;     // temporary file of the extracted content
};
