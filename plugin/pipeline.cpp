// ZWEmailPluginProcess: judges one mail and acts on the verdict.
//
// Order of work for one mail:
//   1. count the thread in; refuse when the plug-in is not started
//   2. check the envelope (AF) and data (DF) files: both open and non-empty
//   3. parse the envelope; run the rule scan (MIME walk, relay hosts, the
//      specialized filter's picks when attachment removal applies, rules)
//   4. attachments picked: quarantine copy, warnings, replacement (action 4)
//   5. a rule matched: delete / quarantine / archive, warning, event, return 2
//      (an ambiguous MIME structure with "AmbiguousMime=Quarantine" counts as
//      a match of the quarantine rule "Ambiguous MIME")
//   6. else the keyword scan; the matched policies' sections choose the most
//      severe action (Delete > Quarantine > Archive) and the warnings
//   7. give the text file back for the next mail (or remove it), count the
//      thread out, fill the result
//
// Each file of the mail is opened once: the envelope is read whole and parsed
// from memory; the message too, up to 1 MB (a larger one stays open for the
// relay hosts and the MIME walk);
// the text file is taken open (one a mail before left empty, or a new one),
// written by the walk only when the text outgrows its buffer and then read
// back by the keyword scan through the same stream. Copies, rewrites and
// notifications open what they need.
//
// Notifications for a policy block go out in the order sender, recipients,
// users, after the mail was copied, so that a warning never speaks of a copy
// that failed silently before it.
//
// The rule filter's starting action is quarantine: a rule whose action text
// the loader took by its prefix but Scan does not know ("QUARANTINE") keeps
// the mail rather than delete it.
//
// Faults go into the report (OVEmailPluginProcessReport) and each writes an
// event-log line:
//   copy     a quarantine or archive copy failed: "CopyFile(...) fail!
//            ErrCode(n)". The action code still names the action decided. A
//            failed quarantine copy before an attachment replacement stops
//            the replacement and its warnings: the mail stays as it was.
//   replace  the attachment rewrite failed: the message is as it was,
//            "CONTENT MANAGEMENT ERROR: ReplaceFileBlock(<df>) fail!", no
//            action 4.
//   temp     no usable temporary file (the directory is recreated once when
//            it has gone): "CONTENT MANAGEMENT ERROR: GetTempFileName(<dir>)
//            fail! ErrCode(n)" or "... cannot read <file>"; the keyword scan
//            and the TNEF listing were skipped.
//   notify   a notification mail was not queued: "CONTENT MANAGEMENT ERROR:
//            notification to <to> not queued!".
// The report's copy_path is the last quarantine or archive copy made (the one
// the action code speaks of when it is 2 or 3; with action 4 the copy of the
// mail before its attachments were replaced); its trigger is the rule that
// matched, the matched policies joined by "," (as in the event log), or
// "Attachment Removal" for the specialized filter, whichever acted last,
// also when its action failed. The plug-in never deletes the host's AF or DF
// file.
#include <fcntl.h>
#include <sys/stat.h>
#include <sys/vfs.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "base/file_util.h"
#include "base/log.h"
#include "contscan/content_scan.h"
#include "mail/mail_info.h"
#include "mail/mail_list.h"
#include "mail/mime_walk.h"
#include "mail/temp_dir.h"
#include "notify/event_log.h"
#include "notify/notification.h"
#include "notify/notify_globals.h"
#include "ov/contscan.h"
#include "ov/host.h"
#include "plugin/attachment_replace.h"
#include "plugin/globals.h"
#include "plugin/mail_actions.h"
#include "plugin/settings.h"
#include "plugin/text_file_pool.h"
#include "rules/rule_scan.h"

