// SendNotification: writes a notification mail into the temporary directory
// and hands it to the host's mail queue.
//
// The mail, all lines ended by CR LF:
//   From:, To:, Subject: "<subject> (<policy>)", Date:, MIME headers of a
//   multipart/mixed mail with the boundary "----=_NextPart_000_<time>_..."
//   a text part naming the blocked mail's sender and recipients, the policy,
//   the rule and attachment name when given, the action and the
//   administrator's text, declared "iso-8859-1" unless one of policy, rule,
//   attachment name or text is non-ASCII (then the host language's charset)
//   the attachment part of the type, with the closing boundary; without an
//   attachment the mail ends after the text part, without a closing boundary,
//   as the gateway's notifications always have.
// Header values with non-ASCII text become RFC 1342 encoded words.
//
// Choices: a rule or attachment name that is empty counts as not given (no
// empty "Rule:" line); null texts are written as empty ones. A mail whose
// file could not be written completely is removed and not queued.
#include "notify/notification.h"

#include <unistd.h>

#include <cstdio>
#include <ctime>
#include <memory>
#include <string>

#include "base/file_util.h"
#include "mail/temp_dir.h"
#include "notify/notify_attachment.h"
#include "notify/notify_globals.h"
#include "notify/notify_text.h"
#include "notify/recipient_table.h"
#include "notify/time_stamp.h"

