// Telling outbound mail from inbound: the sender's domain against the local
// domains, the client's address against the local networks.
#include "tools/ovmilter/direction.h"

#include <gtest/gtest.h>

namespace {

TEST(MailDirection, SenderDomainsAndClientNetworksAndBadNetworksRefused)
{
    MailDirection direction;
    std::string error;
    ASSERT_TRUE(direction.configure({"Example.COM", "@corp.example"},
                                    {"192.0.2.0/24", "198.51.100.128/25", "203.0.113.7/32",
                                     "203.0.113.9", "2001:db8::/32", "::1"},
                                    &error))
        << error;
    const struct {
        const char *sender, *client;
        bool outbound;
    } rows[] = {
        {"alice@example.com", "", true}, {"<Alice@EXAMPLE.com>", "", true},
        {"bob@mail.Example.com", "", true}, {"carol@corp.example", "", true},
        {"a@example.com.evil.test", "", false}, {"a@xexample.com", "", false},
        {"<>", "", false}, {"\"a@example.com\"@other.test", "", false},
        {"<x@other.test>", "192.0.2.255", true}, {"<x@other.test>", "192.0.3.1", false},
        {"<x@other.test>", "198.51.100.200", true}, {"<x@other.test>", "198.51.100.127", false},
        {"<x@other.test>", "203.0.113.7", true}, {"<x@other.test>", "203.0.113.8", false},
        {"<x@other.test>", "203.0.113.9", true}, {"<x@other.test>", "2001:db8:1::5", true},
        {"<x@other.test>", "2001:db9::1", false}, {"<x@other.test>", "::2", false},
        {"<x@other.test>", "unknown", false}, {"<x@other.test>", "192.0.2", false},
        {"<x@example.com>", "198.18.0.1", true}, // either test makes the mail outbound
    };
    for (const auto &row : rows)
        EXPECT_EQ(direction.is_outbound(row.sender, row.client), row.outbound)
            << row.sender << " " << row.client;

    ASSERT_TRUE(direction.configure({}, {"0.0.0.0/0"}, &error)) << error;
    EXPECT_TRUE(direction.is_outbound("<x@other.test>", "198.18.0.1"));
    EXPECT_FALSE(direction.is_outbound("<x@other.test>", "2001:db8::1"));
    EXPECT_FALSE(direction.is_outbound("<x@example.com>", "")); // the old domains are gone

    for (const char *network : {"10.0.0.0/33", "host.example", "1.2.3.4/", "1.2.3.4/-1",
                                "1.2.3.4/24x", "::1/129", "/24", "10.0.0/8", ""}) {
        EXPECT_FALSE(direction.configure({}, {"192.0.2.0/24", network}, &error)) << network;
        EXPECT_NE(error.find(std::string("\"") + network + "\""), std::string::npos) << error;
    }
}

} // namespace
