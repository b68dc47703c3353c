// The libmilter side of ovmilter: the callbacks that follow one SMTP
// session (connect, MAIL FROM, RCPT TO, headers, body, end of message),
// capture each message into the spool, have it judged, and answer the MTA:
// accept (with the body replaced and the verdict header added when so
// configured), discard, reject or tempfail. Any internal failure answers
// tempfail, so the sending server keeps the mail and retries.
//
//   MilterSetup setup{&config, &direction, &judge};
//   if (!register_milter(setup, &error)) ...   // before smfi_main()
//   smfi_main();
//   wait_for_mails_in_flight(60);            // after it returned
#pragma once

#include <string>

#include "tools/ovmilter/direction.h"
#include "tools/ovmilter/mail_judge.h"
#include "tools/ovmilter/milter_config.h"

struct MilterSetup {
    const MilterConfig *config;
    const MailDirection *direction;
    const MailJudge *judge;
};

// Registers the callbacks and opens the socket; false with a reason. The
// setup must outlive smfi_main().
bool register_milter(const MilterSetup &setup, std::string *error);

// Waits until no message is between its end and its answer, at most
// `seconds`; false when some still are.
bool wait_for_mails_in_flight(int seconds);
