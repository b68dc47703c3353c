// Fuzzes the transfer decoders and encoders. The first byte picks the
// decoder; every encoder's output must decode back to its input.
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>

#include "fuzz_buffers.h"
#include "mail/decode_master.h"
#include "mail/transfer_codecs.h"

namespace {

void FreeChecked(char *p, int n)
{
    fuzz_check(p == nullptr ? n == 0 : n >= 0);
    if (p)
        fuzz_check(p[n] == '\0');
    std::free(p);
}

void RoundTrips(const std::string &data)
{
    const int len = static_cast<int>(data.size());
    int n = 0;
    char *b64 = to_base64(data.data(), len, &n);
    fuzz_check(b64 != nullptr);
    int m = 0;
    char *back = from_base64(b64, n, &m);
    fuzz_check(back && std::string(back, static_cast<size_t>(m)) == data);
    std::free(back);
    CDecodeMaster dm;
    back = dm.from_base64(b64, n, &m);
    fuzz_check(back && std::string(back, static_cast<size_t>(m)) == data);
    std::free(back);
    std::free(b64);

    const std::string text = data.substr(0, data.find('\0'));
    char *qp = to_qprint(text.data(), static_cast<int>(text.size()), &n);
    fuzz_check(qp != nullptr);
    back = from_qprint(qp, n, &m);
    fuzz_check(back && std::string(back, static_cast<size_t>(m)) == text);
    std::free(back);
    std::free(qp);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *bytes, size_t size)
{
    if (size == 0)
        return 0;
    const int which = bytes[0] % 5;
    std::string data(reinterpret_cast<const char *>(bytes + 1), size - 1);
    const int len = static_cast<int>(data.size());
    int n = -1;
    CDecodeMaster dm;
    std::string buffer = data;   // from_qprint needs room for the NUL at [len]
    char *p = nullptr;
    switch (which) {
    case 0:
        p = from_base64(data.data(), len, &n);
        break;
    case 1:
        p = dm.from_base64(data.data(), len, &n);
        break;
    case 2:
        p = from_qprint(buffer.data(), len, &n);
        break;
    case 3:
        p = dm.from_UU(data.data(), len, &n);
        break;
    default:
        RoundTrips(data);
        return 0;
    }
    FreeChecked(p, n);
    return 0;
}
