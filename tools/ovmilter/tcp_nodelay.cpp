// The milter's TCP listener and connections (see the header).
#include "tools/ovmilter/tcp_nodelay.h"

#include <arpa/inet.h>
#include <dirent.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>

#include <atomic>
#include <cstdint>
#include <cstdlib>

namespace {

int int_option(int fd, int level, int name)
{
    int value = 0;
    socklen_t length = sizeof value;
    if (getsockopt(fd, level, name, &value, &length) != 0)
        return -1;
    return value;
}

// The local port of a listening TCP socket, or -1 for any other descriptor.
int listening_tcp_port(int fd)
{
    if (int_option(fd, SOL_SOCKET, SO_ACCEPTCONN) != 1 ||
        int_option(fd, SOL_SOCKET, SO_PROTOCOL) != IPPROTO_TCP)
        return -1;
    sockaddr_storage address{};
    socklen_t length = sizeof address;
    if (getsockname(fd, reinterpret_cast<sockaddr *>(&address), &length) != 0)
        return -1;
    if (address.ss_family == AF_INET)
        return ntohs(reinterpret_cast<const sockaddr_in &>(address).sin_port);
    if (address.ss_family == AF_INET6)
        return ntohs(reinterpret_cast<const sockaddr_in6 &>(address).sin6_port);
    return -1;
}

bool set_on(int fd, int name)
{
    int on = 1;
    return setsockopt(fd, IPPROTO_TCP, name, &on, sizeof on) == 0;
}

constexpr int kTrackedDescriptors = 65536;
std::atomic<int> g_listener{-1};
std::atomic<uint64_t> g_connections[kTrackedDescriptors / 64];

bool tracked(int fd)
{
    return fd >= 0 && fd < kTrackedDescriptors;
}

} // namespace

int inet_socket_port(const std::string &socket)
{
    size_t colon = socket.find(':');
    if (colon == std::string::npos)
        return -1;
    std::string kind = socket.substr(0, colon);
    if (kind != "inet" && kind != "inet6")
        return -1;
    std::string port = socket.substr(colon + 1, socket.find('@') - colon - 1);
    char *end = nullptr;
    long number = std::strtol(port.c_str(), &end, 10);
    if (port.empty() || *end != '\0' || number < 0 || number > 65535)
        return -1;
    return static_cast<int>(number);
}

std::vector<int> tcp_listeners(int port)
{
    std::vector<int> found;
    DIR *fds = opendir("/proc/self/fd");
    if (!fds)
        return found;
    while (const dirent *entry = readdir(fds)) {
        char *end = nullptr;
        long fd = std::strtol(entry->d_name, &end, 10);
        if (*end != '\0' || end == entry->d_name || fd == dirfd(fds))
            continue;
        if (listening_tcp_port(static_cast<int>(fd)) == port)
            found.push_back(static_cast<int>(fd));
    }
    closedir(fds);
    return found;
}

bool set_tcp_nodelay(int fd)
{
    return set_on(fd, TCP_NODELAY);
}

bool set_tcp_quickack(int fd)
{
    return set_on(fd, TCP_QUICKACK);
}

namespace MilterConnections {

void listener(int fd)
{
    g_listener = fd;
}

void accepted(int listener, int fd)
{
    if (listener == g_listener.load(std::memory_order_relaxed) && listener >= 0 && tracked(fd))
        g_connections[fd / 64].fetch_or(uint64_t{1} << (fd % 64));
}

void closed(int fd)
{
    if (tracked(fd))
        g_connections[fd / 64].fetch_and(~(uint64_t{1} << (fd % 64)));
}

bool is_connection(int fd)
{
    return tracked(fd) &&
           (g_connections[fd / 64].load(std::memory_order_relaxed) >> (fd % 64) & 1) != 0;
}

} // namespace MilterConnections
