#include "tools/ovmilter/verdict.h"

#include "tools/hostkit/plugin_host.h"

namespace {

const char *blocked_word(int action)
{
    switch (action) {
    case 1: return "deleted";
    case 2: return "quarantined";
    case 3: return "archived";
    default: return "blocked";
    }
}

} // namespace

MilterVerdict decide_verdict(int code, const ZWMailResult &result, uint32_t faults,
                             BlockReply onBlock)
{
    MilterVerdict verdict;
    if (code < 0 || faults_hold_mail(faults))
        return verdict;
    bool blocked = code == 2 || result.blocked != 0 || (result.action >= 1 && result.action <= 3);
    if (blocked) {
        verdict.reply = onBlock == BlockReply::Reject ? MilterReply::Reject : MilterReply::Discard;
        verdict.word = blocked_word(result.action);
    } else if (result.action == 4) {
        verdict.reply = MilterReply::Accept;
        verdict.replaceBody = true;
        verdict.word = "replaced";
    } else {
        verdict.reply = MilterReply::Accept;
        verdict.word = "pass";
    }
    return verdict;
}
