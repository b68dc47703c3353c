// Fuzzes the reader of the envelope record kept beside a quarantine copy.
// A record it accepts must come out of the writer and back unchanged; and
// any text must quote to a JSON string that the reader takes back.
#include <cstdint>
#include <cstdlib>
#include <string>

#include "tools/hostkit/copy_record.h"
#include "tools/hostkit/json_text.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const std::string input(reinterpret_cast<const char *>(data), size);
    CopyRecord record;
    std::string error;
    if (parse_copy_record(input, &record, &error)) {
        CopyRecord again;
        if (!parse_copy_record(format_copy_record(record), &again, &error) ||
            format_copy_record(again) != format_copy_record(record))
            std::abort();
    }
    JsonObject object;
    if (!parse_json_object("{\"k\": " + json_quote(input) + "}", &object, &error))
        std::abort();
    if (valid_utf8(input) == input && object.text("k") != input)
        std::abort();
    return 0;
}
