#include "tools/ovmilter/milter_config.h"

#include <sys/stat.h>

#include <cctype>
#include <cstdlib>
#include <cstring>

#include "base/ov_string.h"
#include "base/profile.h"

std::string unix_socket_path(const std::string &socket)
{
    for (const char *prefix : {"unix:", "local:"}) {
        size_t length = std::strlen(prefix);
        if (socket.compare(0, length, prefix) == 0)
            return socket.substr(length);
    }
    return "";
}

namespace {

const char kSection[] = "milter";
const size_t kMaxReplyText = 900;

std::string read_key(const std::string &path, const char *key, const std::string &fallback)
{
    char buffer[4096];
    GetPrivateProfileString(kSection, key, fallback.c_str(), buffer, sizeof buffer, path.c_str());
    return t_string(buffer).trim_left(" \t").trim_right(" \t");
}

bool socket_is_valid(const std::string &socket)
{
    std::string file = unix_socket_path(socket);
    if (!file.empty())
        return file[0] == '/';
    if (socket.compare(0, 5, "inet:") == 0 || socket.compare(0, 6, "inet6:") == 0) {
        std::string port = socket.substr(socket.find(':') + 1);
        port = port.substr(0, port.find('@'));
        if (port.empty() || port.size() > 5)
            return false;
        for (char c : port) {
            if (!std::isdigit(static_cast<unsigned char>(c)))
                return false;
        }
        long number = std::strtol(port.c_str(), nullptr, 10);
        return number > 0 && number < 65536;
    }
    return false;
}

} // namespace

std::vector<std::string> split_list(const std::string &text, char separator)
{
    std::vector<std::string> pieces;
    size_t start = 0;
    while (start <= text.size()) {
        size_t end = text.find(separator, start);
        if (end == std::string::npos)
            end = text.size();
        t_string piece = text.substr(start, end - start);
        piece.trim_left(" \t").trim_right(" \t");
        if (!piece.empty())
            pieces.push_back(piece);
        start = end + 1;
    }
    return pieces;
}

bool load_milter_config(const std::string &path, MilterConfig *config, std::string *error)
{
    struct stat info;
    if (stat(path.c_str(), &info) != 0 || !S_ISREG(info.st_mode)) {
        *error = "cannot read " + path;
        return false;
    }
    MilterConfig read;
    read.socket = read_key(path, "Socket", read.socket);
    read.plugin = read_key(path, "Plugin", "");
    read.root = read_key(path, "Root", "");
    read.spool = read_key(path, "Spool", read.spool);
    read.localDomains = split_list(t_string(read_key(path, "LocalDomains", "")).make_lower(), ',');
    read.localNetworks = split_list(read_key(path, "LocalNetworks", ""), ',');
    read.rejectText = read_key(path, "RejectText", read.rejectText);
    if (read.rejectText.size() > kMaxReplyText) {
        *error = path + ": RejectText is longer than " + std::to_string(kMaxReplyText) +
                 " characters, more than an SMTP reply line holds";
        return false;
    }
    read.pidFile = read_key(path, "PidFile", "");
    read.user = read_key(path, "User", "");
    read.group = read_key(path, "Group", "");
    if (read.user.empty() && !read.group.empty()) {
        *error = path + ": Group is set without User";
        return false;
    }
    read.verdictHeader = t_string(read_key(path, "VerdictHeader", "no")).make_lower() == "yes";

    std::string onBlock = t_string(read_key(path, "OnBlock", "discard")).make_lower();
    if (onBlock == "discard") {
        read.onBlock = BlockReply::Discard;
    } else if (onBlock == "reject") {
        read.onBlock = BlockReply::Reject;
    } else {
        *error = path + ": OnBlock must be discard or reject, not \"" + onBlock + "\"";
        return false;
    }
    std::string mode = read_key(path, "SocketMode", "0660");
    char *modeEnd = nullptr;
    unsigned long modeValue = std::strtoul(mode.c_str(), &modeEnd, 8);
    if (mode.empty() || *modeEnd != '\0' || modeValue > 0777) {
        *error = path + ": SocketMode must be octal permissions like 0660, not \"" + mode + "\"";
        return false;
    }
    read.socketMode = static_cast<unsigned>(modeValue);
    std::string workers = read_key(path, "Workers", "4");
    char *end = nullptr;
    long count = std::strtol(workers.c_str(), &end, 10);
    if (workers.empty() || *end != '\0' || count < 1 || count > 256) {
        *error = path + ": Workers must be a number from 1 to 256, not \"" + workers + "\"";
        return false;
    }
    read.workers = static_cast<int>(count);
    read.sendmailCommand = split_list(read_key(path, "SendmailCommand", "/usr/sbin/sendmail -oi"), ' ');
    if (read.sendmailCommand.empty()) {
        *error = path + ": SendmailCommand is empty";
        return false;
    }
    if (!socket_is_valid(read.socket)) {
        *error = path + ": Socket must be inet:PORT@HOST or unix:/PATH, not \"" + read.socket + "\"";
        return false;
    }
    if (read.root.empty()) {
        *error = path + ": Root (the installation root of the plug-in) is not set";
        return false;
    }
    if (read.spool.empty() || read.spool[0] != '/') {
        *error = path + ": Spool must be an absolute directory, not \"" + read.spool + "\"";
        return false;
    }
    *config = std::move(read);
    return true;
}
