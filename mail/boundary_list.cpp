// Push and pop of the boundary stack.
#include "mail/boundary_list.h"

#include <cstdlib>
#include <cstring>

_BOUNDLIST *AddBoundary(const char *boundary, _BOUNDLIST *top, int digest)
{
    if (!boundary)
        boundary = "";
    const size_t length = std::strlen(boundary);
    auto *entry = static_cast<_BOUNDLIST *>(std::malloc(sizeof(_BOUNDLIST) + length + 1));
    if (!entry)
        return top;
    entry->m_szBoundary = reinterpret_cast<char *>(entry + 1);
    std::memcpy(entry->m_szBoundary, boundary, length + 1);
    entry->m_pNext = top;
    entry->m_bDigest = digest;
    return entry;
}

_BOUNDLIST *RemoveBoundary(_BOUNDLIST *top)
{
    if (!top)
        return nullptr;
    _BOUNDLIST *below = top->m_pNext;
    std::free(top);
    return below;
}

void RemoveAllBoundary(_BOUNDLIST *top)
{
    while (top)
        top = RemoveBoundary(top);
}
