// Fuzz target: the MIME walk over arbitrary message bytes. The walk must
// end, record at most 128 attachments with ranges inside the message, and
// keep the in-memory text within its buffer.
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>

#include "mail/mail_info.h"
#include "mail/mime_walk.h"
#include "ov/contscan.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    static auto buf = std::make_unique<MEMBUF>();
    static FILE *sink = std::fopen("/dev/null", "wb");
    if (size == 0)
        return 0;
    FILE *mail = fmemopen(const_cast<uint8_t *>(data), size, "rb");
    if (!mail)
        return 0;
    CMailInfo info;
    WalkMail(mail, long(size), buf.get(), sink, &info);
    std::fclose(mail);
    if (info.m_nAttachCount > 128 || buf->m_nLength > 99999 || buf->m_nLength < 0)
        std::abort();
    for (int i = 0; i < info.m_nAttachCount; ++i) {
        const Attach_Stru &a = *info.m_pAttach[i];
        if (a.m_nStart < -1 || a.m_nStart > long(size) || a.m_nEnd < 0 || a.m_nEnd > long(size) ||
            std::memchr(a.m_szName, 0, sizeof a.m_szName) == nullptr)
            std::abort();
    }
    return 0;
}
