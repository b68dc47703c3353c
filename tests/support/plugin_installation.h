// A plug-in installation in a scratch directory for the end-to-end tests:
// <root>/Plug-Ins/OV/ with contscan.ini (the keys of `ini`; defaults where
// not given), CsConfig.dat, the rule files, and <root>/spool for AF/DF pairs.
// Rules: "Free offers" deletes junk subjects, "Big mails" quarantines; the
// policies "Confidential" (quarantine) and "Japanese" (archive); *.exe
// attachments are replaced in both directions.
#pragma once

#include <unistd.h>

#include <filesystem>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "support/base_temp_dir.h"
#include "support/plugin_mail_corpus.h"

// An INI text, sections and keys in name order.
struct PluginIni {
    std::map<std::string, std::map<std::string, std::string>> sections;
    PluginIni &Set(const std::string &section, const std::string &key, const std::string &value)
    {
        sections[section][key] = value;
        return *this;
    }
    std::string Text() const
    {
        std::string text;
        for (const auto &section : sections) {
            text += "[" + section.first + "]\n";
            for (const auto &key : section.second)
                text += key.first + "=" + key.second + "\n";
        }
        return text;
    }
};

struct PluginSpoolMail {
    std::string af;
    std::string df;
};

struct PluginEnvelope {
    std::string sender = "alice@partner.example";
    std::vector<std::string> recipients = {"bob@corp.example"};
};

class PluginInstallation {
public:
    PluginInstallation()
    {
        const char *defaults[][3] = {
            {"Content Filter", "NotificationSender", "postmaster@corp.example"},
            {"Content Filter", "UserSubject", "Mail blocked"},
            {"Specialized Filtering", "RemoveAttachment", "yes"},
            {"Specialized Filtering", "ReplaceText", "The attachment was removed."},
            {"Confidential", "Action", "Quarantine"},
            {"Japanese", "Action", "Archive"}};
        for (const auto &key : defaults)
            ini.Set(key[0], key[1], key[2]);
        std::filesystem::create_directories(Path("spamrule"));
        std::filesystem::create_directories(SpoolDir());
        WriteIni();
        WritePolicies({"shConfidential", "pe=t", "se=f",
                       "wh" + std::string(PluginConfidentialWord()), "shJapanese", "pe=t",
                       "wh" + PluginConvert(u8"会議", "EUC-JP")});
        WriteRules(
            {"Free offers\\C\\SUBJ=IS\"*free offer*\"\\DEL", "Big mails\\C\\SIZE>3000000\\QUAR"});
        std::string rule =
            "<ENABLE>yes</ENABLE><RULE NAME>Executables</RULE NAME><MAIL TYPE>C</MAIL TYPE>";
        for (std::string item : {"FROM", "TO", "RTO", "CC", "MIME", "ATTACH", "ATTR"})
            rule += "<" + item + "><NAME>" +
                    (item == "ATTACH" ? "*.exe" : item == "ATTR" ? "INCLUDE" : "") +
                    "</NAME><I></I><S></S></" + item + ">";
        WriteFile(Path("spamrule/SFRule.txt"),
                  "; Written by Orvane Unix Configuration Standard v3.8 2002 ZeltoWorks\r\n" +
                      rule + "<IN NOTIFY></IN NOTIFY><OUT NOTIFY></OUT NOTIFY>\r\n");
    }

    const std::string &root() const { return m_root.dir(); }
    std::string ProgramDir() const { return root() + "/Plug-Ins/OV/"; }
    std::string Path(const std::string &relative) const { return ProgramDir() + relative; }
    std::string SpoolDir() const { return root() + "/spool"; }

    PluginIni ini;
    void WriteIni() const { WriteFile(Path("contscan.ini"), ini.Text()); }
    PluginInstallation &Set(const std::string &section, const std::string &key,
                            const std::string &value)
    {
        return Set(section, {{key, value}});
    }
    PluginInstallation &Set(const std::string &section,
                            const std::vector<std::pair<std::string, std::string>> &keys)
    {
        for (const auto &key : keys)
            ini.Set(section, key.first, key.second);
        WriteIni();
        return *this;
    }
    void WritePolicies(const std::vector<std::string> &tokens) const
    {
        std::string text = "CsConfig.dat2\t";
        for (const std::string &token : tokens)
            text += token + "\t";
        WriteFile(Path("CsConfig.dat"), text);
    }
    void WriteRules(const std::vector<std::string> &lines) const
    {
        std::string text;
        for (const std::string &line : lines)
            text += line + "\n";
        WriteFile(Path("spamrule/spamrule.txt"), text);
    }

