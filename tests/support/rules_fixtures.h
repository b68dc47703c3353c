// Test fixtures of the rule-filter and specialized-filter tests: a private
// temporary directory removed with its contents, and whole-file helpers.
#pragma once

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

class RulesTempDir {
public:
    RulesTempDir()
    {
        std::string pattern = (std::filesystem::temp_directory_path() / "ovrulesXXXXXX").string();
        if (::mkdtemp(pattern.data()))
            m_path = pattern;
    }
    ~RulesTempDir()
    {
        std::error_code ignored;
        if (!m_path.empty())
            std::filesystem::remove_all(m_path, ignored);
    }
    RulesTempDir(const RulesTempDir &) = delete;
    RulesTempDir &operator=(const RulesTempDir &) = delete;

    const std::string &path() const { return m_path; }
    std::string file(const std::string &name) const { return m_path + "/" + name; }

private:
    std::string m_path;
};

inline void rules_write_file(const std::string &path, const std::string &bytes)
{
    std::ofstream out(path, std::ios::binary | std::ios::trunc);
    out.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
}

inline std::string rules_read_file(const std::string &path)
{
    std::ifstream in(path, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

inline bool rules_file_exists(const std::string &path)
{
    return std::filesystem::exists(path);
}

// Mail records for filter tests (CMailInfo and Attach_Stru come from mail/).
#include <initializer_list>
#include <vector>

#include "mail/mail_info.h"

// Adds an attachment with the given contained (TNEF) names; returns its index.
inline int rules_add_attach(CMailInfo &info, const std::string &name, const std::string &type,
                            std::initializer_list<const char *> members = {})
{
    std::vector<char> nameBuffer(name.begin(), name.end());
    nameBuffer.push_back('\0');
    std::vector<char> typeBuffer(type.begin(), type.end());
    typeBuffer.push_back('\0');
    info.AddAttach(nameBuffer.data(), typeBuffer.data());
    Attach_Stru *attach = info.m_pAttach[info.m_nAttachCount - 1];
    for (const char *member : members)
        attach->AddFileName(member, false);
    return info.m_nAttachCount - 1;
}

// Sets the header fields the specialized filter compares (null leaves one unset).
inline void rules_set_users(CMailInfo &info, const char *from, const char *to,
                            const char *replyTo = nullptr, const char *cc = nullptr)
{
    struct Field {
        const char *value;
        std::string *text;
        const char **view;
    } fields[] = {{from, &info.m_strFrom, &info.m_pszFrom},
                  {to, &info.m_strTo, &info.m_pszTo},
                  {replyTo, &info.m_strReplyTo, &info.m_pszReplyTo},
                  {cc, &info.m_strCc, &info.m_pszCc}};
    for (Field &field : fields) {
        if (!field.value)
            continue;
        *field.text = field.value;
        *field.view = field.text->c_str();
    }
}

// A mail relayed by mx.example.net, subject "figures", with a text part and
// the attachment tool.exe (base64).
inline const char kRulesExeMail[] =
    "Received: from relay.example.org\r\n\tby mx.example.net\r\n"
    "Subject: figures\r\n"
    "Content-Type: multipart/mixed; boundary=\"B\"\r\n"
    "\r\n"
    "--B\r\n"
    "Content-Type: text/plain\r\n"
    "\r\n"
    "text\r\n"
    "--B\r\n"
    "Content-Type: application/octet-stream; name=\"tool.exe\"\r\n"
    "Content-Transfer-Encoding: base64\r\n"
    "\r\n"
    "TVqQAAMAAAAEAAAA\r\n"
    "--B--\r\n";
