// ReadPolicy: the policy file's token stream into a POLICYSET (see
// policy_reader.h for the file format and its rules).
#include <sys/stat.h>

#include <cerrno>
#include <cstring>
#include <memory>

#include "base/file_util.h"
#include "base/log.h"
#include "base/profile.h"
#include "contscan/policy.h"
#include "contscan/policy_reader.h"

namespace
{

const char kPolicyFileMagic[] = "CsConfig.dat2";
// Buffer size of the switches read from the settings file.
constexpr int kSwitchSize = 32;

struct FileCloser {
    void operator()(FILE *file) const { std::fclose(file); }
};

// A switch of the settings file: true when its value contains "yes".
bool ReadSwitch(const char *settingsFile, const char *section, const char *key,
                const char *defaultValue)
{
    char value[kSwitchSize] = "";
    strcpy_truncate(value, defaultValue, sizeof value);
    if (settingsFile)
        GetPrivateProfileString(section, key, defaultValue, value, sizeof value, settingsFile);
    return std::strstr(value, "yes") != nullptr;
}

// The "=t" rule of the "se" and "pe" tokens.
bool IsTrueSetting(const char *token)
{
    const char *equals = std::strchr(token, '=');
    return equals && equals[1] == 't';
}

void LowerAscii(char *text)
{
    for (; *text; ++text) {
        if (*text >= 'A' && *text <= 'Z')
            *text = static_cast<char>(*text - 'A' + 'a');
    }
}

// Where the reader stands in the file: the records the next tokens add to.
struct PolicyCursor {
    POLICY_STRU *policy = nullptr;
    KEYWORDLIST_STRU *list = nullptr;
    KEYWORD_STRU *keyword = nullptr;
};

class PolicyReader
{
public:
    PolicyReader(POLICYSET *set, const char *settingsFile)
        : m_set(set), m_settingsFile(settingsFile)
    {
    }

    // Applies one token; false when a policy could not be made.
    bool Apply(char *token)
    {
        int type = GetTokenType(token);
        const char *argument = std::strlen(token) >= 2 ? token + 2 : "";
        if (type == TOKEN_POLICY_HEADER)
            return StartPolicy(argument);
        POLICY_STRU *policy = m_cursor.policy;
        if (!policy)
            return true;
        switch (type) {
        case TOKEN_SYNONYM_ENABLED:
            policy->m_bSynonymEnabled = IsTrueSetting(token);
            return true;
        case TOKEN_POLICY_ENABLED:
            policy->m_bEnabled = IsTrueSetting(token);
            return true;
        case TOKEN_NOACTION:
        case TOKEN_LIST_HEAD:
        case TOKEN_KEYWORD:
        case TOKEN_SYNONYM:
            if (policy->m_bEnabled)
                AddWord(type, token, token + 2);
            return true;
        case TOKEN_IMPORT_FILE:
            if (policy->m_bEnabled)
                AddKeywordFromImportFile(policy, argument, m_set->m_bCaseSensitive, m_settingsFile);
            return true;
        default:
            return true;
        }
    }

private:
    bool StartPolicy(const char *name)
    {
        m_cursor = PolicyCursor{};
        POLICY_STRU *policy = AddPolicy(m_set, name);
        if (!policy) {
            ovux_log->start() << "ReadPolicy: AddPolicy(" << name << ") failed!" << Orvane::endl;
            return false;
        }
        policy->m_bInboundScan =
            ReadSwitch(m_settingsFile, policy->m_szName, "InboundMailScan", "yes");
        policy->m_bOutboundScan =
            ReadSwitch(m_settingsFile, policy->m_szName, "OutboundMailScan", "yes");
        m_cursor.policy = policy;
        return true;
    }

    // "ew", "wh", "wd" and "sy" of an enabled policy; the token is lowered
    // in place first unless the set is case sensitive.
    void AddWord(int type, char *token, const char *text)
    {
        if (!m_set->m_bCaseSensitive)
            LowerAscii(token);
        switch (type) {
        case TOKEN_NOACTION:
            AddNoActionKeyword(m_cursor.policy, text);
            break;
        case TOKEN_LIST_HEAD:
            m_cursor.list = AddKeywordList(m_cursor.policy, text);
            m_cursor.keyword = m_cursor.list ? m_cursor.list->m_pFirstKeyword : nullptr;
            break;
        case TOKEN_KEYWORD:
            if (m_cursor.list)
                m_cursor.keyword = AddKeyword(m_cursor.list, text);
            break;
        case TOKEN_SYNONYM:
            if (m_cursor.policy->m_bSynonymEnabled && m_cursor.keyword)
                AddSynonym(m_cursor.keyword, text);
            break;
        }
    }

    POLICYSET *m_set;
    const char *m_settingsFile;
    PolicyCursor m_cursor;
};

} // namespace

FILE *OpenRegularFile(const char *path)
{
    struct stat info;
    if (!path || stat(path, &info) != 0)
        return nullptr;
    if (!S_ISREG(info.st_mode)) {
        errno = EINVAL;
        return nullptr;
    }
    return std::fopen(path, "rb");
}

int FgetTillTab(char *buffer, FILE *file)
{
    int length = 0;
    while (length < OV_POLICY_TOKEN_LIMIT) {
        int c = std::fgetc(file);
        if (c == EOF) {
            buffer[length] = '\0';
            return 0;
        }
        if (c == '\t') {
            if (length == 0)
                return -1;
            break;
        }
        buffer[length++] = static_cast<char>(c);
    }
    buffer[length] = '\0';
    return length;
}

int GetTokenType(const char *token)
{
    static const char *const kTypes[] = {"sh", "se", "pe", "ew", "wh", "wd", "sy", "sn", "sf"};
    if (!token)
        return TOKEN_OTHER;
    for (int type = 0; type < TOKEN_OTHER; ++type) {
        if (std::strncmp(token, kTypes[type], 2) == 0)
            return type;
    }
    return TOKEN_OTHER;
}

int ReadPolicy(POLICYSET *set, const char *policyFile, const char *settingsFile)
{
    if (!set || !policyFile)
        return -EAGAIN;
    std::unique_ptr<FILE, FileCloser> file(OpenRegularFile(policyFile));
    if (!file) {
        ovux_log->start() << "ReadPolicy: fopen(" << policyFile << ") failed: " << Log::syserr()
                          << Orvane::endl;
        return -EAGAIN;
    }
    char token[OV_POLICY_TOKEN_LIMIT + 1] = "";
    if (FgetTillTab(token, file.get()) <= 0 || std::strcmp(token, kPolicyFileMagic) != 0) {
        ovux_log->start() << "ReadPolicy: " << policyFile << " is not a policy file"
                          << Orvane::endl;
        return -EAGAIN;
    }
    set->m_bCaseSensitive = ReadSwitch(settingsFile, "Content Filter", "CaseSensitive", "no");
    set->m_bExactMatch = ReadSwitch(settingsFile, "Content Filter", "ExactMatch", "no");

    PolicyReader reader(set, settingsFile);
    while (FgetTillTab(token, file.get()) != 0) {
        if (!reader.Apply(token))
            return -ENOMEM;
    }
    return 1;
}
