// CRuleScan::CollectAttachments: the message's attachments and searchable
// text for Scan - the MIME walk, then, with DECODETNEF, the names of the
// files inside TNEF attachments (and, with EnableAttachScan, the text of
// included attachments, appended to the same buffer and text file).
#include <cstdio>

#include "mail/attachment_ops.h"
#include "mail/mail_info.h"
#include "mail/mime_walk.h"
#include "rules/rule_scan.h"

void CRuleScan::CollectAttachments(const ScanFiles &files, MEMBUF *buffer, CMailInfo &info)
{
    std::rewind(files.message);
    WalkMail(files.message, files.messageSize, buffer, files.text, &info);
    // The TNEF listing appends to the same file; text that did not reach it
    // is text the keyword scan would not see.
    if (files.text && std::fflush(files.text) != 0)
        info.m_bTextWriteFailed = true;
    if (DecodeTnef)
        GetTnefFileName(files.df, EnableAttachScan, info, buffer, files.textPath);
}
