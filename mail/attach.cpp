// One attachment record: its TNEF name list, its temporary files and the
// deliberate copy rules (see attach.h).
#include "mail/attach.h"

#include <cstring>
#include <new>

#include "base/file_util.h"
#include "mail/temp_dir.h"

Attach_Stru::Attach_Stru()
    : m_nStart(-1), m_nEnd(0), m_pTnefHead(nullptr), m_pTnefTail(nullptr), m_nEncoding(0),
      m_bTnef(false)
{
    m_szName[0] = '\0';
    m_szContentType[0] = '\0';
}

Attach_Stru::~Attach_Stru()
{
    ClearFileList();
}

Attach_Stru &Attach_Stru::operator=(const Attach_Stru &other)
{
    if (this == &other)
        return *this;   // appending our own list to itself would never end
    std::memcpy(m_szName, other.m_szName, sizeof m_szName);
    std::memcpy(m_szContentType, other.m_szContentType, sizeof m_szContentType);
    m_nStart = other.m_nStart;
    m_nEnd = other.m_nEnd;
    for (const CTnefFileName *node = other.m_pTnefHead; node != nullptr; node = node->m_pNext)
        AddFileName(node->m_strName.c_str(), false);
    return *this;
}

void Attach_Stru::AddFileName(const char *name, bool makeTempPath)
{
    CTnefFileName *node = new (std::nothrow) CTnefFileName;
    if (node == nullptr)
        return;
    node->SetName(name);
    if (makeTempPath && m_bTnef)
        node->m_strTempPath = g_t_strTEMPDIR + SafeFileNamePart(node->m_strName.c_str());
    if (m_pTnefTail == nullptr)
        m_pTnefHead = node;
    else
        m_pTnefTail->m_pNext = node;
    m_pTnefTail = node;
}

void Attach_Stru::ClearFileList()
{
    while (m_pTnefHead != nullptr) {
        CTnefFileName *next = m_pTnefHead->m_pNext;
        delete m_pTnefHead;
        m_pTnefHead = next;
    }
    m_pTnefTail = nullptr;
    for (std::string *path : {&m_strTempFile, &m_strTempFile2}) {
        if (!path->empty()) {
            DeleteFile(path->c_str());
            path->clear();
        }
    }
}
