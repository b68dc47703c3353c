// The relay hosts of a mail: for each "Received:" header, the host named
// after " from" and the host named after "by ", in order of appearance,
// added to the mail record with CMailInfo::AddDomain (the DOM rule terms
// test them).
//
// The header is read in pieces of at most 511 characters, up to the first
// piece that begins with CR or LF (the blank line before the body) or the
// end of the file. "Received:" must begin a line, in this spelling; " from"
// and "by " are found in any case. A header folded over several lines still
// gives both hosts:
//   Received: from mail.example.com (mail.example.com [192.0.2.1])
//           by mx.example.net with ESMTP id 1234
// Host names are the words that follow, cut at a blank, tab, CR or LF.
#pragma once

#include <cstdio>

class CMailInfo;

// Reads from the current position of file; adds the hosts to info.
void CollectReceivedHosts(FILE *file, CMailInfo &info);
