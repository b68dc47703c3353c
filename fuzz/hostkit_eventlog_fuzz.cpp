// Fuzzes reading the plug-in's event log back into mail records: any text,
// CRLF or not, cut anywhere. Every record read must carry a date of the form
// YYYY-MM-DD and fields without line breaks.
#include <cstdint>
#include <cstdlib>
#include <string>

#include "tools/hostkit/event_log_reader.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const std::string input(reinterpret_cast<const char *>(data), size);
    for (const LoggedMail &mail : parse_event_log(input)) {
        if (mail.date.size() != 10 || mail.date[4] != '-' || mail.date[7] != '-')
            std::abort();
        for (const std::string *field : {&mail.direction, &mail.action, &mail.name, &mail.sender,
                                         &mail.dataFile}) {
            if (field->find('\n') != std::string::npos)
                std::abort();
        }
    }
    return 0;
}
