#include "tools/ovmilter/milter_answer.h"

#include <strings.h>

#include <algorithm>

namespace {

const size_t kBodyChunk = 64 * 1024;
const char kVerdictHeader[] = "X-Content-Verdict";

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

// Header values go to the MTA with LF between folded lines.
std::string lf_line_breaks(const std::string &value)
{
    std::string text;
    for (size_t i = 0; i < value.size(); ++i) {
        if (!(value[i] == '\r' && i + 1 < value.size() && value[i + 1] == '\n'))
            text += value[i];
    }
    return text;
}

bool edit_headers(SMFICTX *context, const std::vector<HeaderEdit> &edits, std::string *failure)
{
    for (const HeaderEdit &edit : edits) {
        std::string name = edit.name;
        std::string value = lf_line_breaks(edit.value);
        int rc = edit.kind == HeaderEdit::Add
                     ? smfi_addheader(context, &name[0], &value[0])
                     : smfi_chgheader(context, &name[0], edit.index,
                                      edit.kind == HeaderEdit::Remove ? nullptr : &value[0]);
        if (rc != MI_SUCCESS) {
            *failure = "the MTA refused to change header " + name;
            return false;
        }
    }
    return true;
}

bool replace_body(SMFICTX *context, const std::string &body, std::string *failure)
{
    // libmilter only reads the buffer. An empty body is sent too: the
    // original must not stay in its place.
    auto *data = reinterpret_cast<unsigned char *>(const_cast<char *>(body.data()));
    size_t at = 0;
    do {
        size_t length = std::min(kBodyChunk, body.size() - at);
        if (smfi_replacebody(context, data + at, static_cast<int>(length)) != MI_SUCCESS) {
            *failure = "the MTA refused the new body";
            return false;
        }
        at += length;
    } while (at < body.size());
    return true;
}

// Replaces any verdict header the mail came with by ours, so that nobody
// downstream trusts a verdict the sender wrote.
bool set_verdict_header(SMFICTX *context, const MailCapture &mail, const char *word,
                        std::string *failure)
{
    int present = 0;
    for (const HeaderField &header : mail.headers())
        present += strcasecmp(header.name.c_str(), kVerdictHeader) == 0;
    std::string name = kVerdictHeader;
    std::string value = word;
    for (int index = present; index >= 1; --index) {
        if (smfi_chgheader(context, &name[0], index, nullptr) != MI_SUCCESS) {
            *failure = "the MTA refused to remove a forged verdict header";
            return false;
        }
    }
    if (smfi_addheader(context, &name[0], &value[0]) != MI_SUCCESS) {
        *failure = "the MTA refused the verdict header";
        return false;
    }
    return true;
}

} // namespace

sfsistat tempfail_reply(SMFICTX *context)
{
    static char code[] = "451", status[] = "4.3.0";
    static char text[] = "Content filter could not check the message, try again later";
    smfi_setreply(context, code, status, text);
    return SMFIS_TEMPFAIL;
}

sfsistat answer_mta(SMFICTX *context, const MailCapture &mail, const MailOutcome &outcome,
                    const MilterConfig &config, std::string *failure)
{
    switch (outcome.verdict.reply) {
    case MilterReply::Tempfail:
        *failure = outcome.error;
        return tempfail_reply(context);
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
    bool changed = !outcome.verdict.replaceBody ||
                   (edit_headers(context, outcome.headerEdits, failure) &&
                    replace_body(context, outcome.newBody, failure));
    if (!changed || (config.verdictHeader &&
                     !set_verdict_header(context, mail, outcome.verdict.word, failure)))
        return tempfail_reply(context);
    return SMFIS_ACCEPT;
}

const char *milter_reply_word(sfsistat reply)
{
    switch (reply) {
    case SMFIS_ACCEPT: return "accept";
    case SMFIS_DISCARD: return "discard";
    case SMFIS_REJECT: return "reject";
    case SMFIS_TEMPFAIL: return "tempfail";
    default: return "continue";
    }
}
