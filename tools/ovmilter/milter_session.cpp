#include "tools/ovmilter/milter_session.h"

#include <arpa/inet.h>
#include <libmilter/mfapi.h>
#include <netinet/in.h>
#include <sys/stat.h>

#include <atomic>
#include <cerrno>
#include <chrono>
#include <cstring>
#include <ctime>
#include <exception>
#include <memory>
#include <thread>
#include <vector>

#include "tools/hostkit/plugin_host.h"
#include "tools/hostkit/spool_id.h"
#include "tools/ovmilter/copy_record_note.h"
#include "tools/ovmilter/milter_answer.h"
#include "tools/ovmilter/milter_log.h"
#include "tools/ovmilter/tcp_nodelay.h"

namespace {

MilterSetup g_setup{};

// Messages between MAIL FROM and their answer. Once g_stopping is set no
// message opens any more, and when the count is back at zero no callback
// touches g_setup again: a message counts itself before it looks at the flag.
std::atomic<int> g_openMessages{0};
std::atomic<bool> g_stopping{false};

// The steps the MTA sends without waiting for an answer: a failure there
// drops the capture and is answered at the end of the message. MAIL FROM
// keeps its answer, so a daemon that cannot take mail says so at once.
const unsigned long kNoReplySteps =
    SMFIP_NR_CONN | SMFIP_NR_RCPT | SMFIP_NR_HDR | SMFIP_NR_EOH | SMFIP_NR_BODY;
// The steps ovmilter has no callback for, which the MTA need not send.
const unsigned long kSkippedSteps = SMFIP_NOHELO | SMFIP_NODATA | SMFIP_NOUNKNOWN;
const unsigned long kActions = SMFIF_ADDHDRS | SMFIF_CHGHDRS | SMFIF_CHGBODY;

// What the milter knows of one SMTP session.
class Session {
public:
    std::string client;                  // client address, empty when unknown
    std::unique_ptr<MailCapture> mail;   // the message in progress
    std::string failure;                 // why a step without answer dropped it

    ~Session() { end_message(); }

    // Counts a new message in; false (not counted) once the daemon stops.
    bool begin_message()
    {
        end_message();
        failure.clear();
        ++g_openMessages;
        m_counted = true;
        if (!g_stopping)
            return true;
        end_message();
        return false;
    }

