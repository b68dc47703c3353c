// Realistic mails for the plug-in's end-to-end tests and its benchmark:
// plain, multipart with base64 attachments (and each part's byte range),
// Japanese, and a seeded mixed corpus. Header-only, for bench/ too.
#pragma once

#include <cstdint>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include "iconv_text.h"

struct PluginHeaders {
    std::string from = "alice@partner.example";
    std::string to = "bob@corp.example";
    std::string subject = "Quarterly figures";
};

struct PluginAttachment {
    std::string name, type, bytes;
};

struct PluginMessage {
    std::string text; // CR LF line ends
    // Each attachment part, from after its boundary line to the next one
    std::vector<std::pair<size_t, size_t>> attachmentRanges;
};

// UTF-8 text in another charset with glibc's iconv; empty on failure.
inline std::string PluginConvert(const std::string &utf8, const char *charset)
{
    std::string out;
    return IconvText(utf8, "UTF-8", charset, &out) ? out : "";
}

// Base64 in lines of 76 characters, each ended by CR LF.
inline std::string PluginBase64(const std::string &bytes)
{
    static const char alphabet[] =
        "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    std::string out;
    for (size_t i = 0; i < bytes.size(); i += 3) {
        uint32_t n = 0;
        for (size_t k = 0; k < 3; ++k)
            n = n << 8 | (i + k < bytes.size() ? static_cast<uint8_t>(bytes[i + k]) : 0);
        for (size_t k = 0; k < 4; ++k)
            out += k <= bytes.size() - i ? alphabet[(n >> (18 - 6 * k)) & 63] : '=';
        if (i % 57 == 54 || i + 3 >= bytes.size())
            out += "\r\n";
    }
    return out;
}

inline std::string PluginHeaderBlock(const PluginHeaders &headers)
{
    return "Return-Path: <" + headers.from + ">\r\n"
           "Received: from mx.partner.example (mx.partner.example [192.0.2.7])\r\n"
           "\tby gw.corp.example with ESMTP id 4F2A1C; Tue, 3 Jun 2003 09:12:44 +0900\r\n"
           "From: " + headers.from + "\r\n"
           "To: " + headers.to + "\r\n"
           "Subject: " + headers.subject + "\r\n"
           "Date: Tue, 3 Jun 2003 09:12:40 +0900\r\n"
           "Message-ID: <20030603091240.4F2A1C@partner.example>\r\n";
}

// A single-part text mail; `body` lines end with CR LF (added where missing).
inline std::string PluginPlainMail(const PluginHeaders &headers, const std::string &body,
                                   const std::string &charset = "us-ascii")
{
    std::string text = PluginHeaderBlock(headers) + "MIME-Version: 1.0\r\n"
                       "Content-Type: text/plain; charset=\"" + charset + "\"\r\n"
                       "Content-Transfer-Encoding: 7bit\r\n\r\n" + body;
    if (text.size() < 2 || text.compare(text.size() - 2, 2, "\r\n") != 0)
        text += "\r\n";
    return text;
}

// multipart/mixed: a text part, then each attachment in base64.
inline PluginMessage PluginMultipartMail(const PluginHeaders &headers, const std::string &body,
                                         const std::vector<PluginAttachment> &attachments)
{
    const std::string boundary = "----=_NextPart_000_0012_01C32978.5D1E4A60";
    PluginMessage mail;
    std::string &text = mail.text;
    text = PluginHeaderBlock(headers) + "MIME-Version: 1.0\r\n"
           "Content-Type: multipart/mixed;\r\n\tboundary=\"" + boundary + "\"\r\n\r\n"
           "This is a multi-part message in MIME format.\r\n\r\n"
           "--" + boundary + "\r\n"
           "Content-Type: text/plain; charset=\"us-ascii\"\r\n"
           "Content-Transfer-Encoding: 7bit\r\n\r\n" + body + "\r\n\r\n";
    for (const PluginAttachment &attachment : attachments) {
        text += "--" + boundary + "\r\n";
        const size_t start = text.size();
        text += "Content-Type: " + attachment.type + ";\r\n\tname=\"" + attachment.name + "\"\r\n"
                "Content-Transfer-Encoding: base64\r\n"
                "Content-Disposition: attachment;\r\n\tfilename=\"" + attachment.name + "\"\r\n\r\n" +
                PluginBase64(attachment.bytes) + "\r\n";
        mail.attachmentRanges.emplace_back(start, text.size());
    }
    text += "--" + boundary + "--\r\n";
    return mail;
}

