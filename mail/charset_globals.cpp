// The process-wide character-set settings: the host code, the host language
// and the host character set of logs and paths. They hold the values a started
// plug-in has until the "HostLanguage" setting is read.
#include "mail/charset.h"

int _kanji = CHARSET_EUC;
int _language = LANG_OTHER;
int g_nHostCharset = CHARSET_PLAIN;