namespace {

// Prefix of the notification files in the temporary directory.
constexpr const char *NOTIFY_FILE_PREFIX = "NTF";

// The texts of one notification, null texts made empty.
struct NotifyTexts {
    std::string from;
    std::string to;
    std::string sourceMailbox;
    std::string destinationMailboxes;
    std::string messageText;
    std::string policy;
    std::string rule;
    std::string action;
    std::string attachmentName;
    std::string subject;
};

std::string text_or_empty(const char *text)
{
    return text ? text : "";
}

std::string make_boundary(time_t now)
{
    char boundary[96];
    std::snprintf(boundary, sizeof boundary, "----=_NextPart_000_%ld_B78506032.R82506026",
                  static_cast<long>(now));
    return boundary;
}

void put(FILE *out, const std::string &text)
{
    std::fwrite(text.data(), 1, text.size(), out);
}

void write_headers(FILE *out, const NotifyTexts &texts, const std::string &boundary)
{
    char date[128];
    portwallTimeStamp(date, sizeof date - 1);
    put(out, "From: " + NotifyHeaderValue(texts.from.c_str()) + "\r\n");
    put(out, "To: " + NotifyHeaderValue(texts.to.c_str()) + "\r\n");
    put(out, "Subject: " + NotifyHeaderValue(texts.subject.c_str()) + " ");
    put(out, "(" + NotifyHeaderValue(texts.policy.c_str()) + ")\r\n");
    put(out, std::string("Date: ") + date + "\r\n");
    put(out, "MIME-Version: 1.0\r\n");
    put(out, "Content-Type: multipart/mixed;\r\n");
    put(out, "\tboundary=\"" + boundary + "\"\r\n");
    put(out, "\r\n");
    put(out, "This is a multi-part message in MIME format.\r\n");
    put(out, "\r\n");
}

void write_text_part(FILE *out, const NotifyTexts &texts, const std::string &boundary)
{
    const bool hostCharset = IsNonAscii(texts.policy.c_str()) || IsNonAscii(texts.rule.c_str()) ||
                             IsNonAscii(texts.attachmentName.c_str()) ||
                             IsNonAscii(texts.messageText.c_str());
    put(out, "--" + boundary + "\r\n");
    put(out, "Content-Type: text/plain;\r\n");
    put(out, std::string("\tcharset=\"") + (hostCharset ? NotifyBodyCharset() : "iso-8859-1") +
                 "\"\r\n");
    put(out, "Content-Transfer-Encoding: 7bit\r\n");
    put(out, "\r\n");
    put(out, "**************** Orvane Notification *****************\r\n\r\n");
    put(out, "The following mail was blocked since it contains sensitive content.\r\n\r\n");
    put(out, "Source mailbox: " + NotifyBodyText(texts.sourceMailbox.c_str()) + "\r\n");
    put(out,
        "Destination mailbox(es): " + NotifyBodyText(texts.destinationMailboxes.c_str()) + "\r\n");
    put(out, "Policy: " + NotifyBodyText(texts.policy.c_str()) + "\r\n");
    if (!texts.rule.empty())
        put(out, "Rule: " + NotifyBodyText(texts.rule.c_str()) + "\r\n");
    if (!texts.attachmentName.empty())
        put(out, "Attachment file name: " + NotifyBodyText(texts.attachmentName.c_str()) + "\r\n");
    put(out, "Action: " + NotifyBodyText(texts.action.c_str()) + "\r\n\r\n");
    if (!texts.messageText.empty())
        put(out, NotifyBodyText(texts.messageText.c_str()) + "\r\n\r\n");
    put(out, "******************* End of message *********************\r\n\r\n");
}

// Writes the whole mail into the new file fd (which it closes); false when
// the file could not be written completely.
bool write_mail(int fd, const NotifyTexts &texts, const char *blockedFile, NOTIFY_TYPE type,
                time_t now)
{
    char buffer[8192];   // the stream's, given so that no fstat sizes one
    std::unique_ptr<FILE, int (*)(FILE *)> out(fdopen(fd, "wb"), &std::fclose);
    if (!out) {
        close(fd);
        return false;
    }
    std::setvbuf(out.get(), buffer, _IOFBF, sizeof buffer);
    const std::string boundary = make_boundary(now);
    write_headers(out.get(), texts, boundary);
    write_text_part(out.get(), texts, boundary);
    WriteNotifyAttachment(out.get(), blockedFile, type, boundary);
    const bool failed = std::ferror(out.get()) != 0;
    return std::fclose(out.release()) == 0 && !failed;
}

bool enqueue(ZWEnqueMailFn queue, const std::string &from, const char *to, const char *path)
{
    RecipientTable recipients(to);
    ZWEnqueRecord record{};
    record.from = from.c_str();
    record.recipients = recipients.pointers();
    record.reserved1 = nullptr;
    record.reserved2 = nullptr;
    record.path = path;
    record.flag1 = 1;
    record.flag2 = 0;
    return queue(&record) == 0;
}

bool send(const NotifyTexts &texts, const char *to, const char *blockedFile, NOTIFY_TYPE type,
          ZWEnqueMailFn queue)
{
    const time_t now = time(nullptr);
    char path[OV_MAX_PATH] = "";
    const int fd = CreateTempFile(g_t_strTEMPDIR.c_str(), NOTIFY_FILE_PREFIX, ".tmp", path);
    if (fd < 0)
        return false;
    if (!write_mail(fd, texts, blockedFile, type, now)) {
        std::remove(path);
        return false;
    }
    return enqueue(queue, texts.from, to, path);
}

} // namespace

bool SendNotification(const char *from, const char *to, const char *sourceMailbox,
                      const char *destinationMailboxes, const char *messageText,
                      const char *blockedFile, const char * /*reserved1*/, const char *policy,
                      const char *rule, const char * /*reserved2*/, const char *action,
                      NOTIFY_TYPE type, const char *attachmentName, const char *subject)
{
    const ZWEnqueMailFn queue = Enque_Mail;
    if (!queue)
        return true;
    try {
        NotifyTexts texts;
        texts.from = text_or_empty(from);
        texts.to = text_or_empty(to);
        texts.sourceMailbox = text_or_empty(sourceMailbox);
        texts.destinationMailboxes = text_or_empty(destinationMailboxes);
        texts.messageText = text_or_empty(messageText);
        texts.policy = text_or_empty(policy);
        texts.rule = text_or_empty(rule);
        texts.action = text_or_empty(action);
        texts.attachmentName = text_or_empty(attachmentName);
        texts.subject = text_or_empty(subject);
        return send(texts, texts.to.c_str(), blockedFile, type, queue);
    } catch (...) {
        // Out of memory: no notification, the mail processing goes on.
        return false;
    }
}
