// The MIME walk's boundary stack: one malloc'ed _BOUNDLIST entry per open
// multipart, the innermost on top.
//
//   _BOUNDLIST *top = nullptr;
//   top = AddBoundary(value, top, isDigest);   // push (cuts value at 255)
//   top = RemoveBoundary(top);                 // pop, returns the one below
//   RemoveAllBoundary(top);                    // at the end of the walk
#pragma once

#include <cstdint>

constexpr int BOUNDARY_SIZE = 256;   // 255 characters and the NUL

struct _BOUNDLIST {
    char m_szBoundary[BOUNDARY_SIZE];
    _BOUNDLIST *m_pNext;   // the entry below
    int32_t m_bDigest;     // opened by a multipart/digest type
};

// Pushes a new entry; a boundary longer than 255 characters is cut in the
// caller's buffer first. On allocation failure `top` is returned unchanged.
_BOUNDLIST *AddBoundary(char *boundary, _BOUNDLIST *top, int digest);
// Frees the top entry and returns the one below (null for a null top).
_BOUNDLIST *RemoveBoundary(_BOUNDLIST *top);
// Frees every entry.
void RemoveAllBoundary(_BOUNDLIST *top);
