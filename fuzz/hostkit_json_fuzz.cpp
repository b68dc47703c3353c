// Fuzzes the JSON strings that hosts print: whatever the bytes and whatever
// the host code, the literal is valid UTF-8 without raw control characters.
#include <iconv.h>

#include <cerrno>

#include <cstdint>
#include <string>

#include "fuzz_buffers.h"
#include "tools/hostkit/json_text.h"

namespace {

// True when iconv reads the whole text as UTF-8.
bool is_utf8(std::string text)
{
    iconv_t convert = iconv_open("UTF-32LE", "UTF-8");
    if (convert == reinterpret_cast<iconv_t>(-1))
        return true;
    char *in = &text[0];
    size_t inLeft = text.size();
    bool ok = true;
    while (ok && inLeft > 0) {
        char block[1024];
        char *out = block;
        size_t outLeft = sizeof block;
        ok = iconv(convert, &in, &inLeft, &out, &outLeft) != static_cast<size_t>(-1) ||
             errno == E2BIG;
    }
    iconv_close(convert);
    return ok;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const std::string text(reinterpret_cast<const char *>(data), size);
    for (const char *code : {"UTF-8", "EUC-JP", "SHIFT_JIS", "BIG5"}) {
        const std::string json = json_string(text, code);
        fuzz_check(json.size() >= 2 && json.front() == '"' && json.back() == '"');
        for (unsigned char c : json)
            fuzz_check(c >= 0x20 && c != 0x7F);
        fuzz_check(is_utf8(json));
    }
    return 0;
}