namespace {

enum ResultAction { kActionNone = 0, kActionDeleted = 1, kActionQuarantined = 2,
                    kActionArchived = 3, kActionReplaced = 4 };

// Severity of a policy action; a higher one wins.
enum PolicyAction { kArchive = 0, kQuarantine = 1, kDelete = 2 };

void debug(const char *text)
{
    ovux_log->start() << text << Orvane::endl;
}

// Counts the calling thread in for the whole call.
class ThreadSlot {
public:
    explicit ThreadSlot(THREAD_COUNT *counter) : m_counter(counter)
    {
        m_entered = m_counter && m_counter->INC();
    }
    ~ThreadSlot()
    {
        if (m_entered)
            m_counter->DEC();
    }
    ThreadSlot(const ThreadSlot &) = delete;
    ThreadSlot &operator=(const ThreadSlot &) = delete;
    bool entered() const { return m_entered; }

private:
    THREAD_COUNT *m_counter;
    bool m_entered = false;
};

std::string base_name(const std::string &path)
{
    size_t slash = path.rfind('/');
    return slash == std::string::npos ? path : path.substr(slash + 1);
}

// DF path: the AF path with the first character of its base name replaced by
// "D" (when the base name is longer than one character).
std::string data_file_path(const std::string &afPath)
{
    std::string df = afPath;
    size_t slash = df.rfind('/');
    size_t first = slash == std::string::npos ? 0 : slash + 1;
    if (df.size() - first > 1)
        df[first] = 'D';
    return df;
}

// Direction from the third character of the AF base name: 1 for "O".
int mail_direction(const std::string &afPath)
{
    std::string name = base_name(afPath);
    return name.size() >= 3 && name[2] == 'O' ? 1 : 0;
}

struct FileCloser {
    void operator()(FILE *file) const { std::fclose(file); }
};
using FilePtr = std::unique_ptr<FILE, FileCloser>;

// A message up to this size is read whole with one read and walked from
// memory; a larger one is read through a stream buffer of kMessageBuffer
// bytes (the "Received:" headers and the MIME walk then read the start of
// the file twice).
constexpr long kWholeMessage = 1 << 20;
constexpr size_t kMessageBuffer = 64 * 1024;

// One of the mail's two files, opened once for the whole call.
struct MailFile {
    long length = -1;
    std::string problem; // why it is unusable: the system's error text or "File length=0"
    std::unique_ptr<char[]> buffer;
    std::unique_ptr<char[]> bytes;   // the whole message when it is read from memory
    FilePtr file;                    // last: closed before the memory it reads goes

    bool usable() const { return length > 0; }
};

// Opens a mail file for reading and takes its length.
void open_mail_file(const std::string &path, MailFile *out)
{
    out->file.reset(std::fopen(path.c_str(), "rb"));
    struct stat status;
    if (!out->file || fstat(fileno(out->file.get()), &status) != 0) {
        out->problem = std::strerror(errno);
        out->file.reset();
        return;
    }
    out->length = static_cast<long>(status.st_size);
    if (out->length == 0)
        out->problem = "File length=0";
}

// The whole of a small file opened by open_mail_file (read past its known
// length, in case it grew); what could be read when a read fails.
std::string read_whole(const MailFile &mail)
{
    std::string text(static_cast<size_t>(mail.length) + 1, '\0');
    size_t have = 0;
    while (true) {
        const ssize_t got = read(fileno(mail.file.get()), &text[have], text.size() - have);
        if (got < 0 && errno == EINTR)
            continue;
        if (got <= 0)
            break;
        have += static_cast<size_t>(got);
        if (have < text.size())
            break; // a short read of a regular file ends it
        text.resize(text.size() * 2);
    }
    text.resize(have);
    return text;
}

// Makes the opened message readable from the start for the rule scan: a
// small one read whole into memory (the stream then reads from there), a
// larger one, or one that changed its length meanwhile, through the file.
void prepare_message(MailFile *message)
{
    if (message->length <= kWholeMessage) {
        // One byte more than the length, to see that the file did not grow.
        const size_t want = static_cast<size_t>(message->length) + 1;
        message->bytes.reset(new char[want]);
        ssize_t got;
        do
            got = read(fileno(message->file.get()), message->bytes.get(), want);
        while (got < 0 && errno == EINTR);
        if (got == message->length) {
            if (FILE *memory = fmemopen(message->bytes.get(), static_cast<size_t>(got), "rb")) {
                message->file.reset(memory);
                return;
            }
        }
        message->bytes.reset();
        lseek(fileno(message->file.get()), 0, SEEK_SET);
    }
    message->buffer.reset(new char[kMessageBuffer]);
    std::setvbuf(message->file.get(), message->buffer.get(), _IOFBF, kMessageBuffer);
}

// Opens the AF and DF files; writes the event-log line when either does not
// open or is empty.
bool open_mail_files(const std::string &af, const std::string &df, MailFile *afFile,
                     MailFile *dfFile)
{
    open_mail_file(af, afFile);
    open_mail_file(df, dfFile);
    const bool afOk = afFile->usable(), dfOk = dfFile->usable();
    if (afOk && dfOk) {
        ovux_log->start() << "ZWEmailPluginProcess: AF(" << af
                          << "): File length=" << afFile->length << Orvane::endl;
        ovux_log->start() << "ZWEmailPluginProcess: DF(" << df
                          << "): File length=" << dfFile->length << Orvane::endl;
        debug("ZWEmailPluginProcess: AF and DF exist!");
        return true;
    }
    char line[4 * OV_MAX_PATH];
    if (!afOk && !dfOk)
        std::snprintf(line, sizeof line, "CONTENT MANAGEMENT ERROR: AF(%s): %s, DF(%s): %s",
                      af.c_str(), afFile->problem.c_str(), df.c_str(), dfFile->problem.c_str());
    else if (!afOk)
        std::snprintf(line, sizeof line, "CONTENT MANAGEMENT ERROR: AF(%s): %s", af.c_str(),
                      afFile->problem.c_str());
    else
        std::snprintf(line, sizeof line, "CONTENT MANAGEMENT ERROR: DF(%s): %s", df.c_str(),
                      dfFile->problem.c_str());
    WriteLogFile(line, nullptr, 367, 0);
    return false;
}

bool applies_to(int setting, int direction)
{
    return setting == 2 || setting == direction;
}

// Everything the actions and notifications of one mail need, and what
// happened to it beyond the verdict.
struct MailContext {
    std::string af, df;
    int direction = 0;
    CMailInfo info;
    std::string recipients;   // envelope recipients, comma-separated
    std::string sender;       // envelope sender
    OVMailReport report{};

