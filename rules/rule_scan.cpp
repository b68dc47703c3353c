// CRuleScan: the rule list, its files and settings (see rule_scan.h). The
// per-mail scan is in rule_scan_mail.cpp.
#include "rules/rule_scan.h"

#include <strings.h>

#include <cstdio>
#include <cstring>
#include <memory>
#include <new>

#include "base/file_util.h"
#include "base/log.h"
#include "rules/file_handle.h"
#include "rules/rule_line.h"
#include "rules/sealed_file.h"
#include "sfilter/filter_config.h"

namespace {

constexpr int kImportLineSize = 512;    // 511 characters and the terminator
constexpr int kVendorActionSize = 1024;

// The action of vendor rules, as configured.
const char *vendor_action()
{
    char value[kVendorActionSize] = "";
    GetFilterProfileString("Anti-Spam(Vendor)", "Action", "Quarantine", value, sizeof value);
    if (strcasecmp(value, "Delete") == 0)
        return "DEL";
    if (strcasecmp(value, "Quarantine") == 0)
        return "QUAR";
    return "ARCH";
}

} // namespace

std::string EnableTableName(const char *ruleFile)
{
    char drive[OV_MAX_PATH] = "", dir[OV_MAX_PATH] = "", name[OV_MAX_PATH] = "",
         ext[OV_MAX_PATH] = "", path[OV_MAX_PATH] = "";
    _splitpath(ruleFile, drive, dir, name, ext);
    std::string base = std::string(name) + "Enable";
    _makepath(path, drive, dir, base.c_str(), ext);
    return path;
}

CRuleScan::CRuleScan()
    : count(0), head(nullptr), tail(nullptr), m_lock(0), MaxWriteLine(50), DecodeTnef(1),
      EnableAttachScan(false)
{
}

CRuleScan::~CRuleScan()
{
    DeleteAllExpressions();
}

void CRuleScan::DeleteAllExpressions()
{
    while (head) {
        CExpression *next = head->GetNext();
        delete head;
        head = next;
    }
    tail = nullptr;
    count = 0;
}

CExpression *CRuleScan::GetExpression(int index)
{
    if (index < 0 || index >= count)
        return nullptr;
    CExpression *rule = head;
    for (int i = 0; rule && i < index; ++i)
        rule = rule->GetNext();
    return rule;
}

CExpression *CRuleScan::AddExpression()
{
    return AddExpression(new (std::nothrow) CExpression);
}

CExpression *CRuleScan::AddExpression(CExpression *rule)
{
    if (!rule)
        return nullptr;
    rule->SetNext(nullptr);
    if (tail)
        tail->SetNext(rule);
    else
        head = rule;
    tail = rule;
    ++count;
    return rule;
}

bool CRuleScan::DeleteExpression(int index)
{
    if (index < 0 || index >= count)
        return false;
    CExpression *previous = index == 0 ? nullptr : GetExpression(index - 1);
    CExpression *rule = previous ? previous->GetNext() : head;
    if (!rule)
        return false;
    if (previous)
        previous->SetNext(rule->GetNext());
    else
        head = rule->GetNext();
    if (tail == rule)
        tail = previous;
    delete rule;
    --count;
    return true;
}

bool CRuleScan::ParseLine(const char *line, char *error)
{
    if (error)
        error[0] = '\0';
    RuleLineFields fields;
    RuleLineError problem = SplitRuleLine(line, fields);
    std::unique_ptr<CExpression> rule;
    if (problem == RULE_LINE_OK) {
        rule.reset(new (std::nothrow) CExpression);
        if (!rule)
            return false;
        rule->SetName(fields.name.c_str());
        rule->ParseMailType(fields.type.c_str(), true);
        rule->SetRule(fields.sentence.c_str());
        if (fields.hasAction)
            rule->ParseAction(fields.action.c_str(), true);
        if (!rule->ParseExpression(fields.sentence.c_str(), true))
            problem = RULE_LINE_BAD_SENTENCE;
    }
    if (problem != RULE_LINE_OK) {
        if (error)
            strcpy_truncate(error, RuleLineMessage(problem), RULE_ERROR_SIZE);
        return false;
    }
    AddExpression(rule.release());
    return true;
}

bool CRuleScan::ParseLine(const char *line, char *error, bool vendor)
{
    if (!ParseLine(line, error))
        return false;
    tail->SetVendor(vendor);
    return true;
}

bool CRuleScan::CheckSyntax(const char *line, int &nameEnd, int &typeEnd, int &sentenceEnd,
                            bool checkAction)
{
    RuleLineFields fields;
    RuleLineError split = SplitRuleLine(line, fields);
    if (split == RULE_LINE_EMPTY || split == RULE_LINE_NO_NAME)
        return false;
    nameEnd = static_cast<int>(fields.name.size());
    if (split == RULE_LINE_NO_TYPE)
        return false;
    typeEnd = nameEnd + 1 + static_cast<int>(fields.type.size());
    if (split != RULE_LINE_OK)
        return false;
    sentenceEnd = typeEnd + 1 + static_cast<int>(fields.sentence.size());
    return CheckRuleLine(line, checkAction) == RULE_LINE_OK;
}

