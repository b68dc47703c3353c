// CRuleScan: the rule filter's rule set and its per-mail scan.
//
// The rules come from the administrator's rule file "spamrule.txt" (one
// rule a line, see rule_line.h) and from the vendor's rule files, plain or
// sealed (sealed_file.h), whose rules are marked as vendor rules and always
// follow the administrator's. Beside the rule file lies its enable table
// ("spamrule.txt" -> "spamruleEnable.txt"): byte k "0" disables rule k for
// the editor; scans try disabled rules all the same, only a rule's
// suspended word keeps it out.
//
//   CRuleScan scan;
//   scan.Initialize("/opt/gw/Plug-Ins/OV/spamrule/spamrule.txt");
//   scan.LoadEncrptFile(".../Zelto$RF.1", "/tmp/");        // vendor rules
//   scan.LoadSFilterSetting(".../SFRule.txt", mimeTypes);   // specialized filter
//   scan.LoadProfile();
//   ...per mail, from any number of threads:
//   scan.Scan(af, df, ruleName, ruleText, action, trigger, info, &membuf, tempName, &replace);
//
// Scan collects the relay hosts of the "Received:" headers, walks the
// message's MIME structure (attachments, searchable text), lets the
// specialized filter pick attachments for replacement (when a Replace_Stru
// is given; picked attachments are marked so that rule terms no longer see
// them) and returns the first rule, in list order, that matches.
//
// Locking: Scan runs under the read side of the scanner's lock; LoadRuleFile,
// LoadImportRuleFile (and so LoadEncrptFile) and LoadSFilterSetting take the
// write side. Initialize, LoadProfile, ParseLine, CheckSyntax, SaveRuleFile
// and the list editing functions take no lock: call them only while no scan
// runs. Envelope reading (GetAFInfo) lives in rule_scan_envelope.cpp.
#pragma once

#include <cstdio>
#include <string>

#include "base/sync.h"
#include "ov/contscan.h"
#include "rules/expression.h"
#include "rules/replace_stru.h"
#include "rules/rule_types.h"
#include "sfilter/sfilter.h"

class CMailInfo;
class f_read_text_file;

// The files of one mail as its caller holds them open, so that a scan opens
// neither again: the message at its start with its size, and the text file
// (null when there is none) open for writing, with its name for the readers
// that append to it.
struct ScanFiles {
    const char *af = nullptr;
    const char *df = nullptr;
    FILE *message = nullptr;
    long messageSize = 0;
    FILE *text = nullptr;
    const char *textPath = nullptr;
};

// Size an error buffer of ParseLine must have at least.
constexpr int RULE_ERROR_SIZE = 64;

// The enable table beside a rule file: "dir/spamrule.txt" gives
// "dir/spamruleEnable.txt".
std::string EnableTableName(const char *ruleFile);

class CRuleScan {
public:
    CRuleScan();
    ~CRuleScan();
    CRuleScan(const CRuleScan &) = delete;
    CRuleScan &operator=(const CRuleScan &) = delete;

    // First load, before any mail thread runs: every line of the rule file
    // (bad lines skipped), then the enable table. False when the file
    // cannot be read.
    bool Initialize(const char *ruleFile);
    // Reload: replaces the whole list (vendor rules too) under the write
    // lock. A file that cannot be read changes nothing and gives false.
    bool LoadRuleFile(const char *ruleFile);
    // Appends the rules of a vendor rule file (lines of at most 511
    // characters) as vendor rules, each with the action configured in
    // "Anti-Spam(Vendor)" / "Action". False when it cannot be read.
    bool LoadImportRuleFile(const char *path);
    // Unseals the file into a temporary "RF" file in tempDir ("./" when
    // null), loads it with LoadImportRuleFile and deletes it.
    bool LoadEncrptFile(const char *sealedFile, const char *tempDir);

    // Parses one rule line and appends the rule. On failure nothing is
    // appended and error (RULE_ERROR_SIZE bytes) receives the message, or
    // "" for an empty line.
    bool ParseLine(const char *line, char *error);
    bool ParseLine(const char *line, char *error, bool vendor);
    // The editor's check; the end positions of name, mail type and sentence
    // from the line start. Changes nothing.
    bool CheckSyntax(const char *line, int &nameEnd, int &typeEnd, int &sentenceEnd,
                     bool checkAction);
    // "%s\\%s\\%s\\%s\n" per rule (name, mail-type letter, sentence, action
    // text), vendor rules included. False when the file cannot be created.
    bool SaveRuleFile(const char *path);

