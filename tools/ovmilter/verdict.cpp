#include "tools/ovmilter/verdict.h"

#include "tools/hostkit/plugin_host.h"
#include "tools/hostkit/verdict_words.h"

MilterVerdict decide_verdict(int code, const ZWMailResult &result, uint32_t faults,
                             BlockReply onBlock)
{
    MilterVerdict verdict;
    if (code < 0 || faults_hold_mail(faults))
        return verdict;
    const VerdictWords words = describe_verdict(code, result);
    verdict.word = words.word;
    if (words.blocked) {
        verdict.reply = onBlock == BlockReply::Reject ? MilterReply::Reject : MilterReply::Discard;
    } else {
        verdict.reply = MilterReply::Accept;
        verdict.replaceBody = result.action == 4;
    }
    return verdict;
}