// Pseudo-random bytes that look like a small program.
inline std::string PluginBinaryBytes(size_t size, uint32_t seed)
{
    std::mt19937 random(seed);
    std::string bytes = "MZ";
    while (bytes.size() < size)
        bytes += static_cast<char>(random() & 0xff);
    return bytes;
}

// A paragraph of business prose, about `lines` lines of 60-70 characters.
inline std::string PluginProse(std::mt19937 &random, int lines)
{
    static const char *const words[] = {
        "meeting", "schedule", "budget", "review", "please", "attached", "report", "customer",
        "delivery", "invoice", "project", "the", "a", "of", "and", "for", "next", "week",
        "update", "status", "team", "office", "regards", "thanks", "order", "shipment",
        "contract", "draft", "figures", "quarter", "sales", "support", "release", "plan"};
    const size_t count = sizeof words / sizeof words[0];
    std::string text;
    for (int l = 0; l < lines; ++l) {
        std::string line;
        while (line.size() < 60)
            line += std::string(line.empty() ? "" : " ") + words[random() % count];
        text += line + ".\r\n";
    }
    return text;
}

struct PluginCorpusMail {
    enum Kind { kPlain, kAttachment, kExecutable, kJapanese, kJunk, kConfidential };
    Kind kind;
    std::string text;
};

inline const char *PluginJunkSubject() { return "FREE OFFER just for you"; }
inline const char *PluginConfidentialWord() { return "project orion"; }
inline std::string PluginSecretBody() { return std::string("Numbers of ") + PluginConfidentialWord() + ".\r\n"; }
inline PluginHeaders PluginJunkHeaders()
{
    PluginHeaders headers;
    headers.subject = PluginJunkSubject();
    return headers;
}

// `count` mails of all kinds, the same for the same seed.
inline std::vector<PluginCorpusMail> PluginCorpus(size_t count, uint32_t seed)
{
    std::mt19937 random(seed);
    std::vector<PluginCorpusMail> corpus;
    static const PluginCorpusMail::Kind mix[] = {
        PluginCorpusMail::kPlain,      PluginCorpusMail::kAttachment, PluginCorpusMail::kPlain,
        PluginCorpusMail::kJapanese,   PluginCorpusMail::kExecutable, PluginCorpusMail::kPlain,
        PluginCorpusMail::kAttachment, PluginCorpusMail::kJunk,       PluginCorpusMail::kConfidential};
    for (size_t i = 0; i < count; ++i) {
        const PluginCorpusMail::Kind kind = mix[i % (sizeof mix / sizeof mix[0])];
        PluginHeaders headers;
        headers.from = "user" + std::to_string(i) + "@partner.example";
        headers.subject = kind == PluginCorpusMail::kJunk ? PluginJunkSubject()
                                                          : "Status report " + std::to_string(i);
        std::string body = PluginProse(random, 5 + static_cast<int>(random() % 40));
        if (kind == PluginCorpusMail::kConfidential)
            body += "The " + std::string(PluginConfidentialWord()) + " numbers are not public yet.\r\n";
        std::string text;
        if (kind == PluginCorpusMail::kAttachment || kind == PluginCorpusMail::kExecutable) {
            const bool exe = kind == PluginCorpusMail::kExecutable;
            const size_t size = exe ? 4000 + random() % 8000 : 2000 + random() % 30000;
            text = PluginMultipartMail(headers, body,
                                       {{exe ? "setup.exe" : "report-" + std::to_string(i) + ".pdf",
                                         exe ? "application/octet-stream" : "application/pdf",
                                         PluginBinaryBytes(size, seed + static_cast<uint32_t>(i))}})
                       .text;
        } else if (kind == PluginCorpusMail::kJapanese) {
            headers.subject = "=?ISO-2022-JP?B?GyRCMnE1RCROTT1EaiRLJEQkJCRGGyhC?="; // 会議の予定について
            text = PluginPlainMail(
                headers,
                PluginConvert(u8"お疲れ様です。\r\n来週の会議の資料を送ります。\r\nよろしくお願いします。\r\n",
                              "ISO-2022-JP"),
                "iso-2022-jp");
        } else {
            text = PluginPlainMail(headers, body);
        }
        corpus.push_back({kind, text});
    }
    return corpus;
}
