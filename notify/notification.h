// Notification mails: when a mail is blocked, the sender, the recipients or an
// administrator can be told which policy or rule blocked which mail and what
// was done with it.
//
//   SendNotification(strNotificationSender.c_str(), "admin@example.com",
//                    mailFrom, mailTo, strMsgAdmin.c_str(), dfPath, nullptr,
//                    policyName, ruleText, nullptr, "Quarantine",
//                    static_cast<NOTIFY_TYPE>(nNotifyAttachment), attachName,
//                    strNotificationSubject.c_str());
//
// The complete MIME mail (a text part, then by type the blocked mail's header
// or the whole blocked mail) is written to a new file in the temporary
// directory and handed to the host's queue function Enque_Mail, which owns
// the file from then on. Nothing happens while Enque_Mail is null (the host
// wants no notifications). A failure ends the call without a message; the
// result tells: false when the mail could not be written or the queue
// function refused it (answered non-zero), true otherwise.
//
// Parameters: from (the notification's sender), to (recipients separated by
// ","), sourceMailbox and destinationMailboxes (the blocked mail's sender and
// recipients, as shown in the text), messageText (the administrator's text,
// may be empty), blockedFile (the blocked mail's data file, may be null),
// policy (keyword policy or filter that fired, also shown in the subject),
// rule (may be null), action (what was done), type (what to attach),
// attachmentName (may be null), subject. reserved1 and reserved2 are unused.
#pragma once

enum NOTIFY_TYPE {
    NOTIFY_NONE = 0,         // text part only
    NOTIFY_HEADER = 1,       // the blocked mail's header as text
    NOTIFY_MESSAGE = 2,      // the blocked mail as message/rfc822 "Message"
    NOTIFY_MESSAGE_TEXT = 3, // the blocked mail as text "Message.txt"
};

bool SendNotification(const char *from, const char *to, const char *sourceMailbox,
                      const char *destinationMailboxes, const char *messageText,
                      const char *blockedFile, const char *reserved1, const char *policy,
                      const char *rule, const char *reserved2, const char *action, NOTIFY_TYPE type,
                      const char *attachmentName, const char *subject);
