// Push and pop of the boundary stack.
#include "mail/boundary_list.h"

#include <cstdlib>
#include <cstring>

#include "base/file_util.h"

_BOUNDLIST *AddBoundary(char *boundary, _BOUNDLIST *top, int digest)
{
    auto *entry = static_cast<_BOUNDLIST *>(std::malloc(sizeof(_BOUNDLIST)));
    if (!entry)
        return top;
    if (boundary && std::strlen(boundary) > BOUNDARY_SIZE - 1)
        boundary[BOUNDARY_SIZE - 1] = '\0';
    strcpy_truncate(entry->m_szBoundary, boundary ? boundary : "", sizeof entry->m_szBoundary);
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
