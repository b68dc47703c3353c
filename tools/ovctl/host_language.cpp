// --host-language VALUE: the host language and host character set that the
// plug-in takes from its "HostLanguage" setting ("ja_JP.eucJP", "zh_TW.Big5",
// "en_US", ...). Any value is accepted; one the rules do not name means "other".
#include "mail/charset.h"
#include "tools/ovctl/global_options.h"

bool ovctl_set_host_language(const std::string &value, std::string * /*error*/)
{
    auto starts = [&value](const char *prefix) { return value.rfind(prefix, 0) == 0; };
    if (!value.empty() && starts("ja")) {
        _language = LANG_JAPANESE;
        g_nHostCharset = value == "ja_JP.sjis" || value == "ja_JP.SJIS" ? CHARSET_SJIS : CHARSET_EUC;
    } else if (starts("zh_TW")) {
        _language = LANG_TAIWAN;
        g_nHostCharset = CHARSET_EUC;
    } else if (starts("zh")) {
        _language = LANG_CHINESE;
        g_nHostCharset = CHARSET_EUC;
    } else {
        _language = LANG_OTHER;
        g_nHostCharset = CHARSET_PLAIN;
    }
    return true;
}
