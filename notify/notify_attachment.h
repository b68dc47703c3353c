// The attachment part of a notification mail, cut from the blocked mail's
// data file:
//   NOTIFY_HEADER        its header lines as a text part (encoded words of the
//                        host language decoded, charset and encoding to match)
//   NOTIFY_MESSAGE       the whole mail as message/rfc822, name "Message"
//   NOTIFY_MESSAGE_TEXT  the whole mail as text/plain, name "Message.txt"
// Each part is followed by the closing boundary of the notification.
//
//   if (!WriteNotifyAttachment(out, dfPath, type, boundary))
//       ...nothing attached: the mail ends after its text part
#pragma once

#include <cstdio>
#include <string>

// False (and nothing written) for any other type, a null blockedFile or one
// that cannot be opened.
bool WriteNotifyAttachment(FILE *out, const char *blockedFile, int type,
                           const std::string &boundary);
