// The scratch installation of the plug-in's end-to-end tests; see
// plugin_installation.h for the default settings it writes.
#include "support/plugin_installation.h"

#include <dirent.h>
#include <ftw.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <stdexcept>

#include "support/plugin_mail_corpus.h"

namespace {

int remove_entry(const char *path, const struct stat *, int, struct FTW *)
{
    std::remove(path);
    return 0;
}

void make_dir(const std::string &path)
{
    if (mkdir(path.c_str(), 0755) != 0 && access(path.c_str(), F_OK) != 0)
        throw std::runtime_error("cannot create " + path);
}

PluginIni default_ini()
{
    PluginIni ini;
    ini.Set("Content Filter", "HostLanguage", "C")
        .Set("Content Filter", "DebugLog", "no")
        .Set("Content Filter", "NotificationSender", "postmaster@corp.example")
        .Set("Content Filter", "UserSubject", "Mail blocked")
        .Set("Advanced Options", "QuarantineDirectory", "Quarantine")
        .Set("Advanced Options", "ArchiveDirectory", "Archive")
        .Set("Content Filter", "DeleteTempFile", "yes")
        .Set("Specialized Filtering", "RemoveAttachment", "yes")
        .Set("Specialized Filtering", "IOMail", "both")
        .Set("Specialized Filtering", "Quarantine", "no")
        .Set("Specialized Filtering", "ReplaceText", "The attachment was removed.")
        .Set("Anti-Spam", "WarningAdmin", "no")
        .Set("Confidential", "Action", "Quarantine")
        .Set("Japanese", "Action", "Archive");
    return ini;
}

void list_files(const std::string &base, const std::string &relative,
                std::vector<std::string> *files)
{
    DIR *dir = opendir((base + relative).c_str());
    if (!dir)
        return;
    while (dirent *entry = readdir(dir)) {
        std::string name = entry->d_name;
        if (name == "." || name == "..")
            continue;
        std::string path = relative + "/" + name;
        struct stat info;
        if (lstat((base + path).c_str(), &info) != 0)
            continue;
        if (S_ISDIR(info.st_mode))
            list_files(base, path, files);
        else
            files->push_back(path.substr(1));
    }
    closedir(dir);
}

// The value of the message's first Subject header line, as a gateway copies
// it into the envelope.
std::string subject_header(const std::string &message)
{
    size_t at = message.compare(0, 9, "Subject: ") == 0 ? 0 : message.find("\nSubject: ");
    if (at == std::string::npos)
        return "";
    at = message.find(' ', at) + 1;
    size_t end = message.find_first_of("\r\n", at);
    return message.substr(at, end == std::string::npos ? std::string::npos : end - at);
}

} // namespace

PluginIni &PluginIni::Set(const std::string &section, const std::string &key,
                          const std::string &value)
{
    auto found = std::find_if(m_sections.begin(), m_sections.end(),
                              [&](const auto &entry) { return entry.first == section; });
    if (found == m_sections.end()) {
        m_sections.emplace_back(section, Keys{});
        found = m_sections.end() - 1;
    }
    for (auto &entry : found->second) {
        if (entry.first == key) {
            entry.second = value;
            return *this;
        }
    }
    found->second.emplace_back(key, value);
    return *this;
}

PluginIni &PluginIni::Remove(const std::string &section, const std::string &key)
{
    for (auto &entry : m_sections) {
        if (entry.first != section)
            continue;
        entry.second.erase(std::remove_if(entry.second.begin(), entry.second.end(),
                                          [&](const auto &pair) { return pair.first == key; }),
                           entry.second.end());
    }
    return *this;
}

std::string PluginIni::Text() const
{
    std::string text;
    for (const auto &section : m_sections) {
        text += "[" + section.first + "]\n";
        for (const auto &key : section.second)
            text += key.first + "=" + key.second + "\n";
        text += "\n";
    }
    return text;
}

std::string PluginSFRuleLine(const std::string &name, char mailType, const std::string &patterns)
{
    auto item = [](const char *key, const std::string &value) {
        return std::string("<") + key + "><NAME>" + value + "</NAME><I></I><S></S></" + key + ">";
    };
    return "<ENABLE>yes</ENABLE><RULE NAME>" + name + "</RULE NAME><MAIL TYPE>" +
           std::string(1, mailType) + "</MAIL TYPE>" + item("FROM", "") + item("TO", "") +
           item("RTO", "") + item("CC", "") + item("MIME", "") + item("ATTACH", patterns) +
           item("ATTR", "INCLUDE") + "<IN NOTIFY></IN NOTIFY><OUT NOTIFY></OUT NOTIFY>";
}

PluginInstallation::PluginInstallation() : ini(default_ini())
{
    const char *tmp = std::getenv("TMPDIR");
    std::string pattern = std::string(tmp && *tmp ? tmp : "/tmp") + "/ov_plugin_XXXXXX";
    if (!mkdtemp(&pattern[0]))
        throw std::runtime_error("mkdtemp failed");
    m_root = pattern;
    make_dir(m_root + "/Plug-Ins");
    make_dir(ProgramDir());
    make_dir(Path("spamrule"));
    make_dir(SpoolDir());
    WriteIni();
    WritePolicies({"shConfidential", "pe=t", "se=f", "wh" + std::string(PluginConfidentialWord()),
                   "shJapanese", "pe=t", "wh" + PluginConvert(u8"会議", "EUC-JP")});
    WriteRules({"Free offers\\C\\SUBJ=IS\"*free offer*\"\\DEL", "Big mails\\C\\SIZE>3000000\\QUAR"});
    WriteSFRules({PluginSFRuleLine("Executables", 'C', "*.exe")});
}

