// A complete plug-in installation in a scratch directory, for the plug-in's
// end-to-end tests: <root>/Plug-Ins/OV/ with contscan.ini, CsConfig.dat,
// spamrule/spamrule.txt and spamrule/SFRule.txt, and a spool directory
// <root>/spool for the mails' AF/DF pairs. Everything goes when the object
// goes.
//
//   PluginInstallation install;                 // the default settings below
//   install.ini.Set("Junk words", "Action", "Delete");
//   install.WriteIni();
//   PluginSpoolMail mail = install.AddMail(PluginPlainMail({}, "hello"));
//   ... ZWEmailPluginInitialize(install.root().c_str(), &info) ...
//   install.EventLog();                          // today's pwall.log text
//
// The default installation:
//   rule "Free offers"      SUBJ=IS"*free offer*"          -> DEL
//   rule "Big mails"        SIZE>3000000                   -> QUAR
//   policy "Confidential"   keyword "project orion"        -> Action=Quarantine
//   policy "Japanese"       keyword 会議 (EUC-JP)           -> Action=Archive
//   special filter "Executables" picks *.exe; RemoveAttachment=yes for both
//   directions with ReplaceText "The attachment was removed."
#pragma once

#include <string>
#include <utility>
#include <vector>

// An INI text kept in order of first mention; Set replaces a key's value.
class PluginIni {
public:
    PluginIni &Set(const std::string &section, const std::string &key, const std::string &value);
    PluginIni &Remove(const std::string &section, const std::string &key);
    std::string Text() const;

private:
    using Keys = std::vector<std::pair<std::string, std::string>>;
    std::vector<std::pair<std::string, Keys>> m_sections;
};

struct PluginSpoolMail {
    std::string af;
    std::string df;
};

// What the AF file says of a mail.
struct PluginEnvelope {
    std::string sender = "alice@partner.example";
    std::vector<std::string> recipients = {"bob@corp.example"};
    std::string subject;   // empty: the message's Subject header
};

// One special-filter rule line picking attachments by name patterns.
std::string PluginSFRuleLine(const std::string &name, char mailType, const std::string &patterns);

class PluginInstallation {
public:
    PluginInstallation();   // writes the default installation
    ~PluginInstallation();
    PluginInstallation(const PluginInstallation &) = delete;
    PluginInstallation &operator=(const PluginInstallation &) = delete;

    const std::string &root() const { return m_root; }
    std::string ProgramDir() const { return m_root + "/Plug-Ins/OV/"; }
    std::string Path(const std::string &relative) const { return ProgramDir() + relative; }
    std::string SpoolDir() const { return m_root + "/spool"; }

    PluginIni ini;   // contscan.ini as WriteIni writes it
    void WriteIni() const;
    // CsConfig.dat of "CsConfig.dat2" and the tokens, each ended by a tab.
    void WritePolicies(const std::vector<std::string> &tokens) const;
    void WriteRules(const std::vector<std::string> &lines) const;
    void WriteSFRules(const std::vector<std::string> &lines) const;

    // Writes AF<d><n> and DF<d><n> into the spool (<d>: I or O).
    PluginSpoolMail AddMail(const std::string &message, const PluginEnvelope &envelope = {},
                            bool outbound = false);

    // Every event-log file of the program directory, oldest first.
    std::string EventLog() const;
    // The debug log of this process (Debug-<pid>.log), or "<missing>".
    std::string DebugLog() const;
    // Regular files below a directory of the installation, as paths relative
    // to the program directory, sorted.
    std::vector<std::string> Files(const std::string &relativeDir) const;

private:
    std::string m_root;
    int m_mails = 0;
};

// One event of the event log: the text after "CONTENT_MANAGEMENT[<pid>]: "
// and, when an "EMAIL\<date> <time>\<record>" line follows, its record.
struct PluginEvent {
    std::string text;
    std::string record;
};
// The events of a log, without the "Daily Log" header lines.
std::vector<PluginEvent> PluginEvents(const std::string &log);

// Whole-file helpers; PluginReadFile gives "<missing>" for a file that
// cannot be opened.
std::string PluginReadFile(const std::string &path);
void PluginWriteFile(const std::string &path, const std::string &bytes);
bool PluginFileExists(const std::string &path);
// Number of non-overlapping occurrences of `needle` in `text`.
int PluginCount(const std::string &text, const std::string &needle);
