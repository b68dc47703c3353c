// Notification-address checks of ovctl lint (see lint_addresses.h).
#include "tools/ovctl/lint_addresses.h"

namespace
{

bool ends_with(const std::string &text, const std::string &tail)
{
    return text.size() >= tail.size() &&
           text.compare(text.size() - tail.size(), tail.size(), tail) == 0;
}

bool is_on(const IniIndex &ini, const char *section, const char *key)
{
    const IniEntry *entry = ini.find(section, key);
    return entry && entry->value.find("yes") != std::string::npos;
}

void check_addresses(const IniIndex &ini, const std::string &section, const char *key,
                     const char *consequence, LintFindings &out)
{
    const IniEntry *entry = ini.find(section, key);
    if (!entry)
        return;
    size_t start = 0;
    for (;;) {
        size_t comma = entry->value.find(',', start);
        std::string address = entry->value.substr(start, comma - start);
        size_t first = address.find_first_not_of(" \t<");
        size_t last = address.find_last_not_of(" \t>");
        address = first == std::string::npos ? "" : address.substr(first, last - first + 1);
        if (IsExampleAddress(address))
            out.push_back(LintFinding{
                ini.path(), entry->line,
                "[" + entry->section + "] " + entry->key + " \"" + address +
                    "\" is at a documentation domain that takes no mail: " + consequence,
                "put an address of your own domain", true});
        if (comma == std::string::npos)
            break;
        start = comma + 1;
    }
}

} // namespace

bool IsExampleAddress(const std::string &address)
{
    const size_t at = address.rfind('@');
    if (at == std::string::npos)
        return false;
    const std::string domain = ini_lower(address.substr(at + 1));
    for (const char *example : {"example.com", "example.net", "example.org"}) {
        if (domain == example || ends_with(domain, std::string(".") + example))
            return true;
    }
    return false;
}

LintFindings LintNotificationAddresses(const IniIndex &ini,
                                       const std::vector<std::string> &policyNames)
{
    LintFindings out;
    const char *lost = "these notifications are lost";
    check_addresses(ini, "Content Filter", "NotificationSender",
                    "replies and bounces of every notification are lost", out);
    if (is_on(ini, "Specialized Filtering", "WarnAdmin"))
        check_addresses(ini, "Specialized Filtering", "Admin", lost, out);
    if (is_on(ini, "Anti-Spam", "WarningAdmin"))
        check_addresses(ini, "Anti-Spam", "Admin", lost, out);
    for (const std::string &policy : policyNames) {
        if (is_on(ini, policy.c_str(), "WarningUser"))
            check_addresses(ini, policy, "User", lost, out);
    }
    return out;
}
