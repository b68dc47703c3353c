#include "tools/ovctl/global_options.h"

bool ovctl_apply_global_options(OvctlArgs &words, std::string *error)
{
    // --host-language VALUE is wired up with the character-set code: it sets
    // the host language and character code as the "HostLanguage" setting does.
    while (!words.empty() && words[0].rfind("--", 0) == 0 && words[0] != "--help") {
        if (words[0] == "--host-language") {
            if (words.size() < 2) {
                *error = "--host-language needs a value";
                return false;
            }
            if (!ovctl_set_host_language(words[1], error))
                return false;
            words.erase(words.begin(), words.begin() + 2);
            continue;
        }
        *error = "unknown option " + words[0];
        return false;
    }
    return true;
}
