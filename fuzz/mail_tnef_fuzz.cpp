// Fuzz target: the TNEF decoder over arbitrary streams, as OVCMDecodeTNEF
// runs it. Every name it reports must be a terminated text of at most 255
// bytes whose save path stays inside the save directory. The last input
// byte picks the callback's answers: stop at the n-th name, and (high bit)
// save each attachment, under one fixed file name in a scratch directory.
#include <stdlib.h>
#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <cstring>
#include <string>

#include "mail/tnef_decoder.h"

namespace {

struct Context {
    int calls = 0;
    int stopAt = 0;   // 0: never stop
    bool save = false;
};

const std::string &SaveDir()
{
    static const std::string dir = [] {
        char pattern[] = "/tmp/ov_tnef_fuzz_XXXXXX";
        return std::string(mkdtemp(pattern) ? pattern : "/tmp");
    }();
    return dir;
}

int CheckName(char *name, void *opaque)
{
    auto *context = static_cast<Context *>(opaque);
    if (std::strlen(name) > 255)
        std::abort();
    std::string path = TnefSavePath("/save\\", name);
    std::string file = path.substr(6);
    if (path.compare(0, 6, "/save\\") != 0 || file.find('/') != std::string::npos ||
        file == "." || file == ".." || file.empty())
        std::abort();
    if (++context->calls == context->stopAt)
        return 1;
    if (!context->save)
        return 0;
    std::strcpy(name, "out.bin");
    return 3;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    if (size == 0)
        return 0;
    FILE *file = fmemopen(const_cast<uint8_t *>(data), size, "rb");
    if (!file)
        return 0;
    Context context;
    context.stopAt = data[size - 1] % 8;
    context.save = (data[size - 1] & 0x80) != 0;
    TnefDecoder decoder(CheckName, &context, (SaveDir() + "/").c_str());
    int result = decoder.Decode(file, long(size));
    std::fclose(file);
    if (result != 0 && result != -1)
        std::abort();
    return 0;
}
