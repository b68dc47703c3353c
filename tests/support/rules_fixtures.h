// Fixtures of the rule-filter and specialized-filter tests: the mail records
// the filters read.
#pragma once

#include <initializer_list>
#include <string>

#include "mail/mail_info.h"
#include "support/base_temp_dir.h"

// Adds an attachment with the given contained (TNEF) names; returns its index.
inline int rules_add_attach(CMailInfo &info, std::string name, std::string type,
                            std::initializer_list<const char *> members = {})
{
    info.AddAttach(&name[0], &type[0]);
    for (const char *member : members)
        info.m_pAttach[info.m_nAttachCount - 1]->AddFileName(member, false);
    return info.m_nAttachCount - 1;
}

// Sets the header fields the specialized filter compares (null leaves one unset).
inline void rules_set_users(CMailInfo &info, const char *from, const char *to,
                            const char *replyTo = nullptr, const char *cc = nullptr)
{
    auto set = [](const char *value, std::string &text, const char *&view) {
        if (value)
            text = value, view = text.c_str();
    };
    set(from, info.m_strFrom, info.m_pszFrom), set(to, info.m_strTo, info.m_pszTo);
    set(replyTo, info.m_strReplyTo, info.m_pszReplyTo), set(cc, info.m_strCc, info.m_pszCc);
}

// A mail relayed by mx.example.net, subject "figures", with a text part and
// the attachment tool.exe (base64).
inline const char kRulesExeMail[] =
    "Received: from relay.example.org\r\n\tby mx.example.net\r\nSubject: figures\r\n"
    "Content-Type: multipart/mixed; boundary=\"B\"\r\n\r\n--B\r\nContent-Type: text/plain\r\n\r\n"
    "text\r\n--B\r\nContent-Type: application/octet-stream; name=\"tool.exe\"\r\n"
    "Content-Transfer-Encoding: base64\r\n\r\nTVqQAAMAAAAEAAAA\r\n--B--\r\n";
