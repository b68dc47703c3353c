#include "tools/ovctl/scan_copy_records.h"

#include <cstdio>

#include "tools/hostkit/copy_record.h"

int keep_copy_records(const std::vector<MailVerdict> &mails,
                      const std::vector<MailEnvelope> &envelopes)
{
    int failed = 0;
    for (size_t i = 0; i < mails.size() && i < envelopes.size(); ++i) {
        const MailVerdict &mail = mails[i];
        CopyRecord record;
        record.id = mail.label;
        record.host = "ovctl";
        record.sender = envelopes[i].envelopeFrom;
        record.recipients = envelopes[i].recipients;
        record.verdict = verdict_result_word(mail);
        record.action = verdict_action_word(mail);
        record.trigger = mail.name;
        std::string error;
        if (!record_mail_copy(mail.report.copy_path, record, &error)) {
            std::fprintf(stderr, "ovctl: %s: no envelope record: %s\n", mail.label.c_str(),
                         error.c_str());
            ++failed;
        }
    }
    return failed;
}
