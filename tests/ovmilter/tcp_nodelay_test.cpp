// The milter's TCP connections: the listener found by its port, and
// TCP_NODELAY carried by a connection accepted from it afterwards.
#include "tools/ovmilter/tcp_nodelay.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>
#include <unistd.h>

#include <gtest/gtest.h>

namespace {

int nodelay(int fd)
{
    int value = -1;
    socklen_t length = sizeof value;
    return getsockopt(fd, IPPROTO_TCP, TCP_NODELAY, &value, &length) == 0 ? value != 0 : -1;
}

// A TCP socket on 127.0.0.1, listening on a port the kernel picks.
struct Listener {
    int fd = socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in address{};
    Listener()
    {
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        socklen_t length = sizeof address;
        EXPECT_EQ(bind(fd, reinterpret_cast<sockaddr *>(&address), sizeof address), 0);
        EXPECT_EQ(listen(fd, 4), 0);
        EXPECT_EQ(getsockname(fd, reinterpret_cast<sockaddr *>(&address), &length), 0);
    }
    ~Listener() { close(fd); }
    int port() const { return ntohs(address.sin_port); }
};

TEST(TcpNodelay, AcceptedConnectionsCarryIt)
{
    Listener listener;
    Listener other;   // a listener on another port stays as it was
    ASSERT_EQ(tcp_listeners(listener.port()), std::vector<int>{listener.fd});
    EXPECT_TRUE(tcp_listeners(1).empty());
    ASSERT_EQ(nodelay(listener.fd), 0);
    ASSERT_TRUE(set_tcp_nodelay(listener.fd));
    EXPECT_EQ(nodelay(listener.fd), 1);
    EXPECT_EQ(nodelay(other.fd), 0);

    int client = socket(AF_INET, SOCK_STREAM, 0);
    ASSERT_EQ(connect(client, reinterpret_cast<sockaddr *>(&listener.address), sizeof listener.address), 0);
    int accepted = accept(listener.fd, nullptr, nullptr);
    ASSERT_GE(accepted, 0);
    EXPECT_EQ(nodelay(accepted), 1);
    EXPECT_TRUE(set_tcp_quickack(accepted));
    EXPECT_FALSE(set_tcp_quickack(-1));
    close(accepted);
    close(client);
}

} // namespace