    void acted(const std::string &trigger)
    {
        strcpy_truncate(report.trigger, trigger.c_str(), sizeof report.trigger);
    }
    void copied(const std::string &path)
    {
        strcpy_truncate(report.copy_path, path.c_str(), sizeof report.copy_path);
    }
};

void log_error(const std::string &text)
{
    WriteLogFile(("CONTENT MANAGEMENT ERROR: " + text).c_str(), nullptr, 367, 0);
}

void notify(MailContext &mail, const std::string &to, const std::string &text,
            const std::string &policy, const char *rule, const std::string &action,
            const char *attachmentName)
{
    if (to.empty())
        return;
    if (SendNotification(strNotificationSender.c_str(), to.c_str(), mail.sender.c_str(),
                         mail.recipients.c_str(), text.c_str(), mail.df.c_str(), nullptr,
                         policy.c_str(), rule, nullptr, action.c_str(),
                         static_cast<NOTIFY_TYPE>(nNotifyAttachment), attachmentName,
                         strNotificationSubject.c_str()))
        return;
    mail.report.faults |= OV_FAULT_NOTIFY;
    log_error("notification to " + to + " not queued!");
}

void act_on_replaced_attachments(MailContext &mail, const Replace_Stru &replace,
                                 ZWMailResult *result)
{
    const char *policy = "Attachment Removal";
    mail.acted(policy);
    if (bQuarantine) {
        std::string copy;
        if (!CopyMailToDirectory(g_t_strQuarDir, {}, mail.df.c_str(), &copy)) {
            mail.report.faults |= OV_FAULT_COPY;
            log_error("attachments of " + mail.df + " not replaced: no quarantine copy");
            return;
        }
        mail.copied(copy);
    }
    std::string names;
    for (int i = 0; i < replace.count; ++i) {
        if (replace.entries[i])
            names += (names.empty() ? "" : ", ") + std::string(replace.entries[i]->m_szName);
    }
    const char *action = "Attachment Removal (Replaced with text)";
    if (bWarnSender && applies_to(iIOSender, mail.direction))
        notify(mail, mail.sender, strMsgSender, policy, nullptr, action, names.c_str());
    if (bWarnRecipient && applies_to(iIORecipient, mail.direction))
        notify(mail, mail.recipients, strMsgRecipient, policy, nullptr, action, names.c_str());
    if (bWarnAdmin && applies_to(iIOAdmin, mail.direction))
        notify(mail, strAdmin, strMsgAdmin, policy, nullptr, action, names.c_str());
    if (ReplaceAttachments(mail.df.c_str(), &replace, mail.info, mail.direction) == 1)
        result->action = kActionReplaced;
    else
        mail.report.faults |= OV_FAULT_REPLACE;
    debug("ZWEmailPluginProcess: Take Action for SFilter OK!");
}

// Copies the mail under root/levels; notes the copy or the fault.
void keep_copy(MailContext &mail, const t_string &root, const std::vector<std::string> &levels,
               const char *logWord)
{
    std::string copy;
    if (!CopyMailToDirectory(root, levels, mail.df.c_str(), &copy)) {
        mail.report.faults |= OV_FAULT_COPY;
        return;
    }
    mail.copied(copy);
    ovux_log->start() << logWord << copy << Orvane::endl;
}

// Deletes, quarantines or archives: `levels` are the directories under the
// quarantine or archive root. Returns the action word for the event log.
std::string take_action(PolicyAction action, MailContext &mail,
                        const std::vector<std::string> &levels, ZWMailResult *result)
{
    switch (action) {
    case kDelete:
        result->action = kActionDeleted;
        return "Delete";
    case kQuarantine:
        keep_copy(mail, g_t_strQuarDir, levels, "Quarantined to ");
        result->action = kActionQuarantined;
        return "Quarantine";
    case kArchive:
        keep_copy(mail, g_t_strArchDir, levels, "Archived to ");
        if (result->action != kActionReplaced)
            result->action = kActionArchived;
        return "Archive";
    }
    return "";
}

// Done with the mail's text file: when temporary files are removed, an open
// one is emptied and kept for the next mail (see text_file_pool.h), any
// other removed; else it is closed and left.
void remove_temp_file(FilePtr &text, const char *tempName, const char *prefix)
{
    if (bDeleteTempDir && text) {
        g_textFiles.Keep(KeptTextFile{g_t_strTEMPDIR, prefix, tempName, text.release()});
        return;
    }
    text.reset();
    if (!bDeleteTempDir)
        return;
    DeleteFile(tempName);
    ovux_log->start() << "ZWEmailPluginProcess: DeleteFile(" << tempName << ")" << Orvane::endl;
}

PolicyAction rule_action(ACT_TYPE type)
{
    switch (type) {
    case ACT_DEL: return kDelete;
    case ACT_QUAR: return kQuarantine;
    default: return kArchive;
    }
}

// A rule of the rule filter matched: act, warn, log; the caller returns 2.
void act_on_rule(MailContext &mail, const std::string &ruleName, const std::string &ruleText,
                 ACT_TYPE type, ZWMailResult *result)
{
    mail.acted(ruleName);
    const std::string action =
        take_action(rule_action(type), mail, {"Anti-Spam", ruleName}, result);
    if (bAntiSpamWarnAdmin)
        notify(mail, AntiSpamAdmin, strMsgUser, ruleName, ruleText.c_str(), action, nullptr);
    WriteMailEvent("Anti-Spam filter has blocked a junk mail.",
                   MailEventRecord(mail.direction, action, ruleName, mail.info, mail.df.c_str()),
                   367);
    result->blocked = 1;
    result->blocked_flags[0] = 1;
}

// The names of the policies whose keyword lists matched, in policy order;
// false when the scan could not prepare the message.
bool scan_keywords(MEMBUF *membuf, FILE *text, const char *tempName,
                   std::vector<std::string> *matched)
{
    ReadLock lock(*m_rwObj);
    _POLICY_MATCH_INFO *list = InitPolicySetMatchInfo();
    ovux_log->start() << "ZWEmailPluginProcess: ZWContScanScanFile(" << tempName << ") enter...."
                      << Orvane::endl;
    int scanned = ACStreamStringSearch(m_pPolicySet, membuf, text, MailDirectionOf(tempName), list);
    debug("ZWEmailPluginProcess: ZWContScanScanFile() leave OK!");
    if (scanned < 0) {
        FreePolicySetMatchInfo(list);
        return false;
    }
    for (const _POLICY_MATCH_INFO *entry = list; entry; entry = entry->m_pNext) {
        if (entry->m_nMatched && entry->m_pPolicy) {
            matched->push_back(entry->m_pPolicy->m_szName);
            ovux_log->start() << "ZWEmailPluginProcess: ZWContScanScanFile() pResult->namePolicy="
                              << entry->m_pPolicy->m_szName << " match!!" << Orvane::endl;
        }
    }
    FreePolicySetMatchInfo(list);
    return true;
}

// What the matched policies' sections of contscan.ini ask for.
struct PolicyDecision {
    PolicyAction action = kArchive;
    bool warnSender = false, warnRecipient = false;
    std::string senderText, recipientText;
    std::vector<std::string> users;
    std::string userText;
};

std::vector<std::string> split_list(const std::string &text, char separator)
{
    std::vector<std::string> items;
    size_t start = 0;
    for (size_t at; (at = text.find(separator, start)) != std::string::npos; start = at + 1)
        items.push_back(text.substr(start, at - start));
    items.push_back(text.substr(start));
    return items;
}

PolicyDecision decide_policies(const std::vector<std::string> &policies)
{
    PolicyDecision decision;
    for (size_t i = 0; i < policies.size(); ++i) {
        const char *section = policies[i].c_str();
        const std::string action = ReadSetting(section, "Action", "Archive");
        PolicyAction wanted = action.find("Delete") != std::string::npos       ? kDelete
                              : action.find("Quarantine") != std::string::npos ? kQuarantine
                                                                               : kArchive;
        if (i == 0 || wanted > decision.action)
            decision.action = wanted;
        if (!decision.warnSender && SettingIsYes(ReadSetting(section, "WarningSender", "no"))) {
            decision.warnSender = true;
            decision.senderText = ReadSetting(section, "MessageSender", "");
        }
        if (!decision.warnRecipient &&
            SettingIsYes(ReadSetting(section, "WarningRecipient", "no"))) {
            decision.warnRecipient = true;
            decision.recipientText = ReadSetting(section, "MessageRecipient", "");
        }
        if (SettingIsYes(ReadSetting(section, "WarningUser", "no"))) {
            if (decision.users.empty())
                decision.userText = ReadSetting(section, "MessageUser", "");
            for (const std::string &user : split_list(ReadSetting(section, "User", ""), ',')) {
                if (!user.empty() && std::find(decision.users.begin(), decision.users.end(),
                                               user) == decision.users.end())
                    decision.users.push_back(user);
            }
        }
    }
    return decision;
}

void act_on_policies(MailContext &mail, const std::vector<std::string> &policies,
                     ZWMailResult *result)
{
    const PolicyDecision decision = decide_policies(policies);
    std::string names;
    for (const std::string &name : policies)
        names += (names.empty() ? "" : ",") + name;
    mail.acted(names);
    const std::string action = take_action(decision.action, mail, {policies.front()}, result);
    if (decision.warnSender)
        notify(mail, mail.sender, decision.senderText, names, nullptr, action, nullptr);
    if (decision.warnRecipient)
        notify(mail, mail.recipients, decision.recipientText, names, nullptr, action, nullptr);
    if (!decision.users.empty()) {
        std::string users;
        for (const std::string &user : decision.users)
            users += (users.empty() ? "" : ",") + user;
        notify(mail, users, decision.userText, names, nullptr, action, nullptr);
    }
    WriteMailEvent("Content filter has blocked a sensitive mail.",
                   MailEventRecord(mail.direction, action, names, mail.info, mail.df.c_str()),
                   367);
}

// Strips one pair of enclosing angle brackets.
std::string bare_address(const std::string &value)
{
    if (value.size() >= 2 && value.front() == '<' && value.back() == '>')
        return value.substr(1, value.size() - 2);
    return value;
}

// The envelope recipients ("T" lines), without brackets, comma-separated.
std::string envelope_recipients(const std::string &afText)
{
    CMailList list;
    list.GatherMailListText(afText);
    std::string joined;
    for (const CMailer *entry = list.m_pHead; entry; entry = entry->m_pNext) {
        std::string address = bare_address(entry->m_pszAddress ? entry->m_pszAddress : "");
        if (!address.empty())
            joined += (joined.empty() ? "" : ",") + address;
    }
    return joined;
}

// Every call brings the host's queue function. Hosts pass the same one each
// time, so it is stored only when it differs, under a lock and published with
// release order: the notification code reads the global without a lock, and
// a store by every thread would race with those reads.
void set_queue_function(ZWEnqueMailFn queue)
{
    static std::mutex storeMutex;
    if (__atomic_load_n(&Enque_Mail, __ATOMIC_ACQUIRE) == queue)
        return;
    std::lock_guard<std::mutex> guard(storeMutex);
    if (Enque_Mail != queue)
        __atomic_store_n(&Enque_Mail, queue, __ATOMIC_RELEASE);
}

// True when the new temporary file takes a byte: a full disk shows here
// rather than as a text file cut short under the keyword scan. The file is
// left empty. A file system that reports free blocks to everyone takes it;
// otherwise the first block is reserved where the file system can do that
// without a write (root may still have blocks there), else written. The
// report spares the usual mail a block taken and given back.
bool takes_a_byte(int fd)
{
    struct statfs space;
    if (fstatfs(fd, &space) == 0 && space.f_bavail > 0)
        return true;
    if (fallocate(fd, FALLOC_FL_KEEP_SIZE, 0, 1) == 0)
        return true;
    if (errno != EOPNOTSUPP && errno != ENOSYS)
        return false;
    return pwrite(fd, "\n", 1, 0) == 1 && ftruncate(fd, 0) == 0;
}

// The mail's text file in the temporary directory, created, writable and
// open for reading and writing, its name in tempName. A directory that has
// gone is made again once. When none can be had the keyword scan is skipped
// (see the ContScan step), and the event log says why.
FilePtr make_text_file(const char *prefix, char *tempName)
{
    KeptTextFile kept;
    if (bDeleteTempDir && g_textFiles.Take(g_t_strTEMPDIR, prefix, &kept)) {
        if (kept.name.size() < OV_MAX_PATH && takes_a_byte(fileno(kept.stream))) {
            std::memcpy(tempName, kept.name.c_str(), kept.name.size() + 1);
            return FilePtr(kept.stream);
        }
        TextFilePool::Discard(kept);
    }
    for (int attempt = 0; attempt < 2; ++attempt) {
        const int fd = CreateTempFile(g_t_strTEMPDIR.c_str(), prefix, ".tmp", tempName);
        if (fd >= 0) {
            FILE *text = takes_a_byte(fd) ? fdopen(fd, "w+b") : nullptr;
            if (text)
                return FilePtr(text);
            const int error = errno;
            close(fd);
            DeleteFile(tempName);
            tempName[0] = '\0';
            errno = error;
            break;
        }
        if (errno != ENOENT)
            break;
        CreateDirectory(g_t_strTEMPDIR.c_str(), nullptr);   // another thread may be first
    }
    const int error = errno;
    char line[2 * OV_MAX_PATH];
    std::snprintf(line, sizeof line, "CONTENT MANAGEMENT ERROR: GetTempFileName(%s) fail! ErrCode(%d)",
                  g_t_strTEMPDIR.c_str(), error);
    WriteLogFile(line, nullptr, 367, 0);
    return nullptr;
}

int process_mail(ZWHostCall *call, ZWMailResult *result, OVMailReport *report)
{
    debug("ZWEmailPluginProcess: Starting.....");
    set_queue_function(call->enque_mail);
    if (!call->enque_mail)
        debug("ZWEmailPluginProcess: SendNotification pointer Enque_Mail is NULL!!");
    std::memset(result, 0, sizeof *result);

    auto mail = std::make_unique<MailContext>();
    mail->af.assign(call->af_path, strnlen(call->af_path, sizeof call->af_path));
    mail->df = data_file_path(mail->af);
    mail->direction = mail_direction(mail->af);
    MailFile afFile, dfFile;
    if (!open_mail_files(mail->af, mail->df, &afFile, &dfFile))
        return -6;

    const std::string afText = read_whole(afFile);
    afFile.file.reset();
    mail->info.ParseAFText(afText, true);
    if (mail->info.m_lReceivedTime == 0)
        mail->info.m_lReceivedTime = static_cast<int>(time(nullptr));
    mail->info.m_nMailSize = static_cast<int>(dfFile.length);
    mail->info.m_nDirection = mail->direction;
    mail->recipients = envelope_recipients(afText);
    mail->sender = bare_address(mail->info.m_pszEnvelopeFrom ? mail->info.m_pszEnvelopeFrom : "");
    // The report goes back however the call ends from here on.
    struct ReportOut {
        const MailContext &mail;
        OVMailReport *out;
        ~ReportOut()
        {
            if (out)
                *out = mail.report;
        }
    } reportOut{*mail, report};
    char tempName[OV_MAX_PATH] = "";
    const char *textPrefix = mail->direction == 1 ? "DFO" : "DFI";
    FilePtr text = make_text_file(textPrefix, tempName);
    prepare_message(&dfFile);
    if (!text)
        mail->report.faults |= OV_FAULT_TEMP;

    debug("ZWEmailPluginProcess: RuleScan Starting....");
    std::unique_ptr<MEMBUF> membuf(new MEMBUF); // not cleared: the walk fills what is read
    membuf->m_bInMemory = 0;
    membuf->m_nLength = 0;
    membuf->m_szData[0] = '\0';
    const bool removal = bRemoveAttachment && applies_to(iIOMail, mail->direction);
    Replace_Stru replace;
    std::string ruleName, ruleText;
    ACT_TYPE actType = ACT_QUAR;
    TriggerType trigger = TRIGGER_ADMIN;
    ScanFiles files;
    files.af = mail->af.c_str();
    files.df = mail->df.c_str();
    files.message = dfFile.file.get();
    files.messageSize = dfFile.length;
    files.text = text.get();
    files.textPath = tempName;
    const bool blocked =
        m_pRuleScanObj->Scan(files, ruleName, ruleText, actType, trigger, mail->info, membuf.get(),
                             removal ? &replace : nullptr);
    dfFile.file.reset();
    if (mail->info.m_bTextWriteFailed)   // the searchable text lost bytes
        mail->report.faults |= OV_FAULT_TEMP;
    ovux_log->start() << (removal ? "ZWEmailPluginProcess: m_pRuleScanObj->Scan() with SFilter "
                                  : "ZWEmailPluginProcess: m_pRuleScanObj->Scan() ")
                      << (blocked ? "block!" : "pass!") << Orvane::endl;
    // A mail whose MIME structure reads two ways is held, when so configured,
    // as if a rule of that name had matched.
    const bool ambiguous =
        !blocked && bAmbiguousMimeQuarantine && mail->info.m_nMimeAmbiguity != 0;
    if (ambiguous) {
        ruleName = "Ambiguous MIME";
        ruleText = MimeAmbiguityText(mail->info.m_nMimeAmbiguity);
        actType = ACT_QUAR;
    }
    if (blocked || ambiguous)
        ovux_log->start() << " szRuleName=" << ruleName << " szRule=" << ruleText << Orvane::endl;

    if (removal && replace.count > 0)
        act_on_replaced_attachments(*mail, replace, result);

    if (blocked || ambiguous) {
        act_on_rule(*mail, ruleName, ruleText, actType, result);
        remove_temp_file(text, tempName, textPrefix);
        debug("ZWEmailPluginProcess: Take Action for Anti-Spam OK!");
        debug("ZWEmailPluginProcess: OK!!");
        return 2;
    }

    debug("ZWEmailPluginProcess: ContScan Starting....");
    std::vector<std::string> policies;
    if (!text) {
        ovux_log->start() << "ZWEmailPluginProcess: fopen(szTempDFName=" << tempName
                          << ",\"r\") failed!" << Orvane::endl;
        if (!(mail->report.faults & OV_FAULT_TEMP))
            log_error(std::string("cannot read ") + tempName + ": keyword scan skipped");
        mail->report.faults |= OV_FAULT_TEMP;
    } else {
        const bool scanned = scan_keywords(membuf.get(), text.get(), tempName, &policies);
        if (!scanned) {
            WriteLogFile("CONTENT MANAGEMENT ERROR: Failed to preprocess original message file.",
                         nullptr, 367, 0);
            remove_temp_file(text, tempName, textPrefix);
            return -8;
        }
    }
    if (!policies.empty())
        act_on_policies(*mail, policies, result);
    else
        debug("ZWEmailPluginProcess: ZWContScanScanFile() pass!!");

    remove_temp_file(text, tempName, textPrefix);
    debug("ZWEmailPluginProcess: OK!!");
    return 0;
}

} // namespace

extern "C" int OVEmailPluginProcessReport(ZWHostCall *call, ZWMailResult *result,
                                          OVMailReport *report)
{
    if (report)
        std::memset(report, 0, sizeof *report);
    // Start and stop publish ThreadsNum and bInit with release order (see
    // lifecycle.cpp), so a mail thread may call in at any time.
    ThreadSlot slot(__atomic_load_n(&ThreadsNum, __ATOMIC_ACQUIRE));
    if (!slot.entered() || !__atomic_load_n(&bInit, __ATOMIC_ACQUIRE)) {
        debug("ZWEmailPluginProcess: Not Initialize yet!!");
        debug("ZWEmailPluginProcess: fail!!");
        return -9;
    }
    if (!call || !result) {
        WriteLogFile("CONTENT MANAGEMENT ERROR: no call or result record", nullptr, 367, 0);
        return -6;
    }
    return process_mail(call, result, report);
}

extern "C" int ZWEmailPluginProcess(ZWHostCall *call, ZWMailResult *result)
{
    return OVEmailPluginProcessReport(call, result, nullptr);
}
