// ovctl mime: what the plug-in's MIME walk finds in a message file.
//
//   ovctl mime DF [--text OUT] [--attach-scan]
//
// One line per attachment the walk records, with its index, name, type,
// byte range in DF and transfer-encoding code:
//   <index>\t<name>\t<content-type>\t<start>\t<end>\t<encoding>
// and, under a TNEF attachment, one line per file name inside it:
//   <index>.<k>\t<contained name>
// and, last, when the structure reads two ways (see "AmbiguousMime"):
//   ambiguous\t<reasons, "; "-separated>
// Indexes count from 0. With --text the searchable text that the keyword
// scan would read is written to OUT; --attach-scan adds the text of text
// and Office attachments to it, as the "EnableAttachScan" setting does.
#include <cstdio>
#include <memory>
#include <string>

#include "mail/attachment_ops.h"
#include "mail/mail_info.h"
#include "mail/mime_walk.h"
#include "ov/contscan.h"
#include "tools/ovctl/command.h"

namespace {

void PrintAttachments(const CMailInfo &info)
{
    for (int i = 0; i < info.m_nAttachCount; ++i) {
        const Attach_Stru &attach = *info.m_pAttach[i];
        std::printf("%d\t%s\t%s\t%d\t%d\t%d\n", i, attach.m_szName, attach.m_szContentType,
                    attach.m_nStart, attach.m_nEnd, attach.m_nEncoding);
        int k = 0;
        for (const CTnefFileName *node = attach.m_pTnefHead; node; node = node->m_pNext)
            std::printf("%d.%d\t%s\n", i, k++, node->m_strName.c_str());
    }
}

// The text stays in memory unless it spilled into the file already.
bool WriteText(const MEMBUF &text, const std::string &path)
{
    if (!text.m_bInMemory)
        return true;
    FILE *out = std::fopen(path.c_str(), "wb");
    if (!out)
        return false;
    bool ok = std::fwrite(text.m_szData, 1, size_t(text.m_nLength), out) == size_t(text.m_nLength);
    return std::fclose(out) == 0 && ok;
}

int run_mime(const OvctlArgs &args)
{
    std::string mail;
    std::string textPath;
    bool attachScan = false;
    for (size_t i = 0; i < args.size(); ++i) {
        if (args[i] == "--text" && i + 1 < args.size())
            textPath = args[++i];
        else if (args[i] == "--attach-scan")
            attachScan = true;
        else if (mail.empty() && args[i].compare(0, 2, "--") != 0)
            mail = args[i];
        else
            return ovctl_usage("mime");
    }
    if (mail.empty())
        return ovctl_usage("mime");
    auto text = std::make_unique<MEMBUF>();
    CMailInfo info;
    const char *out = textPath.empty() ? nullptr : textPath.c_str();
    if (!GetAttachmentInfo(mail.c_str(), text.get(), out, &info))
        return ovctl_fail("cannot open " + mail);
    GetTnefFileName(mail.c_str(), attachScan, info, text.get(), out);
    PrintAttachments(info);
    if (info.m_nMimeAmbiguity)
        std::printf("ambiguous\t%s\n", MimeAmbiguityText(info.m_nMimeAmbiguity).c_str());
    std::fflush(stdout);
    if (out && !WriteText(*text, textPath))
        return ovctl_fail("cannot write " + textPath);
    return 0;
}

const char kHelp[] =
    "Shows the attachments the plug-in's MIME walk finds in a message (DF) file.\n"
    "One line per attachment: \"<index>\\t<name>\\t<content-type>\\t<start>\\t<end>\\t\n"
    "<encoding>\" (byte range in DF; encoding 1 7bit, 2 quoted-printable, 4 base64,\n"
    "8 8bit, 16 binary, 32 uuencoded), and \"<index>.<k>\\t<name>\" for each file inside\n"
    "a TNEF attachment.\n"
    "  --text OUT     writes the text the keyword scan reads to OUT\n"
    "  --attach-scan  adds the text of text and Office attachments, as the\n"
    "                 \"EnableAttachScan\" setting does\n";
const OvctlCommand reg{"mime", "mime DF [--text OUT] [--attach-scan]", run_mime, kHelp};

} // namespace
