// CRuleScan::Scan: judging one mail (see rule_scan.h).
//
//   1. direction from the envelope file's name
//   2. under the read lock: the relay hosts of the "Received:" headers
//   3. the MIME walk (attachments, searchable text) and the TNEF names
//   4. the specialized filter's picks, when a Replace_Stru is given
//   5. the first matching rule, in list order
#include <sys/stat.h>

#include <cstdio>
#include <memory>

#include "base/log.h"
#include "mail/mail_info.h"
#include "rules/file_handle.h"
#include "rules/received_hosts.h"
#include "rules/rule_scan.h"

namespace {

bool action_from_text(const std::string &text, ACT_TYPE &action)
{
    static const struct {
        const char *text;
        ACT_TYPE action;
    } kActions[] = {{"DEL", ACT_DEL}, {"QUAR", ACT_QUAR}, {"ARCH", ACT_ARCH}};
    for (const auto &entry : kActions) {
        if (text == entry.text) {
            action = entry.action;
            return true;
        }
    }
    return false;
}

} // namespace

// A picked part nested in one picked before it (a uuencoded block inside a
// named part, say) goes with the outer one: only parts that start at or after
// the end of the previous entry are listed, so the entries never overlap.
void CRuleScan::PickAttachments(CMailInfo &info, Replace_Stru &replace)
{
    for (int i = 0; i < info.m_nAttachCount && i < MAX_ATTACH_COUNT; ++i) {
        Attach_Stru *attach = info.m_pAttach[i];
        if (!attach || attach->m_nStart == -1 || !m_sfilter.Evaluate(info, i))
            continue;
        info.m_bChecked[i] = 1;
        const Attach_Stru *previous = replace.count > 0 ? replace.entries[replace.count - 1]
                                                        : nullptr;
        if (previous && attach->m_nStart < previous->m_nEnd)
            continue;
        replace.Add(*attach);
    }
}

const CExpression *CRuleScan::FirstMatch(const CMailInfo &info, MAIL_TYPE direction) const
{
    for (const CExpression *rule = head; rule; rule = rule->GetNext()) {
        if (rule->CheckScan(direction) && rule->GetSuspended() == 0 && rule->Evaluate(&info))
            return rule;
    }
    return nullptr;
}

bool CRuleScan::Scan(const char *afFile, const char *dfFile, std::string &ruleName,
                     std::string &ruleText, std::string &actionText, TriggerType &trigger,
                     CMailInfo &info, MEMBUF *buffer, const char *workDir, Replace_Stru *replace)
{
    RuleFilePtr message = OpenRuleFile(dfFile, "r");
    if (!message) {
        info.m_nDirection = MailDirectionFromName(afFile);
        ovux_log->start() << "Scan: cannot open " << (dfFile ? dfFile : "(null)") << Orvane::endl;
        return false;
    }
    struct stat status;
    RuleFilePtr text = OpenRuleFile(workDir, "wb");
    ScanFiles files;
    files.af = afFile;
    files.df = dfFile;
    files.message = message.get();
    files.messageSize = fstat(fileno(message.get()), &status) == 0 ? long(status.st_size) : 0;
    files.text = text.get();
    files.textPath = workDir;
    return ScanOpenFiles(files, ruleName, ruleText, actionText, trigger, info, buffer, replace);
}

bool CRuleScan::ScanOpenFiles(const ScanFiles &files, std::string &ruleName, std::string &ruleText,
                              std::string &actionText, TriggerType &trigger, CMailInfo &info,
                              MEMBUF *buffer, Replace_Stru *replace)
{
    const MAIL_TYPE direction = MailDirectionFromName(files.af);
    info.m_nDirection = direction;

    ReadLock hold(m_lock);
    info.m_nDomainCount = 0;
    CollectReceivedHosts(files.message, info);
    info.m_nAttachCount = 0;
    CollectAttachments(files, buffer, info);
    trigger = TRIGGER_ADMIN;
    if (replace)
        PickAttachments(info, *replace);

    const CExpression *rule = FirstMatch(info, direction);
    if (!rule)
        return false;
    rule->GetAction(actionText);
    rule->GetRule(ruleText);
    rule->GetName(ruleName);
    if (rule->IsVendor())
        trigger = TRIGGER_VENDOR;
    return true;
}

bool CRuleScan::Scan(const char *afFile, const char *dfFile, std::string &ruleName,
                     std::string &ruleText, ACT_TYPE &action, TriggerType &trigger,
                     CMailInfo &info, MEMBUF *buffer, const char *workDir, Replace_Stru *replace)
{
    std::string actionText;
    bool matched = Scan(afFile, dfFile, ruleName, ruleText, actionText, trigger, info, buffer,
                        workDir, replace);
    action_from_text(actionText, action);
    return matched;
}

bool CRuleScan::Scan(const ScanFiles &files, std::string &ruleName, std::string &ruleText,
                     ACT_TYPE &action, TriggerType &trigger, CMailInfo &info, MEMBUF *buffer,
                     Replace_Stru *replace)
{
    std::string actionText;
    bool matched =
        ScanOpenFiles(files, ruleName, ruleText, actionText, trigger, info, buffer, replace);
    action_from_text(actionText, action);
    return matched;
}