    // Drops the message's capture (its spool pair goes) and counts it out.
    void end_message()
    {
        mail.reset();
        if (m_counted)
            --g_openMessages;
        m_counted = false;
    }

private:
    bool m_counted = false;
};

Session *session_of(SMFICTX *context)
{
    return static_cast<Session *>(smfi_getpriv(context));
}

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
std::string spool_name(const Session *session)
{
    if (!session || !session->mail)
        return "-";
    const std::string &af = session->mail->pair().afPath;
    return af.substr(af.rfind('/') + 1);
}

// Ends the message with a 451: the sender keeps the mail and retries.
sfsistat give_up(SMFICTX *context, Session *session, const std::string &reason)
{
    milter_log(LOG_ERR, "%s: tempfail: %s", spool_name(session).c_str(), reason.c_str());
    if (session)
        session->end_message();
    return tempfail_reply(context);
}

// Runs a callback's body; anything it throws (out of memory) becomes a
// tempfail, since an exception must not cross libmilter's C frames.
template <typename Body>
sfsistat guarded(SMFICTX *context, Body body) noexcept
{
    try {
        return body();
    } catch (const std::exception &failure) {
        milter_log(LOG_ERR, "tempfail: %s", failure.what());
    } catch (...) {
        milter_log(LOG_ERR, "tempfail: unknown failure");
    }
    if (Session *session = session_of(context))
        session->end_message();
    return tempfail_reply(context);
}

// For the steps without an answer: a failure is kept for the end of the
// message and the capture goes; the MTA waits for no reply either way.
sfsistat note_failure(SMFICTX *context, const std::string &reason)
{
    if (Session *session = session_of(context)) {
        if (session->failure.empty())
            session->failure = reason;
        session->end_message();
    }
    return SMFIS_NOREPLY;
}

// guarded() for a step without an answer.
template <typename Body> sfsistat guarded_no_reply(SMFICTX *context, Body body) noexcept
{
    try {
        return body();
    } catch (const std::exception &failure) {
        return note_failure(context, failure.what());
    } catch (...) {
        return note_failure(context, "unknown failure");
    }
}

void log_verdict(SMFICTX *context, const MailCapture &mail, const MailOutcome &outcome,
                 sfsistat reply)
{
    const char *queueId = smfi_getsymval(context, const_cast<char *>("i"));
    const std::string &af = mail.pair().afPath;
    milter_log(LOG_INFO,
               "%s: queue=%s from=<%s> rcpts=%zu %s verdict=%s code=%d action=%d faults=%s "
               "reply=%s",
               af.substr(af.rfind('/') + 1).c_str(), queueId ? queueId : "-",
               mail.envelope().envelopeFrom.c_str(), mail.envelope().recipients.size(),
               mail.outbound() ? "outbound" : "inbound", outcome.verdict.word, outcome.code,
               outcome.result.action, fault_words(outcome.report.faults).c_str(),
               milter_reply_word(reply));
}

// Asks the MTA not to wait for the steps that always go on (libmilter
// answers "continue" itself to an MTA that cannot do without), and refuses
// the connection when the MTA cannot make the changes a verdict needs (the
// MTA's default action for a failed milter then applies).
sfsistat on_negotiate(SMFICTX *, unsigned long offeredActions, unsigned long steps, unsigned long,
                      unsigned long, unsigned long *wantedActions, unsigned long *wantedSteps,
                      unsigned long *, unsigned long *)
{
    if ((offeredActions & kActions) != kActions)
        return SMFIS_REJECT;
    *wantedActions = kActions;
    *wantedSteps = steps & (kNoReplySteps | kSkippedSteps);
    return SMFIS_CONTINUE;
}

// Without a session MAIL FROM answers tempfail.
sfsistat on_connect(SMFICTX *context, char *, _SOCK_ADDR *address)
{
    return guarded_no_reply(context, [&] {
        auto session = std::make_unique<Session>();
        session->client = address_text(address);
        smfi_setpriv(context, session.release());
        return SMFIS_NOREPLY;
    });
}

sfsistat on_envfrom(SMFICTX *context, char **argv)
{
    return guarded(context, [&] {
        Session *session = session_of(context);
        if (!session)
            return give_up(context, nullptr, "no session");
        if (!session->begin_message())
            return give_up(context, session, "ovmilter is stopping");
        std::string sender = argv && argv[0] ? argv[0] : "";
        bool outbound = g_setup.direction->is_outbound(sender, session->client);
        std::string error;
        session->mail = MailCapture::start(g_setup.config->spool, make_spool_id(), outbound,
                                           sender, time(nullptr), &error);
        return session->mail ? SMFIS_CONTINUE : give_up(context, session, error);
    });
}

// Recipients, headers and body go on without an answer; once the capture
// is gone (a failure noted) they are let pass until the end of the message.
sfsistat on_envrcpt(SMFICTX *context, char **argv)
{
    return guarded_no_reply(context, [&] {
        Session *session = session_of(context);
        if (session && session->mail && argv && argv[0])
            session->mail->add_recipient(argv[0]);
        return SMFIS_NOREPLY;
    });
}

sfsistat on_header(SMFICTX *context, char *name, char *value)
{
    return guarded_no_reply(context, [&] {
        Session *session = session_of(context);
        std::string error;
        if (session && session->mail &&
            !session->mail->add_header(name ? name : "", value ? value : "", &error))
            return note_failure(context, error);
        return SMFIS_NOREPLY;
    });
}

sfsistat on_eoh(SMFICTX *context)
{
    return guarded_no_reply(context, [&] {
        Session *session = session_of(context);
        std::string error;
        if (session && session->mail && !session->mail->end_headers(&error))
            return note_failure(context, error);
        return SMFIS_NOREPLY;
    });
}

sfsistat on_body(SMFICTX *context, unsigned char *data, size_t size)
{
    return guarded_no_reply(context, [&] {
        Session *session = session_of(context);
        std::string error;
        if (session && session->mail && !session->mail->add_body(data, size, &error))
            return note_failure(context, error);
        return SMFIS_NOREPLY;
    });
}

sfsistat on_eom(SMFICTX *context)
{
    return guarded(context, [&] {
        Session *session = session_of(context);
        std::string error = session && !session->failure.empty()
                                ? session->failure
                                : "end of message without a message";
        const char *queueId = smfi_getsymval(context, const_cast<char *>("i"));
        if (session && session->mail && queueId)
            session->mail->rename_pair(spool_id_from_name(queueId));   // the pair carries the id
        if (!session || !session->mail || !session->mail->finish(&error))
            return give_up(context, session, error);
        // The MTA gives up on a filter that stays silent too long; a mail
        // waiting for a free worker keeps telling it that work goes on.
        MailOutcome outcome =
            g_setup.judge->judge(*session->mail, [context] { smfi_progress(context); });
        std::string failure;
        sfsistat reply = answer_mta(context, *session->mail, outcome, *g_setup.config, &failure);
        log_verdict(context, *session->mail, outcome, reply);
        note_copy_record(*session->mail, session->client, queueId, outcome);
        if (reply == SMFIS_TEMPFAIL)
            return give_up(context, session, failure);
        session->end_message();   // the pair leaves the spool
        return reply;
    });
}

sfsistat on_abort(SMFICTX *context)
{
    if (Session *session = session_of(context))
        session->end_message();
    return SMFIS_CONTINUE;
}

sfsistat on_close(SMFICTX *context)
{
    delete session_of(context);
    smfi_setpriv(context, nullptr);
    return SMFIS_CONTINUE;
}

// Opens the socket; a unix socket gets its permissions from the start, a
// TCP one TCP_NODELAY, and its connections quick acknowledgements.
bool open_socket(const MilterConfig &config, std::string *error)
{
    std::string file = unix_socket_path(config.socket);
    mode_t previous = umask(file.empty() ? 0 : (~config.socketMode & 0777));
    int opened = smfi_opensocket(true);
    umask(previous);
    if (opened != MI_SUCCESS) {
        *error = "cannot listen on " + config.socket + " (in use, or no permission?)";
        return false;
    }
    if (!file.empty() && chmod(file.c_str(), config.socketMode) != 0) {
        *error = "cannot set the permissions of " + file + ": " + std::strerror(errno);
        return false;
    }
    int port = inet_socket_port(config.socket);
    if (port < 0)
        return true;
    std::vector<int> listeners = tcp_listeners(port);
    for (int fd : listeners) {
        if (set_tcp_nodelay(fd))
            MilterConnections::listener(fd);
    }
    if (listeners.size() != 1)
        milter_log(LOG_WARNING, "found %zu listening sockets for %s: TCP_NODELAY not set, mail "
                                "may wait for delayed acknowledgements",
                   listeners.size(), config.socket.c_str());
    return true;
}

} // namespace

bool register_milter(const MilterSetup &setup, std::string *error)
{
    g_setup = setup;
    static smfiDesc description{};
    description.xxfi_name = const_cast<char *>("ovmilter");
    description.xxfi_version = SMFI_VERSION;
    description.xxfi_flags = kActions;
    description.xxfi_connect = on_connect;
    description.xxfi_envfrom = on_envfrom;
    description.xxfi_envrcpt = on_envrcpt;
    description.xxfi_header = on_header;
    description.xxfi_eoh = on_eoh;
    description.xxfi_body = on_body;
    description.xxfi_eom = on_eom;
    description.xxfi_abort = on_abort;
    description.xxfi_close = on_close;
    description.xxfi_negotiate = on_negotiate;
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
    return open_socket(*setup.config, error);
}

void stop_taking_mail()
{
    g_stopping = true;
}

bool wait_for_open_messages(int seconds)
{
    auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(seconds);
    while (g_openMessages.load() > 0) {
        if (std::chrono::steady_clock::now() >= deadline)
            return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
    }
    return true;
}
