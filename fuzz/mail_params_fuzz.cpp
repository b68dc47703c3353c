// Fuzz target: MIME header parameters. The input is a header value; it is
// read whole and cut in two at a point taken from its first byte, and both
// readings must agree (the reader keeps its state across pieces). Values
// stay within their bound.
#include <cstdint>
#include <cstdlib>
#include <string>

#include "mail/mime_params.h"

namespace {

std::string Read(const char *data, size_t size, size_t cut, const char *name)
{
    MimeParamReader reader({"boundary", "name", "filename"});
    reader.Feed(data, cut);
    reader.Feed(data + cut, size - cut);
    reader.Finish();
    const MimeParam *param = reader.Find(name);
    if (!param)
        return "-";
    if (param->value.size() > MimeParamReader::kMaxValue)
        std::abort();
    return param->value + "|" + param->charset + "|" + std::to_string(param->plainCount) +
           (param->extended ? "e" : "") + (param->anyExtended ? "a" : "");
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    if (size == 0)
        return 0;
    const char *text = reinterpret_cast<const char *>(data);
    const size_t cut = data[0] % size;
    for (const char *name : {"boundary", "name", "filename"})
        if (Read(text, size, 0, name) != Read(text, size, cut, name))
            std::abort();
    return 0;
}