    CExpression *GetExpression(int index);
    CExpression *AddExpression();
    // Appends rule (the list takes it); null is ignored and returned.
    CExpression *AddExpression(CExpression *rule);
    bool DeleteExpression(int index);
    int GetCount() const { return count; }

    // Loads the specialized filter's rules under the write lock; the second
    // argument is not used.
    void LoadSFilterSetting(const char *sfRuleFile, const char *ignored);
    void LoadEnableTable(const char *ruleFile);
    // "MaxWriteLine", "DECODETNEF" and "EnableAttachScan" of "Content Filter".
    void LoadProfile();
    int GetMaxWriteLine() const { return MaxWriteLine; }
    int GetDecodeTnef() const { return DecodeTnef; }
    bool GetEnableAttachScan() const { return EnableAttachScan; }
    CSFilter &GetSFilter() { return m_sfilter; }

    // Judges one mail. True when a rule matched: ruleName, ruleText and
    // actionText then hold its name, sentence and action text, and trigger
    // says where it came from. trigger is set to TRIGGER_ADMIN once the
    // message file could be opened; the other outputs are left alone when
    // nothing matched. buffer and workDir go to the MIME walk unchanged.
    bool Scan(const char *afFile, const char *dfFile, std::string &ruleName,
              std::string &ruleText, std::string &actionText, TriggerType &trigger,
              CMailInfo &info, MEMBUF *buffer, const char *workDir, Replace_Stru *replace);
    // As above, with the action instead of its text: "DEL", "QUAR" and
    // "ARCH" (exactly) set action; any other text leaves it as it was.
    bool Scan(const char *afFile, const char *dfFile, std::string &ruleName,
              std::string &ruleText, ACT_TYPE &action, TriggerType &trigger, CMailInfo &info,
              MEMBUF *buffer, const char *workDir, Replace_Stru *replace);
    // As above over files the caller opened; the text file is flushed when
    // Scan returns.
    bool Scan(const ScanFiles &files, std::string &ruleName, std::string &ruleText,
              ACT_TYPE &action, TriggerType &trigger, CMailInfo &info, MEMBUF *buffer,
              Replace_Stru *replace);

    // Seal and unseal vendor rule files (sealed_file.h).
    static int EncrptFileWithCRC(const char *plainPath, const char *sealedPath);
    static int DecrptFileWithCRC(const char *sealedPath, const char *plainPath);

    // Reads the first envelope line of `letter` ("FTODCPSAR"). With raw the
    // value is the line after the letter; without, its enclosing "<" ">" are
    // stripped. The value is decoded to the host code. False for another
    // letter, an unreadable file or no such line; true with an empty value
    // for a line that carries none.
    bool GetAFInfo(char letter, const char *afPath, std::string &value, bool raw);

private:
    // Deletes every rule; count becomes 0.
    void DeleteAllExpressions();
    // ParseLine for every line of an open rule file.
    void ParseRuleLines(f_read_text_file &file);
    // MIME walk and TNEF names of the message into info.
    void CollectAttachments(const ScanFiles &files, MEMBUF *buffer, CMailInfo &info);
    // Scan over open files, with the action as text.
    bool ScanOpenFiles(const ScanFiles &files, std::string &ruleName, std::string &ruleText,
                       std::string &actionText, TriggerType &trigger, CMailInfo &info,
                       MEMBUF *buffer, Replace_Stru *replace);
    // Lets the specialized filter pick attachments into replace.
    void PickAttachments(CMailInfo &info, Replace_Stru &replace);
    // The first rule for this direction that matches, or null.
    const CExpression *FirstMatch(const CMailInfo &info, MAIL_TYPE direction) const;

    int count;
    CSFilter m_sfilter;
    CExpression *head;
    CExpression *tail;
    ReadersWriters m_lock;
    int MaxWriteLine;
    int DecodeTnef;
    bool EnableAttachScan;
};

// The direction of a mail from its envelope file's name: outbound when the
// base name is longer than 3 characters and its third is "O".
MAIL_TYPE MailDirectionFromName(const char *afFile);
