#include "plugin/settings.h"

#include <strings.h>

#include <cstring>
#include <vector>

#include "base/log.h"
#include "base/profile.h"
#include "notify/notification.h"
#include "mail/temp_dir.h"
#include "notify/notify_globals.h"
#include "plugin/globals.h"
#include "rules/rule_scan.h"

t_string g_t_strQuarDir;
t_string g_t_strArchDir;
bool bRemoveAttachment = false;
int iIOMail = 2;
bool bQuarantine = false;
std::string strNotificationSender;
std::string strNotificationSubject;
bool bWarnSender = false;
int iIOSender = 2;
std::string strMsgSender;
bool bWarnRecipient = false;
int iIORecipient = 2;
std::string strMsgRecipient;
bool bWarnAdmin = false;
int iIOAdmin = 2;
std::string strMsgAdmin;
std::string strAdmin;
int nNotifyAttachment = NOTIFY_HEADER;
bool bAntiSpamWarnAdmin = false;
std::string AntiSpamAdmin;
std::string strMsgUser;
bool bDeleteTempDir = true;
bool bAmbiguousMimeQuarantine = false;

namespace {

constexpr int kValueSize = 522;
constexpr int kRuleFileSize = 512;
constexpr int kVersionSize = 50;

std::string read_value(const char *section, const char *key, const char *defaultValue, int size)
{
    std::vector<char> buffer(static_cast<size_t>(size), '\0');
    GetPrivateProfileString(section, key, defaultValue, buffer.data(), size, ovConfig);
    return buffer.data();
}

// A root that does not begin with "/" lies in the program directory.
t_string root_directory(const std::string &value)
{
    t_string root;
    if (!value.empty() && value[0] == '/')
        root = value;
    else
        root.format("%s%s", g_t_strProgramDirectory.c_str(), value.c_str());
    return root;
}

// Splits at "," without trimming; every item is kept, empty ones too.
std::vector<std::string> split_commas(const std::string &text)
{
    std::vector<std::string> items;
    size_t start = 0;
    for (size_t comma; (comma = text.find(',', start)) != std::string::npos; start = comma + 1)
        items.push_back(text.substr(start, comma - start));
    items.push_back(text.substr(start));
    return items;
}

void load_rule_source(CRuleScan *scanner, const char *caller, ConfigFile *config,
                      const std::string &item, bool last)
{
    const char *ok = last ? ") last one OK!" : ") OK!";
    const char *failed = last ? ") last one failed!" : ") failed!";
    if (strncasecmp(item.c_str(), "Zelto$RF", 8) == 0) {
        char version[kVersionSize] = "";
        GetPrivateProfileString("RuleFile-Update", "RFVersion", "1", version, kVersionSize, config);
        t_string sealed;
        sealed.format("%sZelto$RF.%s", g_t_strSPAMRULEDIR.c_str(), version);
        std::vector<char> path(sealed.begin(), sealed.end());
        path.push_back('\0');
        std::vector<char> temp(g_t_strTEMPDIR.begin(), g_t_strTEMPDIR.end());
        temp.push_back('\0');
        bool loaded = scanner->LoadEncrptFile(path.data(), temp.data());
        ovux_log->start() << caller << ": CRuleScan::LoadEncrptFile(" << sealed << ","
                          << g_t_strTEMPDIR << (loaded ? ok : failed) << Orvane::endl;
        return;
    }
    std::vector<char> path(item.begin(), item.end());
    path.push_back('\0');
    bool loaded = scanner->LoadImportRuleFile(path.data());
    ovux_log->start() << caller << ": CRuleScan::LoadImportRuleFile(" << item
                      << (loaded ? ok : failed) << Orvane::endl;
}

} // namespace

std::string ReadSetting(const char *section, const char *key, const char *defaultValue)
{
    return read_value(section, key, defaultValue, kValueSize);
}

bool SettingIsYes(const std::string &value)
{
    return value.find("yes") != std::string::npos;
}

int SettingDirection(const std::string &value)
{
    if (value == "inbound")
        return 0;
    if (value == "outbound")
        return 1;
    return 2;
}

void LoadAntiSpamVendorRuleFile(CRuleScan *scanner, const char *caller, ConfigFile *config)
{
    if (!scanner)
        return;
    char list[kRuleFileSize] = "";
    GetPrivateProfileString("Anti-Spam", "RuleFile", "", list, kRuleFileSize, config);
    if (list[0] == '\0') {
        ovux_log->start() << caller << ": No Import or Encrpt RuleFile" << Orvane::endl;
        return;
    }
    const std::vector<std::string> items = split_commas(list);
    for (size_t i = 0; i < items.size(); ++i)
        load_rule_source(scanner, caller, config, items[i], i + 1 == items.size());
}

