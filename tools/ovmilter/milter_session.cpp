#include "tools/ovmilter/milter_session.h"

#include <arpa/inet.h>
#include <libmilter/mfapi.h>
#include <netinet/in.h>
#include <strings.h>
#include <sys/stat.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstring>
#include <chrono>
#include <ctime>
#include <memory>
#include <thread>

#include "tools/ovmilter/milter_log.h"

namespace {

MilterSetup g_setup{};
std::atomic<int> g_inFlight{0};

const size_t kBodyChunk = 64 * 1024;

// What the milter knows of one SMTP session.
struct Session {
    std::string client;                  // client address, empty when unknown
    std::unique_ptr<MailCapture> mail;   // the message in progress
};

Session *session_of(SMFICTX *context)
{
    return static_cast<Session *>(smfi_getpriv(context));
}

// Counts a message as in flight for as long as it is being answered.
class InFlight {
public:
    InFlight() { ++g_inFlight; }
    ~InFlight() { --g_inFlight; }
    InFlight(const InFlight &) = delete;
    InFlight &operator=(const InFlight &) = delete;
};

std::string address_text(const sockaddr *address)
{
    char text[INET6_ADDRSTRLEN] = "";
    if (!address)
        return "";
    if (address->sa_family == AF_INET) {
        auto *ipv4 = reinterpret_cast<const sockaddr_in *>(address);
        inet_ntop(AF_INET, &ipv4->sin_addr, text, sizeof text);
    } else if (address->sa_family == AF_INET6) {
        auto *ipv6 = reinterpret_cast<const sockaddr_in6 *>(address);
        if (IN6_IS_ADDR_V4MAPPED(&ipv6->sin6_addr))
            inet_ntop(AF_INET, &ipv6->sin6_addr.s6_addr[12], text, sizeof text);
        else
            inet_ntop(AF_INET6, &ipv6->sin6_addr, text, sizeof text);
    }
    return text;
}

// The name of the mail's envelope file, which names it in the log.
std::string spool_name(const MailCapture &mail)
{
    const std::string &af = mail.pair().afPath;
    return af.substr(af.rfind('/') + 1);
}

// Reply texts go into an SMTP line: no line breaks, and "%" doubled.
std::string reply_text(const std::string &text)
{
    std::string line;
    for (char c : text) {
        if (c == '\r' || c == '\n')
            line += ' ';
        else if (c == '%')
            line += "%%";
        else
            line += c;
    }
    return line;
}

sfsistat tempfail(SMFICTX *context, Session *session, const std::string &reason)
{
    std::string id = session && session->mail ? spool_name(*session->mail) : "-";
    milter_log(LOG_ERR, "%s: tempfail: %s", id.c_str(), reason.c_str());
    if (session)
        session->mail.reset();
    char code[] = "451", status[] = "4.3.0";
    std::string text = reply_text("Content filter could not check the message, try again later");
    smfi_setreply(context, code, status, &text[0]);
    return SMFIS_TEMPFAIL;
}

// Applies the rewritten body and header edits; false with a reason.
bool replace_message(SMFICTX *context, const MailOutcome &outcome, std::string *error)
{
    for (const HeaderEdit &edit : outcome.headerEdits) {
        std::string name = edit.name;
        std::string value = edit.value;
        int rc = MI_SUCCESS;
        if (edit.kind == HeaderEdit::Add)
            rc = smfi_addheader(context, &name[0], &value[0]);
        else
            rc = smfi_chgheader(context, &name[0], edit.index,
                                edit.kind == HeaderEdit::Remove ? nullptr : &value[0]);
        if (rc != MI_SUCCESS) {
            *error = "the MTA refused to change header " + name;
            return false;
        }
    }
    // The plug-in always leaves a body: the replacement text stands in it.
    std::string body = outcome.newBody;
    for (size_t at = 0; at < body.size(); at += kBodyChunk) {
        size_t length = std::min(kBodyChunk, body.size() - at);
        auto *data = reinterpret_cast<unsigned char *>(&body[at]);
        if (smfi_replacebody(context, data, static_cast<int>(length)) != MI_SUCCESS) {
            *error = "the MTA refused the new body";
            return false;
        }
    }
    return true;
}

const char kVerdictHeader[] = "X-Content-Verdict";

// Replaces any verdict header the mail came with by ours, so that nobody
// downstream trusts a verdict the sender wrote.
bool set_verdict_header(SMFICTX *context, const MailCapture &mail, const char *word)
{
    int present = 0;
    for (const HeaderField &header : mail.headers())
        present += strcasecmp(header.name.c_str(), kVerdictHeader) == 0;
    std::string name = kVerdictHeader;
    for (int index = present; index >= 1; --index) {
        if (smfi_chgheader(context, &name[0], index, nullptr) != MI_SUCCESS)
            return false;
    }
    std::string value = word;
    return smfi_addheader(context, &name[0], &value[0]) == MI_SUCCESS;
}

sfsistat answer(SMFICTX *context, Session *session, const MailOutcome &outcome)
{
    const MilterConfig &config = *g_setup.config;
    switch (outcome.verdict.reply) {
    case MilterReply::Tempfail:
        return tempfail(context, session, outcome.error);
    case MilterReply::Discard:
        return SMFIS_DISCARD;
    case MilterReply::Reject: {
        char code[] = "550", status[] = "5.7.1";
        std::string text = reply_text(config.rejectText);
        smfi_setreply(context, code, status, &text[0]);
        return SMFIS_REJECT;
    }
    case MilterReply::Accept:
        break;
    }
    std::string error;
    if (outcome.verdict.replaceBody && !replace_message(context, outcome, &error))
        return tempfail(context, session, error);
    if (config.verdictHeader && !set_verdict_header(context, *session->mail, outcome.verdict.word))
        return tempfail(context, session, "the MTA refused the verdict header");
    return SMFIS_ACCEPT;
}

void log_verdict(SMFICTX *context, const MailCapture &mail, const MailOutcome &outcome)
{
    const char *queueId = smfi_getsymval(context, const_cast<char *>("i"));
    milter_log(LOG_INFO,
               "%s: queue=%s from=<%s> rcpts=%zu %s verdict=%s code=%d action=%d reply=%s",
               spool_name(mail).c_str(), queueId ? queueId : "-",
               mail.envelope().envelopeFrom.c_str(), mail.envelope().recipients.size(),
               mail.outbound() ? "outbound" : "inbound", outcome.verdict.word, outcome.code,
               outcome.result.action, reply_word(outcome.verdict.reply));
}

sfsistat on_connect(SMFICTX *context, char *, _SOCK_ADDR *address)
{
    auto *session = new (std::nothrow) Session;
    if (!session)
        return SMFIS_TEMPFAIL;
    session->client = address_text(address);
    smfi_setpriv(context, session);
    return SMFIS_CONTINUE;
}

sfsistat on_envfrom(SMFICTX *context, char **argv)
{
    Session *session = session_of(context);
    if (!session)
        return tempfail(context, nullptr, "no session");
    std::string sender = argv && argv[0] ? argv[0] : "";
    bool outbound = g_setup.direction->is_outbound(sender, session->client);
    std::string error;
    session->mail = MailCapture::start(g_setup.config->spool, make_spool_id(), outbound, sender,
                                       time(nullptr), &error);
    if (!session->mail)
        return tempfail(context, session, error);
    return SMFIS_CONTINUE;
}

sfsistat on_envrcpt(SMFICTX *context, char **argv)
{
    Session *session = session_of(context);
    if (!session || !session->mail)
        return tempfail(context, session, "recipient without a message");
    if (argv && argv[0])
        session->mail->add_recipient(argv[0]);
    return SMFIS_CONTINUE;
}

sfsistat on_header(SMFICTX *context, char *name, char *value)
{
    Session *session = session_of(context);
    std::string error = "header without a message";
    if (!session || !session->mail ||
        !session->mail->add_header(name ? name : "", value ? value : "", &error))
        return tempfail(context, session, error);
    return SMFIS_CONTINUE;
}

sfsistat on_eoh(SMFICTX *context)
{
    Session *session = session_of(context);
    std::string error = "end of headers without a message";
    if (!session || !session->mail || !session->mail->end_headers(&error))
        return tempfail(context, session, error);
    return SMFIS_CONTINUE;
}

sfsistat on_body(SMFICTX *context, unsigned char *data, size_t size)
{
    Session *session = session_of(context);
    std::string error = "body without a message";
    if (!session || !session->mail || !session->mail->add_body(data, size, &error))
        return tempfail(context, session, error);
    return SMFIS_CONTINUE;
}

sfsistat on_eom(SMFICTX *context)
{
    InFlight counted;
    Session *session = session_of(context);
    std::string error = "end of message without a message";
    if (!session || !session->mail || !session->mail->finish(&error))
        return tempfail(context, session, error);
    MailOutcome outcome = g_setup.judge->judge(*session->mail);
    log_verdict(context, *session->mail, outcome);
    sfsistat reply = answer(context, session, outcome);
    session->mail.reset();   // the pair leaves the spool
    return reply;
}

sfsistat on_abort(SMFICTX *context)
{
    if (Session *session = session_of(context))
        session->mail.reset();
    return SMFIS_CONTINUE;
}

sfsistat on_close(SMFICTX *context)
{
    delete session_of(context);
    smfi_setpriv(context, nullptr);
    return SMFIS_CONTINUE;
}

} // namespace

