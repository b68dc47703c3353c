// A TNEF file-name node and the temporary files it owns.
#include "mail/tnef_file_name.h"

#include <cstring>

#include "base/file_util.h"

CTnefFileName::CTnefFileName() : m_pNext(nullptr)
{
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
    m_strName.assign(name ? name : "", name ? strnlen(name, kMaxNameLength) : 0);
}