void CRuleScan::ParseRuleLines(f_read_text_file &file)
{
    std::string line;
    char error[RULE_ERROR_SIZE];
    while (file.read_a_line(line))
        ParseLine(line.c_str(), error);
}

bool CRuleScan::Initialize(const char *ruleFile)
{
    f_read_text_file file(ruleFile ? ruleFile : "");
    if (!file.is_open()) {
        ovux_log->start() << "Initialize: cannot read " << (ruleFile ? ruleFile : "(null)")
                          << Orvane::endl;
        return false;
    }
    ParseRuleLines(file);
    LoadEnableTable(ruleFile);
    return true;
}

bool CRuleScan::LoadRuleFile(const char *ruleFile)
{
    f_read_text_file file(ruleFile ? ruleFile : "");
    if (!file.is_open()) {
        ovux_log->start() << "LoadRuleFile: cannot read " << (ruleFile ? ruleFile : "(null)")
                          << Orvane::endl;
        return false;
    }
    WriteLock hold(m_lock);
    DeleteAllExpressions();
    ParseRuleLines(file);
    LoadEnableTable(ruleFile);
    return true;
}

bool CRuleScan::LoadImportRuleFile(const char *path)
{
    WriteLock hold(m_lock);
    RuleFilePtr file = OpenRuleFile(path, "r");
    if (!file)
        return false;
    const char *action = vendor_action();
    char line[kImportLineSize];
    char error[RULE_ERROR_SIZE];
    while (std::fgets(line, sizeof line, file.get())) {
        if (ParseLine(line, error, true))
            tail->ParseAction(action, true);
    }
    return true;
}

bool CRuleScan::LoadEncrptFile(const char *sealedFile, const char *tempDir)
{
    char plain[OV_MAX_PATH] = "";
    if (GetTempFileName(tempDir ? tempDir : "./", "RF", 0, plain) == 0)
        return false;
    if (::DecrptFileWithCRC(sealedFile, plain) == -1) {
        DeleteFile(plain);
        return false;
    }
    bool loaded = LoadImportRuleFile(plain);
    DeleteFile(plain);
    return loaded;
}

bool CRuleScan::SaveRuleFile(const char *path)
{
    RuleFilePtr file = OpenRuleFile(path, "w");
    if (!file)
        return false;
    static const char kLetters[] = {'A', 'B', 'C'};
    for (const CExpression *rule = head; rule; rule = rule->GetNext()) {
        std::string name, sentence, action;
        rule->GetName(name);
        rule->GetRule(sentence);
        rule->GetAction(action);
        int type = rule->GetMailType();
        char letter = type >= 0 && type <= 2 ? kLetters[type] : 'C';
        std::fprintf(file.get(), "%s\\%c\\%s\\%s\n", name.c_str(), letter, sentence.c_str(),
                     action.c_str());
    }
    return true;
}

void CRuleScan::LoadEnableTable(const char *ruleFile)
{
    if (!ruleFile)
        return;
    const std::string tableName = EnableTableName(ruleFile);
    RuleFilePtr table = OpenRuleFile(tableName.c_str(), "r");
    for (CExpression *rule = head; rule; rule = rule->GetNext()) {
        int c = table ? std::fgetc(table.get()) : EOF;
        rule->SetEnabled(c != '0');
    }
}

void CRuleScan::LoadSFilterSetting(const char *sfRuleFile, const char *)
{
    WriteLock hold(m_lock);
    m_sfilter.LoadSFRule(sfRuleFile);
}

void CRuleScan::LoadProfile()
{
    MaxWriteLine = GetFilterProfileInt("Content Filter", "MaxWriteLine", 50);
    DecodeTnef = GetFilterProfileInt("Content Filter", "DECODETNEF", 1);
    EnableAttachScan = GetFilterProfileInt("Content Filter", "EnableAttachScan", 0) == 1;
}

MAIL_TYPE MailDirectionFromName(const char *afFile)
{
    if (!afFile)
        return MAIL_INBOUND;
    const char *slash = std::strrchr(afFile, '/');
    const char *base = slash ? slash + 1 : afFile;
    return std::strlen(base) > 3 && base[2] == 'O' ? MAIL_OUTBOUND : MAIL_INBOUND;
}

int CRuleScan::EncrptFileWithCRC(const char *plainPath, const char *sealedPath)
{
    return ::EncrptFileWithCRC(plainPath, sealedPath);
}

int CRuleScan::DecrptFileWithCRC(const char *sealedPath, const char *plainPath)
{
    return ::DecrptFileWithCRC(sealedPath, plainPath);
}
