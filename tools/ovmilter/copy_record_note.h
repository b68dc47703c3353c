// Writes the envelope record beside the quarantine or archive copy the
// plug-in made of a mail (see tools/hostkit/copy_record.h): the SMTP
// envelope as the milter saw it, the Postfix queue id, the client address
// and the verdict. A record that cannot be written is logged; the mail's
// answer does not change, as the copy itself is there.
//
//   note_copy_record(*session->mail, session->client, queueId, outcome);
#pragma once

#include <string>

#include "tools/ovmilter/mail_capture.h"
#include "tools/ovmilter/mail_judge.h"

void note_copy_record(const MailCapture &mail, const std::string &client, const char *queueId,
                      const MailOutcome &outcome);
