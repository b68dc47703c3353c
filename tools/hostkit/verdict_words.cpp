// The verdict words shared by the hosts (see verdict_words.h).
#include "tools/hostkit/verdict_words.h"

namespace
{

const char *action_word(int action)
{
    switch (action) {
    case 1:
        return "deleted";
    case 2:
        return "quarantined";
    case 3:
        return "archived";
    case 4:
        return "replaced";
    default:
        return "none";
    }
}

} // namespace

VerdictWords describe_verdict(int code, const ZWMailResult &result)
{
    VerdictWords words;
    words.action = action_word(result.action);
    if (code < 0)
        return words;
    words.blocked = code == 2 || result.blocked != 0 || (result.action >= 1 && result.action <= 3);
    words.result = words.blocked ? "blocked" : "pass";
    if (words.blocked)
        words.word = result.action >= 1 && result.action <= 3 ? words.action : "blocked";
    else
        words.word = result.action == 4 ? "replaced" : "pass";
    return words;
}
