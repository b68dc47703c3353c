// A TNEF file-name node and the temporary files it owns.
#include "mail/tnef_file_name.h"

#include "base/file_util.h"

CTnefFileName::CTnefFileName() : m_pNext(nullptr)
{
    m_szName[0] = '\0';
}

CTnefFileName::~CTnefFileName()
{
    if (!m_strPath.empty())
        DeleteFile(m_strPath.c_str());
    if (!m_strTempPath.empty())
        DeleteFile(m_strTempPath.c_str());
}

void CTnefFileName::SetName(const char *name)
{
    strcpy_truncate(m_szName, name ? name : "", sizeof m_szName);
}
