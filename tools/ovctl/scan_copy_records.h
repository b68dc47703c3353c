// ovctl scan's part in keeping the envelope: after the plug-in judged a
// batch, writes the envelope record beside each quarantine or archive copy
// it reported (see tools/hostkit/copy_record.h), with the input file as the
// mail's id. A record that cannot be written is reported on stderr and makes
// the scan fail (exit 1); the copies themselves stay.
//
//   int failed = keep_copy_records(mails, envelopes);   // envelopes[i] of mails[i]
#pragma once

#include <vector>

#include "tools/hostkit/spool.h"
#include "tools/ovctl/host_run.h"

// How many records could not be written.
int keep_copy_records(const std::vector<MailVerdict> &mails,
                      const std::vector<MailEnvelope> &envelopes);
