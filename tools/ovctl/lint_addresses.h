// Notification addresses left at the documentation domains (example.com,
// example.net, example.org and their subdomains), which take no mail: the
// notifications to them are lost, and those sent from them bounce. Only
// addresses in use are judged: the notification sender, the special
// filter's administrator when "WarnAdmin" is on, the junk-mail
// administrators when "WarningAdmin" is on, and each policy's "User" when its
// "WarningUser" is on. These are warnings: the example installation ships
// with them.
#pragma once

#include <string>
#include <vector>

#include "tools/ovctl/lint_finding.h"
#include "tools/ovctl/lint_ini.h"

// True when the address's domain is a documentation domain.
bool IsExampleAddress(const std::string &address);

LintFindings LintNotificationAddresses(const IniIndex &ini,
                                       const std::vector<std::string> &policyNames);
