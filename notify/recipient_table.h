// RecipientTable: the recipient array of a notification mail for the host's
// queue record.
//
//   RecipientTable table("admin@example.com,boss@example.com");
//   record.recipients = table.pointers();   // {"admin@...", "boss@...", nullptr}
//
// The text is split at "," with the reentrant tokenizer (so empty pieces
// vanish); room is made for the number of commas plus one recipients, each
// cut to 100 characters in a slot of 101 bytes. Blanks around the commas are
// kept as they are: the host receives the addresses as configured. The
// pointers stay valid while the table lives.
#pragma once

#include <array>
#include <cstddef>
#include <vector>

class RecipientTable {
public:
    static constexpr size_t SLOT_SIZE = 101; // 100 characters and the terminator

    explicit RecipientTable(const char *to);
    RecipientTable(const RecipientTable &) = delete;
    RecipientTable &operator=(const RecipientTable &) = delete;

    // Null-terminated array of the recipients.
    char **pointers() { return m_pointers.data(); }
    size_t count() const { return m_pointers.size() - 1; }

private:
    std::vector<std::array<char, SLOT_SIZE>> m_slots;
    std::vector<char *> m_pointers;
};