void LoadPluginSettings()
{
    if (m_pRuleScanObj)
        m_pRuleScanObj->LoadProfile();

    g_t_strQuarDir = root_directory(ReadSetting("Advanced Options", "QuarantineDirectory", "Quarantine"));
    g_t_strArchDir = root_directory(ReadSetting("Advanced Options", "ArchiveDirectory", "Archive"));

    bRemoveAttachment = SettingIsYes(ReadSetting("Specialized Filtering", "RemoveAttachment", "no"));
    iIOMail = SettingDirection(ReadSetting("Specialized Filtering", "IOMail", "both"));
    bQuarantine = SettingIsYes(ReadSetting("Specialized Filtering", "Quarantine", "no"));
    strNotificationSender = ReadSetting("Content Filter", "NotificationSender", "Poster");
    strNotificationSubject =
        ReadSetting("Content Filter", "UserSubject", "Spam mail warning notification!");
    bWarnSender = SettingIsYes(ReadSetting("Specialized Filtering", "WarnSender", "no"));
    iIOSender = SettingDirection(ReadSetting("Specialized Filtering", "IOSender", "both"));
    strMsgSender = ReadSetting("Specialized Filtering", "MessageSender", "");
    bWarnRecipient = SettingIsYes(ReadSetting("Specialized Filtering", "WarnRecipient", "no"));
    iIORecipient = SettingDirection(ReadSetting("Specialized Filtering", "IORecipient", "both"));
    strMsgRecipient = ReadSetting("Specialized Filtering", "MessageRecipient", "");
    bWarnAdmin = SettingIsYes(ReadSetting("Specialized Filtering", "WarnAdmin", "no"));
    iIOAdmin = SettingDirection(ReadSetting("Specialized Filtering", "IOAdmin", "both"));
    strMsgAdmin = ReadSetting("Specialized Filtering", "MessageAdmin", "");
    strAdmin = ReadSetting("Specialized Filtering", "Admin", "");

    const std::string attachment = ReadSetting("Advanced Options", "NotificationAttachment", "Header");
    if (attachment.find("AllText") != std::string::npos)
        nNotifyAttachment = NOTIFY_MESSAGE_TEXT;
    else if (attachment.find("All") != std::string::npos)
        nNotifyAttachment = NOTIFY_MESSAGE;
    else if (attachment.find("Header") != std::string::npos)
        nNotifyAttachment = NOTIFY_HEADER;
    else
        nNotifyAttachment = NOTIFY_NONE;

    bAntiSpamWarnAdmin = SettingIsYes(ReadSetting("Anti-Spam", "WarningAdmin", "none"));
    if (bAntiSpamWarnAdmin) {
        const std::string admins = ReadSetting("Anti-Spam", "Admin", "");
        if (admins.empty()) {
            bAntiSpamWarnAdmin = false;
        } else {
            AntiSpamAdmin.clear();
            for (const std::string &admin : split_commas(admins)) {
                if (admin.empty())
                    continue;
                AntiSpamAdmin += (AntiSpamAdmin.empty() ? "" : ",") + admin;
            }
            strMsgUser = ReadSetting("Anti-Spam", "MessageAdmin", "");
        }
    }

    bDeleteTempDir = ReadSetting("Content Filter", "DeleteTempFile", "yes") != "no";
    const std::string ambiguous = ReadSetting("Advanced Options", "AmbiguousMime", "Pass");
    bAmbiguousMimeQuarantine = ambiguous.find("Quarantine") != std::string::npos;
}

_POLICY_MATCH_INFO *InitPolicySetMatchInfo()
{
    _POLICY_MATCH_INFO *head = nullptr;
    _POLICY_MATCH_INFO **tail = &head;
    for (POLICY_STRU *policy = m_pPolicySet ? m_pPolicySet->m_pFirstPolicy : nullptr; policy;
         policy = policy->m_pNext) {
        auto *record = static_cast<_POLICY_MATCH_INFO *>(calloc(1, sizeof(_POLICY_MATCH_INFO)));
        if (!record)
            break;
        record->m_pPolicy = policy;
        *tail = record;
        tail = &record->m_pNext;
    }
    return head;
}

void FreePolicySetMatchInfo(_POLICY_MATCH_INFO *list)
{
    while (list) {
        _POLICY_MATCH_INFO *next = list->m_pNext;
        free(list);
        list = next;
    }
}
