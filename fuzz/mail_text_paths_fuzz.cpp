// Fuzz target: the MIME walk's two text paths over arbitrary message bytes.
// Lines that need no conversion take the short way in one and go through
// detection and conversion in the other; the text and the attachment
// records must be the same bytes. The converters' and decoders' run-wise
// loops must also give what their byte-at-a-time forms give on the bytes.
#include <cstdint>
#include <cstdlib>
#include <string>

#include "tests/support/byte_loop_paths.h"
#include "tests/support/mime_text_paths.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    if (size == 0)
        return 0;
    std::string mail(reinterpret_cast<const char *>(data), size);
    if (!ByteLoopDifference(mail).empty())
        std::abort();
    WalkResult fast = WalkWithPath(mail, MimeTextPath::kFast);
    WalkResult reference = WalkWithPath(mail, MimeTextPath::kReference);
    if (fast.text != reference.text || fast.records != reference.records)
        std::abort();
    return 0;
}
