// Mails whose MIME parameters a careless reader takes differently from a mail
// client, each with the attachments a client sees and the ambiguity bits.
#pragma once

#include <string>
#include <utility>
#include <vector>

#include "mail/mime_walk.h"

struct MailClientShape {
    const char *label;
    std::string mail;
    std::vector<std::pair<std::string, std::string>> attachments; // name, type
    int ambiguity;                                                // MIME_AMBIGUOUS_... bits
};

inline std::string MailClientHead(const std::string &contentType)
{
    return "From: alice@partner.example\nTo: bob@corp.example\nSubject: shape\n"
           "MIME-Version: 1.0\n" +
           contentType;
}

// An executable part of the given header lines (each ended by "\n").
inline std::string MailClientExePart(const std::string &headers)
{
    return headers + "Content-Transfer-Encoding: base64\n\nTVqQAAMAAAAEAAAA\n";
}

// multipart/mixed with boundary "b" around executable parts of these headers.
inline std::string MailClientMixed(const std::vector<std::string> &partHeaders)
{
    std::string mail = MailClientHead("Content-Type: multipart/mixed; boundary=b\n\n");
    for (const std::string &headers : partHeaders)
        mail += "--b\n" + MailClientExePart(headers);
    return mail + "--b--\n";
}

inline std::vector<MailClientShape> MailClientShapes()
{
    const std::pair<std::string, std::string> evil = {"evil.exe", "application/octet-stream"};
    const std::string exe =
        MailClientExePart("Content-Type: application/octet-stream; name=\"evil.exe\"\n");
    const std::string longBoundary(80, 'L');
    const std::string longWord =
        "eHh4eHh4eHh4eHh4eHh4eHh4eHh4eHh4eHh4eHh4eHh4eHh4eHh4eHh4eHh4eHh4eHh4"
        "eHh4eHh4eHh4eHh4eHh4eHh4eHh4eHh4eHh4eHh4eHh4eHh4eHh4eHh4eHh4eHh4eHh4"
        "eHh4eHh4eHh4eHh4eHh4eHh4eHh4eHh4eHh4eHh4eHh4eHh4eHh4eHh4eHh4eHh4LmV4"
        "ZQ=="; // 150 times "x", then ".exe"
    return {
        {"delivery report with a boundary on its text part",
         MailClientHead(
             "Content-Type: multipart/report; report-type=delivery-status;\n"
             "\tboundary=\"outer\"\n\n"
             "--outer\nContent-Type: text/plain; charset=us-ascii; boundary=\"inner\"\n\n"
             "Delivery has failed to these recipients.\n--outer\n") +
             MailClientExePart("Content-Type: application/x-msdownload; name=\"evil.exe\"\n") +
             "--outer--\n",
         {{"evil.exe", "application/x-msdownload"}},
         0},
        {"second Content-Type header",
         MailClientHead(
             "Content-Type: multipart/mixed; boundary=\"real\"\n"
             "Content-Type: multipart/mixed; boundary=\"fake\"\n\n"
             "--real\nContent-Type: text/plain\n\nhello\n--fake\n\nfake part\n--real\n") +
             exe + "--real--\n",
         {evil},
         MIME_AMBIGUOUS_CONTENT_TYPES},
        {"second boundary on a folded line",
         MailClientHead("Content-Type: multipart/mixed; boundary=\"real\";\n\tboundary=\"fake\"\n\n"
                        "--real\n") +
             exe + "--real--\n",
         {evil},
         MIME_AMBIGUOUS_BOUNDARIES},
        {"RFC 2231 boundary",
         MailClientHead("Content-Type: multipart/mixed; boundary*=us-ascii'en'real\n\n--real\n") +
             exe + "--real--\n",
         {evil},
         MIME_AMBIGUOUS_ENCODED_BOUNDARY},
        {"boundary of 80 characters",
         MailClientHead("Content-Type: multipart/mixed; boundary=\"" + longBoundary + "\"\n\n--" +
                        longBoundary + "\n") +
             exe + "--" + longBoundary + "--\n",
         {evil},
         MIME_AMBIGUOUS_LONG_BOUNDARY},
        {"part with two Content-Type headers",
         MailClientMixed({"Content-Type: text/plain\n"
                          "Content-Type: application/x-msdownload; name=\"evil.exe\"\n"}),
         {},
         MIME_AMBIGUOUS_CONTENT_TYPES},
        {"RFC 2231 names",
         MailClientMixed(
             {"Content-Type: application/octet-stream\n"
              "Content-Disposition: attachment; filename*=utf-8''evil%2Eexe\n",
              "Content-Type: application/octet-stream\n"
              "Content-Disposition: attachment;\n filename*0*=utf-8''ev;\n filename*1=il1.exe\n",
              "Content-Type: application/octet-stream;\n"
              " name*=iso-2022-jp''%1B%24B%25F%259%25H%1B%28B.exe\n"}),
         {evil,
          {"evil1.exe", "application/octet-stream"},
          {"\xa5\xc6\xa5\xb9\xa5\xc8.exe", "application/octet-stream"}},
         0},
        {"quoted names",
         MailClientMixed({"Content-Type: application/octet-stream; name=\"ev\\\\il\\\"3.exe\"\n",
                          "Content-Type: application/octet-stream; x-name=\"a.txt\"; name=\"evil4.exe\"\n"}),
         {{"ev\\il\"3.exe", "application/octet-stream"}, {"evil4.exe", "application/octet-stream"}},
         0},
        {"filename of the first Content-Disposition wins",
         MailClientMixed({"Content-Type: application/octet-stream; name=\"c.txt\"\n"
                          "Content-Disposition: attachment; filename=\"evil.exe\"\n"
                          "Content-Disposition: attachment; filename=\"e.txt\"\n"}),
         {evil},
         0},
        {"Content-Disposition before Content-Type at the top",
         MailClientHead("Content-Disposition: attachment; filename=\"evil.exe\"\n"
                        "Content-Type: application/octet-stream\n"
                        "Content-Transfer-Encoding: base64\n\nTVqQAAMAAAAEAAAA\n"),
         {evil},
         0},
        {"encoded word longer than 151 characters",
         MailClientMixed({"Content-Type: application/octet-stream\n"
                          "Content-Disposition: attachment; filename=\"=?utf-8?B?" +
                          longWord + "?=\"\n"}),
         {{std::string(150, 'x') + ".exe", "application/octet-stream"}},
         0},
        {"Content-Type line longer than the walk's line buffer",
         MailClientHead("Content-Type: multipart/mixed; x-pad=\"" + std::string(9000, 'p') +
                        "\"; boundary=\"real\"\n\n--real\n") +
             exe + "--real--\n",
         {evil},
         0},
        {"type without a blank after the colon",
         MailClientHead("Content-Type:multipart/mixed;boundary=b\n\n--b\n") + exe + "--b--\n",
         {evil},
         0},
    };
}
