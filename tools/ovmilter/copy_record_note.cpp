#include "tools/ovmilter/copy_record_note.h"

#include <syslog.h>

#include "tools/hostkit/copy_record.h"
#include "tools/ovmilter/milter_log.h"

void note_copy_record(const MailCapture &mail, const std::string &client, const char *queueId,
                      const MailOutcome &outcome)
{
    const std::string copyPath = outcome.report.copy_path;
    if (copyPath.empty())
        return;
    CopyRecord record;
    const std::string &af = mail.pair().afPath;
    record.id = queueId ? queueId : af.substr(af.rfind('/') + 1);
    record.host = "ovmilter";
    record.sender = mail.envelope().envelopeFrom;
    record.recipients = mail.envelope().recipients;
    record.client = client;
    record.verdict = outcome.code == 2 || outcome.result.blocked ? "blocked" : "pass";
    record.action = outcome.verdict.word;
    record.trigger = outcome.report.trigger;
    std::string error;
    if (!record_mail_copy(copyPath, record, &error))
        milter_log(LOG_ERR, "%s: no envelope record for %s: %s", record.id.c_str(),
                   copyPath.c_str(), error.c_str());
}
