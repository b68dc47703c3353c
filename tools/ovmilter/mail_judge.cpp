#include "tools/ovmilter/mail_judge.h"

#include <cstring>

#include "tools/hostkit/plugin_host.h"

MailOutcome MailJudge::judge(const MailCapture &mail,
                             const std::function<void()> &whileWaiting) const
{
    MailOutcome outcome;
    ZWHostCall call{};
    call.enque_mail = m_enqueue;
    const std::string &afPath = mail.pair().afPath;
    if (afPath.size() >= sizeof call.af_path) {
        outcome.error = "spool path too long: " + afPath;
        return outcome;
    }
    std::memcpy(call.af_path, afPath.c_str(), afPath.size() + 1);

    bool ran = m_pool.run(
        [&] { outcome.code = m_process(&call, &outcome.result, &outcome.report); }, whileWaiting);
    if (!ran) {
        outcome.error = "the plug-in is stopping or failed";
        return outcome;
    }
    outcome.verdict =
        decide_verdict(outcome.code, outcome.result, outcome.report.faults, m_onBlock);
    if (outcome.verdict.reply == MilterReply::Tempfail) {
        outcome.error = outcome.code < 0
                            ? "plug-in answered " + std::to_string(outcome.code)
                            : "plug-in fault " + fault_words(outcome.report.faults) +
                                  ", the mail is held";
        return outcome;
    }
    if (outcome.verdict.replaceBody) {
        RewrittenMail rewritten;
        if (!read_rewritten_mail(mail.pair().dfPath, &rewritten, &outcome.error)) {
            outcome.verdict = MilterVerdict{};
            return outcome;
        }
        outcome.headerEdits = header_edits(mail.headers(), rewritten.headers);
        outcome.newBody = std::move(rewritten.body);
    }
    return outcome;
}
