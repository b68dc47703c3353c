// The de-duplicated envelope recipient list and its comma-joined text.
#include "mail/mail_list.h"

#include <cstdlib>
#include <cstring>
#include <new>
#include <string>

#include "base/file_util.h"
#include "mail/envelope.h"

CMailList::~CMailList()
{
    while (m_pHead != nullptr) {
        CMailer *next = m_pHead->m_pNext;
        delete m_pHead;
        m_pHead = next;
    }
    std::free(m_pszList);
}

void CMailList::AddMailer(const char *address)
{
    if (address == nullptr || *address == '\0')
        return;
    if (m_addresses.count(address) != 0)
        return;
    CMailer *entry = new (std::nothrow) CMailer;
    if (entry == nullptr)
        return;
    size_t size = std::strlen(address) + 1;
    entry->m_pszAddress = new (std::nothrow) char[size];
    if (entry->m_pszAddress == nullptr) {
        delete entry;
        return;
    }
    std::memcpy(entry->m_pszAddress, address, size);
    try {
        m_addresses.insert(std::string_view(entry->m_pszAddress, size - 1));
    } catch (const std::bad_alloc &) {
        delete entry;
        return;
    }
    if (m_pTail == nullptr)
        m_pHead = entry;
    else
        m_pTail->m_pNext = entry;
    m_pTail = entry;
}

void CMailList::GatherMailList(const char *afPath)
{
    f_read_text_file file(afPath);
    GatherLines(file);
}

void CMailList::GatherMailListText(const std::string &text)
{
    f_read_text_file lines(text.data(), text.size());
    GatherLines(lines);
}

void CMailList::GatherLines(f_read_text_file &file)
{
    if (!file.is_open())
        return;
    std::string line;
    while (file.read_a_line(line)) {
        if (line.empty() || line[0] != 'T')
            continue;
        AddMailer(envelope::TrimRight(line).c_str() + 1);
    }
    CreateListString();
}

int CMailList::QueryListLen()
{
    size_t total = 0;
    for (const CMailer *entry = m_pHead; entry != nullptr; entry = entry->m_pNext)
        total += std::strlen(entry->m_pszAddress) + 1;
    return static_cast<int>(total);
}

void CMailList::CreateListString()
{
    std::free(m_pszList);
    m_pszList = nullptr;
    int length = QueryListLen();
    if (length == 0)
        return;
    m_pszList = static_cast<char *>(std::malloc(static_cast<size_t>(length) + 1));
    if (m_pszList == nullptr)
        return;
    char *end = m_pszList;
    for (const CMailer *entry = m_pHead; entry != nullptr; entry = entry->m_pNext) {
        size_t size = std::strlen(entry->m_pszAddress);
        std::memcpy(end, entry->m_pszAddress, size);
        end += size;
        *end++ = ',';
    }
    end[-1] = '\0';   // the last comma
}
