// The MIME walk's boundary stack: one malloc'ed _BOUNDLIST entry per open
// multipart, the innermost on top.
//
//   _BOUNDLIST *top = nullptr;
//   top = AddBoundary(value, top, isDigest);   // push
//   top = RemoveBoundary(top);                 // pop, returns the one below
//   RemoveAllBoundary(top);                    // at the end of the walk
//
// An entry keeps its boundary whole, however long: mail clients follow a
// boundary of any length, so a cut one would hide the parts behind it. The
// text lies in the same allocation, right after the entry.
#pragma once

#include <cstdint>

struct _BOUNDLIST {
    char *m_szBoundary;    // the boundary parameter, NUL-terminated
    _BOUNDLIST *m_pNext;   // the entry below
    int32_t m_bDigest;     // opened by a multipart/digest type
};

// Pushes a new entry; on allocation failure `top` is returned unchanged.
_BOUNDLIST *AddBoundary(const char *boundary, _BOUNDLIST *top, int digest);
// Frees the top entry and returns the one below (null for a null top).
_BOUNDLIST *RemoveBoundary(_BOUNDLIST *top);
// Frees every entry.
void RemoveAllBoundary(_BOUNDLIST *top);
