// MilterConfig: the settings of ovmilter, read from section [milter] of a
// small INI file with the project's profile functions:
//
//   [milter]
//   Socket=inet:8895@127.0.0.1        (or unix:/run/ovmilter/ovmilter.sock)
//   SocketMode=0660                   (permissions of a unix socket)
//   Plugin=/usr/lib/ov/libov.so       (default: libov.so beside ovmilter)
//   Root=/opt/gateway                 (installation root, required)
//   Spool=/var/spool/ovmilter         (AF/DF pairs of the mails in flight)
//   LocalDomains=example.com,example.org
//   LocalNetworks=192.0.2.0/24        (clients that send outbound mail)
//   OnBlock=discard                   (or reject)
//   RejectText=Message refused by the content filter
//   Workers=4                         (threads that call the plug-in)
//   SendmailCommand=/usr/sbin/sendmail -oi
//   VerdictHeader=no                  (yes adds X-Content-Verdict:)
//   PidFile=                          (written when set)
//   User=ovmilter                     (started as root: the user it becomes)
//   Group=                            (default: the primary group of User)
//
//   MilterConfig config;
//   std::string error;
//   if (!load_milter_config("/etc/ovmilter.ini", &config, &error)) ...
#pragma once

#include <string>
#include <vector>

enum class BlockReply { Discard, Reject };

struct MilterConfig {
    std::string socket = "inet:8895@127.0.0.1";
    unsigned socketMode = 0660;
    std::string plugin;                 // empty: libov.so beside the binary
    std::string root;
    std::string spool = "/var/spool/ovmilter";
    std::vector<std::string> localDomains;
    std::vector<std::string> localNetworks;
    BlockReply onBlock = BlockReply::Discard;
    std::string rejectText = "Message refused by the content filter";
    int workers = 4;
    std::vector<std::string> sendmailCommand{"/usr/sbin/sendmail", "-oi"};
    bool verdictHeader = false;
    std::string pidFile;
    std::string user;                   // empty: keeps the user it was started as
    std::string group;
};

// Reads and checks the file; false with a reason naming the bad key.
bool load_milter_config(const std::string &path, MilterConfig *config, std::string *error);

// The file of a unix socket ("unix:PATH", "local:PATH"); empty for inet.
std::string unix_socket_path(const std::string &socket);

// "a, b,,c " -> {"a", "b", "c"}: the pieces of a comma list, trimmed.
std::vector<std::string> split_list(const std::string &text, char separator);
