// The MIME walk of a mail in memory by one text path: the text (memory, then
// spill file) and one line per attachment record, for comparing the paths.
#pragma once

#include <cstdio>
#include <memory>
#include <string>

#include "mail/mail_info.h"
#include "mail/mime_walk.h"
#include "ov/contscan.h"

struct WalkResult {
    std::string text;
    std::string records;
};

inline WalkResult WalkWithPath(const std::string &mail, MimeTextPath path, size_t blockSize = 65536)
{
    WalkResult result;
    auto buf = std::make_unique<MEMBUF>();
    FILE *spill = std::tmpfile();
    FILE *in = spill ? fmemopen(const_cast<char *>(mail.data()), mail.size(), "rb") : nullptr;
    if (!in) {
        if (spill)
            std::fclose(spill);
        return {"cannot open", ""};
    }
    CMailInfo info;
    WalkMail(in, long(mail.size()), buf.get(), spill, &info, blockSize, path);
    std::fclose(in);
    result.text.assign(buf->m_szData, size_t(buf->m_nLength));
    result.text += buf->m_bInMemory ? "|in memory|" : "|spilled|";
    std::rewind(spill);
    char block[4096];
    for (size_t got; (got = std::fread(block, 1, sizeof block, spill)) > 0;)
        result.text.append(block, got);
    std::fclose(spill);
    for (int i = 0; i < info.m_nAttachCount; ++i) {
        const Attach_Stru &a = *info.m_pAttach[i];
        result.records += std::string(a.m_szName) + "|" + a.m_szContentType + "|" +
                          std::to_string(a.m_nStart) + "|" + std::to_string(a.m_nEnd) + "|" +
                          std::to_string(a.m_nEncoding) + "\n";
    }
    return result;
}
