// The libmilter side of ovmilter: the callbacks that follow one SMTP
// session (connect, MAIL FROM, RCPT TO, headers, body, end of message),
// capture each message into the spool, have it judged, and answer the MTA:
// accept (with the body replaced and the verdict header added when so
// configured), discard, reject or tempfail. Any internal failure answers
// tempfail, so the sending server keeps the mail and retries.
//
//   MilterSetup setup{&config, &direction, &judge};
//   if (!register_milter(setup, &error)) ...   // before smfi_main()
//   smfi_main();                    // in its own thread; to stop:
//   stop_taking_mail();             // new messages get a tempfail
//   wait_for_open_messages(60);     // libmilter serves sessions only while
//   smfi_stop();                    // its loop runs, so drain first
//   if (wait_for_open_messages(0)) ...the setup may go now...
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

// From now on a new message gets a tempfail; the ones already open go on.
void stop_taking_mail();

// Waits until no message is open (between MAIL FROM and its answer), at
// most `seconds`. True means no callback will use the setup any more; false
// that some message still may.
bool wait_for_open_messages(int seconds);
