// CMailInfo: construction with its preallocated buffers, and the lists of
// relay hosts and attachments that grow to 128 entries.
#include "mail/mail_info.h"

#include <cstdlib>
#include <cstring>
#include <new>

#include "base/file_util.h"

CMailInfo::CMailInfo()
    : m_pDomain{}, m_nDomainCount(0), m_nDomainAlloc(0), m_pszFrom(nullptr), m_pszTo(nullptr),
      m_pszCc(nullptr), m_pszReplyTo(nullptr), m_pszSubject(nullptr), m_pszEnvelopeTo(nullptr),
      m_pszA(nullptr), m_nMailSize(0), m_lReceivedTime(0), m_pAttach{}, m_nAttachCount(0),
      m_nAttachAlloc(0), m_bChecked{}, m_nDirection(0), m_pszEnvelopeFrom(nullptr),
      m_nMimeAmbiguity(0), m_bTextWriteFailed(false)
{
    while (m_nDomainAlloc < DOMAIN_PREALLOC) {
        char *buffer = static_cast<char *>(std::malloc(DOMAIN_BUFFER_SIZE));
        if (buffer == nullptr)
            break;
        buffer[0] = '\0';
        m_pDomain[m_nDomainAlloc++] = buffer;
    }
    while (m_nAttachAlloc < ATTACH_PREALLOC) {
        Attach_Stru *attach = new (std::nothrow) Attach_Stru;
        if (attach == nullptr)
            break;
        m_pAttach[m_nAttachAlloc++] = attach;
    }
    ClearCheckedFlag();
}

CMailInfo::~CMailInfo()
{
    int domains = m_nDomainAlloc < MAX_DOMAIN_COUNT ? m_nDomainAlloc : MAX_DOMAIN_COUNT;
    for (int i = 0; i < domains; ++i)
        std::free(m_pDomain[i]);
    int attachments = m_nAttachAlloc < MAX_ATTACH_COUNT ? m_nAttachAlloc : MAX_ATTACH_COUNT;
    for (int i = 0; i < attachments; ++i)
        delete m_pAttach[i];
}

void CMailInfo::AddDomain(char *host)
{
    if (host == nullptr || m_nDomainCount >= MAX_DOMAIN_COUNT)
        return;
    if (m_nDomainCount >= m_nDomainAlloc) {
        char *buffer = static_cast<char *>(std::malloc(DOMAIN_BUFFER_SIZE));
        if (buffer == nullptr)
            return;
        m_pDomain[m_nDomainAlloc++] = buffer;
    }
    // The caller's text is shortened in place, so that it sees what was kept.
    if (std::strlen(host) > DOMAIN_BUFFER_SIZE - 1)
        host[DOMAIN_BUFFER_SIZE - 1] = '\0';
    strcpy_truncate(m_pDomain[m_nDomainCount++], host, DOMAIN_BUFFER_SIZE);
}

void CMailInfo::AddAttach(char *name, char *contentType)
{
    if ((name == nullptr && contentType == nullptr) || m_nAttachCount >= MAX_ATTACH_COUNT)
        return;
    if (m_nAttachCount >= m_nAttachAlloc) {
        Attach_Stru *attach = new (std::nothrow) Attach_Stru;
        if (attach == nullptr)
            return;
        m_pAttach[m_nAttachAlloc++] = attach;
    }
    Attach_Stru *attach = m_pAttach[m_nAttachCount];
    // As with hosts, the caller's texts are cut in place.
    if (name != nullptr && std::strlen(name) > sizeof attach->m_szName - 1)
        name[sizeof attach->m_szName - 1] = '\0';
    strcpy_truncate(attach->m_szName, name ? name : "", sizeof attach->m_szName);
    if (contentType != nullptr && std::strlen(contentType) > sizeof attach->m_szContentType - 1)
        contentType[sizeof attach->m_szContentType - 1] = '\0';
    strcpy_truncate(attach->m_szContentType, contentType ? contentType : "",
                    sizeof attach->m_szContentType);
    ++m_nAttachCount;
}

void CMailInfo::ClearAttachTnefFileList()
{
    for (int i = 0; i < m_nAttachCount && i < m_nAttachAlloc; ++i)
        m_pAttach[i]->ClearFileList();
}

void CMailInfo::ClearCheckedFlag()
{
    std::memset(m_bChecked, 0, sizeof m_bChecked);
}
