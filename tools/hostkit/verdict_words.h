// The words every host prints for the plug-in's verdict on one mail, so that
// ovctl's columns and ovmilter's log say the same thing:
//
//   ZWEmailPluginProcess               result   action        word
//   negative                           error    (as below)    error
//   2, blocked set, or action 1-3      blocked  deleted,      deleted, quarantined,
//                                               quarantined,  archived (blocked when
//                                               archived      the action is none)
//   action 4                           pass     replaced      replaced
//   anything else                      pass     none          pass
//
// A keyword policy's action comes back with result 0 and the blocked flag
// clear; its action alone says the mail was blocked.
#pragma once

#include "ov/host.h"

struct VerdictWords {
    bool blocked = false; // the mail does not go on to its recipients
    const char *result = "error";
    const char *action = "none";
    const char *word = "error"; // the action when there is one, else the result
};

VerdictWords describe_verdict(int code, const ZWMailResult &result);