bool register_milter(const MilterSetup &setup, std::string *error)
{
    g_setup = setup;
    static smfiDesc description{};
    description.xxfi_name = const_cast<char *>("ovmilter");
    description.xxfi_version = SMFI_VERSION;
    description.xxfi_flags = SMFIF_ADDHDRS | SMFIF_CHGHDRS | SMFIF_CHGBODY;
    description.xxfi_connect = on_connect;
    description.xxfi_envfrom = on_envfrom;
    description.xxfi_envrcpt = on_envrcpt;
    description.xxfi_header = on_header;
    description.xxfi_eoh = on_eoh;
    description.xxfi_body = on_body;
    description.xxfi_eom = on_eom;
    description.xxfi_abort = on_abort;
    description.xxfi_close = on_close;
    static std::string socket;
    socket = setup.config->socket;
    if (smfi_setconn(&socket[0]) != MI_SUCCESS) {
        *error = "bad socket " + socket;
        return false;
    }
    if (smfi_register(description) != MI_SUCCESS) {
        *error = "libmilter refused the filter description";
        return false;
    }
    if (smfi_opensocket(true) != MI_SUCCESS) {
        *error = "cannot listen on " + socket + " (in use, or no permission?)";
        return false;
    }
    std::string file = unix_socket_path(socket);
    if (!file.empty() && chmod(file.c_str(), setup.config->socketMode) != 0) {
        *error = "cannot set the permissions of " + file + ": " + std::strerror(errno);
        return false;
    }
    return true;
}

bool wait_for_mails_in_flight(int seconds)
{
    auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(seconds);
    while (g_inFlight.load() > 0) {
        if (std::chrono::steady_clock::now() >= deadline)
            return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
    }
    return true;
}
