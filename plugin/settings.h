// The plug-in's settings from "contscan.ini": the globals that hold the
// action and notification settings between mails, and the loaders that fill
// them at start and at every update.
//
//   LoadAntiSpamVendorRuleFile(m_pRuleScanObj, "ZWEmailPluginUpdate", ovConfig);
//   LoadPluginSettings();
//
// Text values are read into 522-byte buffers (longer values are cut). A yes/no
// switch is on when its value contains "yes" (case-sensitive), except
// "DeleteTempFile", which is on unless the value is exactly "no". Directions
// map "inbound" to 0, "outbound" to 1 and anything else to 2 (both).
//
// Both loaders run inside Initialize or inside Update's wait-for-zero, when no
// mail is in progress, so mail threads read the globals without a lock.
#pragma once

#include <string>

#include "base/ov_string.h"
#include "ov/contscan.h"

class ConfigFile;
class CRuleScan;

extern t_string g_t_strQuarDir;
extern t_string g_t_strArchDir;
extern bool bRemoveAttachment;
extern int iIOMail;
extern bool bQuarantine;
extern std::string strNotificationSender;
extern std::string strNotificationSubject;
extern bool bWarnSender;
extern int iIOSender;
extern std::string strMsgSender;
extern bool bWarnRecipient;
extern int iIORecipient;
extern std::string strMsgRecipient;
extern bool bWarnAdmin;
extern int iIOAdmin;
extern std::string strMsgAdmin;
extern std::string strAdmin;
extern int nNotifyAttachment;   // a NOTIFY_TYPE (notify/notification.h)
extern bool bAntiSpamWarnAdmin;
extern std::string AntiSpamAdmin;
extern std::string strMsgUser;
extern bool bDeleteTempDir;
// "AmbiguousMime" of "Advanced Options": "Pass" (the default) lets a mail
// whose MIME structure reads two ways go on; "Quarantine" holds it as if a
// rule named "Ambiguous MIME" had matched.
extern bool bAmbiguousMimeQuarantine;

// Loads every rule source named by "RuleFile" of section "Anti-Spam" into the
// scanner: "Zelto$RF..." items (any case) the sealed vendor file of version
// "RFVersion", any other item a plain import rule file. One debug line per
// source, beginning with `caller`. Failures are only logged.
void LoadAntiSpamVendorRuleFile(CRuleScan *scanner, const char *caller, ConfigFile *config);

// Fills the settings globals from ovConfig, after the rule filter read its own
// profile.
void LoadPluginSettings();

// A new match list for the current policy set, one zeroed record per policy
// in policy order; null for an empty set. FreePolicySetMatchInfo frees it.
_POLICY_MATCH_INFO *InitPolicySetMatchInfo();
void FreePolicySetMatchInfo(_POLICY_MATCH_INFO *list);

// Helpers shared with the pipeline: the text value of a key of contscan.ini
// (through ovConfig) and the switch and direction rules above.
std::string ReadSetting(const char *section, const char *key, const char *defaultValue);
bool SettingIsYes(const std::string &value);
int SettingDirection(const std::string &value);