PluginInstallation::~PluginInstallation()
{
    if (!m_root.empty())
        nftw(m_root.c_str(), remove_entry, 16, FTW_DEPTH | FTW_PHYS);
}

void PluginInstallation::WriteIni() const { PluginWriteFile(Path("contscan.ini"), ini.Text()); }

void PluginInstallation::WritePolicies(const std::vector<std::string> &tokens) const
{
    std::string text = "CsConfig.dat2\t";
    for (const std::string &token : tokens)
        text += token + "\t";
    PluginWriteFile(Path("CsConfig.dat"), text);
}

void PluginInstallation::WriteRules(const std::vector<std::string> &lines) const
{
    std::string text;
    for (const std::string &line : lines)
        text += line + "\n";
    PluginWriteFile(Path("spamrule/spamrule.txt"), text);
}

void PluginInstallation::WriteSFRules(const std::vector<std::string> &lines) const
{
    std::string text = "; Written by Orvane Unix Configuration Standard v3.8 2002 ZeltoWorks\r\n";
    for (const std::string &line : lines)
        text += line + "\r\n";
    PluginWriteFile(Path("spamrule/SFRule.txt"), text);
}

PluginSpoolMail PluginInstallation::AddMail(const std::string &message,
                                            const PluginEnvelope &envelope, bool outbound)
{
    const std::string id = std::string(outbound ? "O" : "I") + std::to_string(++m_mails);
    PluginSpoolMail mail{SpoolDir() + "/AF" + id, SpoolDir() + "/DF" + id};
    std::string af = "F<" + envelope.sender + ">\n";
    for (const std::string &recipient : envelope.recipients)
        af += "T<" + recipient + ">\n";
    af += "O" + envelope.sender + "\n";
    if (!envelope.recipients.empty())
        af += "D" + envelope.recipients.front() + "\n";
    std::string subject = envelope.subject.empty() ? subject_header(message) : envelope.subject;
    if (!subject.empty())
        af += "S" + subject + "\n";
    af += "R1054599164\n";
    PluginWriteFile(mail.af, af);
    PluginWriteFile(mail.df, message);
    return mail;
}

std::string PluginInstallation::EventLog() const
{
    std::vector<std::string> logs;
    DIR *dir = opendir(ProgramDir().c_str());
    if (dir) {
        while (dirent *entry = readdir(dir)) {
            if (std::string(entry->d_name).rfind("pwall.log.", 0) == 0)
                logs.push_back(ProgramDir() + entry->d_name);
        }
        closedir(dir);
    }
    std::sort(logs.begin(), logs.end());
    std::string text;
    for (const std::string &log : logs)
        text += PluginReadFile(log);
    return text;
}

std::string PluginInstallation::DebugLog() const
{
    return PluginReadFile(ProgramDir() + "Debug-" + std::to_string(getpid()) + ".log");
}

std::vector<std::string> PluginInstallation::Files(const std::string &relativeDir) const
{
    std::vector<std::string> files;
    std::string base = ProgramDir() + relativeDir;
    list_files(base, "", &files);
    std::sort(files.begin(), files.end());
    for (std::string &file : files)
        file = relativeDir + "/" + file;
    return files;
}

std::string PluginReadFile(const std::string &path)
{
    std::ifstream in(path, std::ios::binary);
    if (!in)
        return "<missing>";
    return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

void PluginWriteFile(const std::string &path, const std::string &bytes)
{
    std::ofstream out(path, std::ios::binary | std::ios::trunc);
    out.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
    if (!out)
        throw std::runtime_error("cannot write " + path);
}

bool PluginFileExists(const std::string &path) { return access(path.c_str(), F_OK) == 0; }

int PluginCount(const std::string &text, const std::string &needle)
{
    int count = 0;
    for (size_t at = text.find(needle); !needle.empty() && at != std::string::npos;
         at = text.find(needle, at + needle.size()))
        ++count;
    return count;
}

std::vector<PluginEvent> PluginEvents(const std::string &log)
{
    std::vector<PluginEvent> events;
    size_t start = 0;
    while (start < log.size()) {
        size_t end = log.find('\n', start);
        if (end == std::string::npos)
            end = log.size();
        const std::string line = log.substr(start, end - start);
        start = end + 1;
        const size_t mark = line.find("]: ");
        if (line.rfind("EMAIL\\", 0) == 0) {
            const size_t stamp = line.find('\\', 6);
            if (!events.empty() && stamp != std::string::npos)
                events.back().record = line.substr(stamp + 1);
        } else if (mark != std::string::npos && line.find("CONTENT_MANAGEMENT[") != std::string::npos &&
                   line.compare(mark + 3, 10, "Daily Log,") != 0) {
            events.push_back({line.substr(mark + 3), ""});
        }
    }
    return events;
}
