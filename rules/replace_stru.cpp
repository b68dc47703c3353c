// The list of attachments to replace (see replace_stru.h).
#include "rules/replace_stru.h"

#include <new>

bool Replace_Stru::Add(const Attach_Stru &attach)
{
    if (count < 0 || count >= MAX_ATTACH_COUNT)
        return false;
    Attach_Stru *copy = new (std::nothrow) Attach_Stru;
    if (!copy)
        return false;
    *copy = attach;
    entries[count++] = copy;
    return true;
}

void Replace_Stru::Clear()
{
    for (int i = 0; i < count && i < MAX_ATTACH_COUNT; ++i) {
        delete entries[i];
        entries[i] = nullptr;
    }
    count = 0;
}
