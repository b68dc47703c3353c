// The milter's answer to the plug-in's verdict on one mail.
//
//   result of the plug-in                 answer
//   negative (file, preparation errors)   tempfail: the sender retries
//   a copy, replace or temp fault         tempfail: the quarantine or archive
//                                         copy, the rewrite or the filters
//                                         did not happen as the verdict says
//   2, blocked, or action 1-3             discard or reject (OnBlock); the
//                                         plug-in has made the quarantine or
//                                         archive copy it was told to make
//   action 4 (attachments replaced)       accept with the rewritten body
//   anything else                         accept unchanged
#pragma once

#include <stdint.h>

#include "ov/host.h"
#include "tools/ovmilter/milter_config.h"

enum class MilterReply { Accept, Discard, Reject, Tempfail };

struct MilterVerdict {
    MilterReply reply = MilterReply::Tempfail;
    bool replaceBody = false;
    // One word for logs and the verdict header, as ovctl prints it
    // (describe_verdict): pass, replaced, deleted, quarantined, archived,
    // blocked or error.
    const char *word = "error";
};

MilterVerdict decide_verdict(int code, const ZWMailResult &result, uint32_t faults,
                             BlockReply onBlock);
