// CRuleScan::CollectAttachments: the message's attachments and searchable
// text for Scan - the MIME walk, then, with DECODETNEF, the names of the
// files inside TNEF attachments (and, with EnableAttachScan, the text of
// included attachments, appended to the same buffer and text file).
#include "mail/attachment_ops.h"
#include "mail/mail_info.h"
#include "mail/mime_walk.h"
#include "rules/rule_scan.h"

void CRuleScan::CollectAttachments(const char *dfFile, MEMBUF *buffer, const char *workDir,
                                   CMailInfo &info)
{
    GetAttachmentInfo(dfFile, buffer, workDir, &info);
    if (DecodeTnef)
        GetTnefFileName(dfFile, EnableAttachScan, info, buffer, workDir);
}
