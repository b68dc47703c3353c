// Answering the MTA at the end of one message, in libmilter's terms: the
// reply for the verdict, and for an accepted mail the header edits, the new
// body and the verdict header. Called from the end-of-message callback,
// the only one where libmilter lets a filter change a message.
//
//   std::string failure;
//   sfsistat reply = answer_mta(context, capture, outcome, config, &failure);
//   if (reply == SMFIS_TEMPFAIL) ...failure says why...
#pragma once

#include <libmilter/mfapi.h>

#include <string>

#include "tools/ovmilter/mail_capture.h"
#include "tools/ovmilter/mail_judge.h"
#include "tools/ovmilter/milter_config.h"

// The reply for the outcome, after the changes it asks for were handed to the
// MTA; SMFIS_TEMPFAIL (with the 451 reply set) when the outcome says so or
// the MTA refused a change, the reason in *failure.
sfsistat answer_mta(SMFICTX *context, const MailCapture &mail, const MailOutcome &outcome,
                    const MilterConfig &config, std::string *failure);

// Sets the 451 reply that asks the sender to try again later.
sfsistat tempfail_reply(SMFICTX *context);

// The word for a reply code in the log: accept, discard, reject, tempfail.
const char *milter_reply_word(sfsistat reply);
