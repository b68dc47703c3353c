// RecipientTable: splits the "to" text of a notification into fixed slots.
#include "notify/recipient_table.h"

#include <algorithm>
#include <string>

#include "base/file_util.h"

RecipientTable::RecipientTable(const char *to)
{
    std::string text = to ? to : "";
    const size_t capacity = static_cast<size_t>(std::count(text.begin(), text.end(), ',')) + 1;
    m_slots.resize(capacity);
    m_pointers.reserve(capacity + 1);

    char *save = nullptr;
    for (char *piece = Strtok(text.data(), ",", &save); piece && m_pointers.size() < capacity;
         piece = Strtok(nullptr, ",", &save)) {
        char *slot = m_slots[m_pointers.size()].data();
        strcpy_truncate(slot, piece, SLOT_SIZE);
        m_pointers.push_back(slot);
    }
    m_pointers.push_back(nullptr);
}
