// UniqueFileNames: file names used once per extraction (see the header).
#include "tools/ovctl/unique_file_names.h"

#include "mail/temp_dir.h"

std::string UniqueFileNames::Take(const char *name)
{
    std::string safe = SafeFileNamePart(name);
    std::string candidate = safe;
    if (m_taken.count(candidate) != 0) {
        size_t dot = safe.rfind('.');
        if (dot == 0 || dot == std::string::npos)
            dot = safe.size();
        int &next = m_nextNumber.emplace(safe, 2).first->second;
        do
            candidate = safe.substr(0, dot) + "_" + std::to_string(next++) + safe.substr(dot);
        while (m_taken.count(candidate) != 0);
    }
    m_taken.insert(candidate);
    return candidate;
}
