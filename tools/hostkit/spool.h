// Turning RFC 822 mails into the envelope (AF) and data (DF) file pairs that
// the plug-in reads, as a gateway's spool holds them.
//
// The envelope is taken from the mail's own headers: F the Return-Path (or
// the From address), one T line per address of To, Cc and Bcc, O/D/C/P/S the
// From, To, Cc, Reply-To and Subject values as they stand (encoded words are
// left for the plug-in to decode), R the receiving time in seconds. The pair
// is named AF<d><id> / DF<d><id>, <d> being I (inbound) or O (outbound), so
// the plug-in derives the direction from the third character of the name.
#pragma once

#include <ctime>
#include <string>
#include <vector>

struct MailEnvelope {
    std::string envelopeFrom;             // F
    std::vector<std::string> recipients;  // T, one line each
    std::string from, to, cc, replyTo, subject;  // O D C P S
    long receivedTime = 0;                // R
};

// The value of the first header `name` (case-insensitive) in the header block
// of `message`, unfolded; empty when absent.
std::string header_value(const std::string &message, const char *name);

// The bare addresses of an address-list header value: "A <a@x>, b@y" gives
// a@x and b@y. Quoted names and comments are skipped.
std::vector<std::string> parse_address_list(const std::string &value);

// The envelope a gateway would write for this mail, received at `now`.
MailEnvelope envelope_from_message(const std::string &message, time_t now);

// Text of the AF file for the envelope.
std::string format_envelope(const MailEnvelope &envelope);

struct SpoolPair {
    std::string afPath;
    std::string dfPath;
};

// Writes the pair for `message` into `dir` under the id; false with a reason.
bool write_spool_pair(const std::string &dir, const std::string &id, bool outbound,
                      const MailEnvelope &envelope, const std::string &message, SpoolPair *pair,
                      std::string *error);

// The AF*/DF* pairs already in `dir`, in name order (an AF file without its
// DF sibling is listed too: the plug-in reports it).
std::vector<SpoolPair> list_spool_pairs(const std::string &dir);

// Reads the file at `path` whole into `data` (one read for a regular file of
// known size); false with a reason.
bool read_file(const std::string &path, std::string *data, std::string *error);

// Writes `data` to `path` whole; false with a reason.
bool write_file(const std::string &path, const std::string &data, std::string *error);
