// The milter's TCP connections. libmilter opens its listening socket itself
// and does not hand it out, so after smfi_opensocket the socket is found
// among the process's descriptors: the TCP socket that listens on the
// configured port.
//
// TCP_NODELAY is set on it once: Linux gives every socket accepted from a
// listener the listener's TCP_NODELAY, so the milter's short replies leave
// at once instead of waiting for the MTA's delayed acknowledgement.
//
// The other direction needs more: the MTA writes a command's macros and the
// command itself as two short writes, and its Nagle algorithm holds the
// second until the first is acknowledged, which Linux delays for up to
// 40 ms. ovmilter therefore acknowledges at once (TCP_QUICKACK, which the
// kernel forgets after a while, so it is set again after every read) on the
// connections it accepted from the listener: MilterConnections remembers
// which descriptors those are, told by ovmilter's wrappers of accept, read
// and close (milter_socket_calls.cpp).
//
//   int port = inet_socket_port(config.socket);    // -1 for a unix socket
//   for (int fd : tcp_listeners(port))
//       if (set_tcp_nodelay(fd)) MilterConnections::listener(fd);
#pragma once

#include <string>
#include <vector>

// The port of an "inet:PORT@HOST" or "inet6:PORT@HOST" milter socket; -1
// for any other.
int inet_socket_port(const std::string &socket);

// The listening TCP sockets of this process bound to port.
std::vector<int> tcp_listeners(int port);

bool set_tcp_nodelay(int fd);
bool set_tcp_quickack(int fd);

// The descriptors of the milter's TCP listener and of the connections
// accepted from it; lock-free, for calls from any thread. Descriptors from
// 65536 on are not tracked.
namespace MilterConnections {
void listener(int fd);
void accepted(int listener, int fd);
void closed(int fd);
bool is_connection(int fd);
} // namespace MilterConnections