    // AF<d><n> and DF<d><n> (<d>: I or O), the subject from the message.
    PluginSpoolMail AddMail(const std::string &message, const PluginEnvelope &envelope = {},
                            bool outbound = false)
    {
        const std::string id = std::string(outbound ? "O" : "I") + std::to_string(++m_mails);
        PluginSpoolMail mail{SpoolDir() + "/AF" + id, SpoolDir() + "/DF" + id};
        std::string af = "F<" + envelope.sender + ">\n";
        for (const std::string &recipient : envelope.recipients)
            af += "T<" + recipient + ">\n";
        af += "O" + envelope.sender + "\n";
        if (!envelope.recipients.empty())
            af += "D" + envelope.recipients.front() + "\n";
        const size_t header =
            message.compare(0, 9, "Subject: ") == 0 ? 0 : message.find("\nSubject: ");
        if (header != std::string::npos) {
            const size_t at = message.find(' ', header) + 1;
            af += "S" + message.substr(at, message.find_first_of("\r\n", at) - at) + "\n";
        }
        WriteFile(mail.af, af + "R1054599164\n");
        WriteFile(mail.df, message);
        return mail;
    }

    std::string EventLog() const
    {
        std::string text;
        for (const std::string &file : m_root.files("Plug-Ins/OV"))
            if (file.rfind("Plug-Ins/OV/pwall.log.", 0) == 0)
                text += ReadFile(root() + "/" + file);
        return text;
    }
    // Files below a directory, relative to the program directory, sorted.
    std::vector<std::string> Files(const std::string &relativeDir) const
    {
        std::vector<std::string> files = m_root.files("Plug-Ins/OV/" + relativeDir);
        for (std::string &file : files)
            if (file.rfind("Plug-Ins/OV/", 0) == 0)
                file.erase(0, 12);
        return files;
    }

    // The files of the temporary directory but the empty text files kept
    // open for the next mail.
    std::vector<std::string> LeftInTempdir() const
    {
        std::vector<std::string> left;
        for (const std::string &file : Files("tempdir")) {
            const bool text = file.rfind("tempdir/DFI", 0) == 0 || file.rfind("tempdir/DFO", 0) == 0;
            if (!text || !ReadFile(root() + "/Plug-Ins/OV/" + file).empty())
                left.push_back(file);
        }
        return left;
    }

private:
    BaseTempDir m_root;
    int m_mails = 0;
};

// An event of the log (the text after "CONTENT_MANAGEMENT[<pid>]: ") and
// the record of the "EMAIL\<date> <time>\<record>" line after it.
struct PluginEvent {
    std::string text;
    std::string record;
};

// The events of a log, the "Daily Log" headers left out.
inline std::vector<PluginEvent> PluginEvents(const std::string &log)
{
    std::vector<PluginEvent> events;
    for (const std::string &line : SplitLines(log)) {
        const size_t mark = line.find("]: ");
        if (line.rfind("EMAIL\\", 0) == 0 && !events.empty())
            events.back().record = line.substr(line.find('\\', 6) + 1); // after the stamp
        else if (mark != std::string::npos && line.find("CONTENT_MANAGEMENT[") != std::string::npos &&
                 line.compare(mark + 3, 10, "Daily Log,") != 0)
            events.push_back({line.substr(mark + 3), ""});
    }
    return events;
}

// Number of non-overlapping occurrences of `needle` in `text`.
inline int PluginCount(const std::string &text, const std::string &needle)
{
    int count = 0;
    for (size_t at = text.find(needle); !needle.empty() && at != std::string::npos;
         at = text.find(needle, at + needle.size()))
        ++count;
    return count;
}
