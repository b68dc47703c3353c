// Time stamps of generated mail.
//
//   char date[128];
//   portwallTimeStamp(date, sizeof date - 1);   // "Tue, 03 Jun 2003 14:05:09 +0900"
//
// portwallTimeStamp renders the current local time in RFC 822 style for the
// "Date:" header of notification mails, with the zone written the way the
// rest of the gateway writes it (see time_stamp.cpp). The text is cut to
// maxLen characters, so dst needs room for maxLen + 1 bytes; it always
// returns 0. IsDST tells whether daylight saving time is in force now.
// Both read the zone set by tzset(); a program that changes TZ calls tzset().
#pragma once

int portwallTimeStamp(char *dst, int maxLen);
bool IsDST();
