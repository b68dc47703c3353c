// MailCapture: one message as the milter hands it over, written into the
// spool while it arrives. The headers and body go straight into the data
// file (DF, CRLF line ends); finish() writes the envelope file (AF) from the
// SMTP envelope and the message's own From/To/Cc/Reply-To/Subject headers.
// The pair is named AF<d><id> / DF<d><id>, <d> being O for outbound and I for
// inbound mail, which is how the plug-in learns the direction.
//
// The capture owns its files: destroying it removes the pair, so a mail's
// files leave the spool as soon as the mail has been answered (emptied, they
// may wait in the spool's ".spare" for later pairs, see spare_files.h).
//
//   std::string error;
//   auto mail = MailCapture::start(spool, make_spool_id(), outbound, "<a@b>", time(nullptr), &error);
//   mail->add_recipient("<c@d>");
//   mail->add_header("Subject", "hello");  mail->end_headers();
//   mail->add_body(data, size);
//   if (!mail->finish(&error)) ...
//   ... hand mail->pair().afPath to the plug-in ...
#pragma once

#include <cstdio>
#include <ctime>
#include <memory>
#include <string>
#include <vector>

#include "tools/hostkit/spool.h"

struct HeaderField {
    std::string name;
    std::string value;   // as in the message: folded lines joined by CRLF
};

class MailCapture {
public:
    // Opens the data file in `spool`; null with a reason when it cannot.
    static std::unique_ptr<MailCapture> start(const std::string &spool, const std::string &id,
                                              bool outbound, const std::string &sender,
                                              time_t received, std::string *error);
    ~MailCapture();
    MailCapture(const MailCapture &) = delete;
    MailCapture &operator=(const MailCapture &) = delete;

    void add_recipient(const std::string &address);
    // Each returns false with a reason once the data file cannot be written.
    bool add_header(const std::string &name, const std::string &value, std::string *error);
    bool end_headers(std::string *error);
    bool add_body(const void *data, size_t size, std::string *error);
    // Before finish(): renames the pair to AF<d><id>/DF<d><id> (or id_2 ...
    // when that is taken) so that it carries the MTA's id; on failure the
    // pair keeps its name and false is returned.
    bool rename_pair(const std::string &id);
    // Closes the data file and writes the envelope file.
    bool finish(std::string *error);

    const SpoolPair &pair() const { return m_pair; }
    const std::vector<HeaderField> &headers() const { return m_headers; }
    const MailEnvelope &envelope() const { return m_envelope; }
    bool outbound() const { return m_outbound; }

private:
    MailCapture() = default;
    bool write(const void *data, size_t size, std::string *error);

    SpoolPair m_pair;
    MailEnvelope m_envelope;
    std::vector<HeaderField> m_headers;
    bool m_outbound = false;
    bool m_headersEnded = false;
    FILE *m_data = nullptr;
};

// Takes the spool for this process (a lock on "ovmilter.lock" in it, held
// until the process ends), so that two daemons never share one spool; false
// with a reason when another one holds it.
bool lock_spool(const std::string &spool, std::string *error);

// Removes the AF and DF files a previous run left in the spool (it ended
// before it answered those mails, so their senders still hold them), and
// its spare files; how many AF and DF files went.
int remove_stale_pairs(const std::string &spool);

// A name for a new pair, unique within this host: time, process and a counter.
std::string make_spool_id();

// "<a@b>" -> "a@b"; other text unchanged but for surrounding blanks.
std::string strip_angle_brackets(const std::string &address);

// A header value as the MTA passed it, made fit for the data file: LF and
// CRLF become CRLF followed by a blank (a folded line), a bare CR a blank,
// and line breaks at the end go.
std::string crlf_line_breaks(const std::string &value);
