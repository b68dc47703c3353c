// Fuzz target: the envelope readers over arbitrary bytes. The input is
// written as an envelope file and read whole in both modes, value by value
// and as a recipient list; the views must keep pointing at their strings, and
// the whole input decoded as one value reads the same by the fast path.
#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "mail/envelope.h"
#include "mail/mail_info.h"
#include "mail/mail_list.h"

namespace {

const std::string &ScratchFile()
{
    static const std::string path = [] {
        const char *dir = std::getenv("TMPDIR");
        return std::string(dir && *dir ? dir : "/tmp") + "/fuzz_envelope_" +
               std::to_string(getpid());
    }();
    return path;
}

void CheckView(const std::string &text, const char *view)
{
    if (view != nullptr && view != text.c_str())
        std::abort();
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const std::string &path = ScratchFile();
    FILE *file = std::fopen(path.c_str(), "wb");
    if (file == nullptr)
        return 0;
    std::fwrite(data, 1, size, file);
    std::fclose(file);

    for (bool raw : {true, false}) {
        CMailInfo info;
        info.ParseAFInfo(path.c_str(), raw);
        CheckView(info.m_strFrom, info.m_pszFrom);
        CheckView(info.m_strTo, info.m_pszTo);
        CheckView(info.m_strCc, info.m_pszCc);
        CheckView(info.m_strReplyTo, info.m_pszReplyTo);
        CheckView(info.m_strSubject, info.m_pszSubject);
        CheckView(info.m_strEnvelopeFrom, info.m_pszEnvelopeFrom);
        CheckView(info.m_strEnvelopeTo, info.m_pszEnvelopeTo);
        CheckView(info.m_strA, info.m_pszA);
    }
    for (const char *letter = envelope::kCommandLetters; *letter != '\0'; ++letter) {
        std::string value;
        if (GetAFInfo(*letter, path.c_str(), value) == 0 && *letter == 'F' && value.empty())
            std::abort();   // the null sender reads as "<>"
    }
    const std::string value(reinterpret_cast<const char *>(data), size);
    if (envelope::DecodeValue(value) != envelope::DecodeEncodedValue(value))
        std::abort();   // the plain-value fast path changed a decoding
    CMailList list;
    list.GatherMailList(path.c_str());
    const char *joined = list.GetListString();
    if (joined != nullptr && std::strlen(joined) + 1 != static_cast<size_t>(list.QueryListLen()))
        std::abort();
    return 0;
}
