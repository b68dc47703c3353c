// MailDirection: tells outbound mail from inbound for the spool names. A mail
// is outbound when its envelope sender's domain is one of the local domains
// (or a subdomain of one), or when the SMTP client's address lies in one of
// the local networks; all other mail is inbound.
//
//   MailDirection direction;
//   if (!direction.configure({"example.com"}, {"192.0.2.0/24", "::1"}, &error)) ...
//   bool outbound = direction.is_outbound("<alice@example.com>", "198.51.100.7");
#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <vector>

class MailDirection {
public:
    // Domains are compared case-insensitively; a network is ADDRESS/BITS or a
    // single address, IPv4 or IPv6. False with a reason for a bad network.
    bool configure(const std::vector<std::string> &domains, const std::vector<std::string> &networks,
                   std::string *error);

    // `sender` may carry angle brackets; `client` is the client's address as
    // text (empty when unknown).
    bool is_outbound(const std::string &sender, const std::string &client) const;

private:
    struct Network {
        int family = 0;                    // AF_INET or AF_INET6
        std::array<uint8_t, 16> address{};
        int bits = 0;
    };
    bool sender_is_local(const std::string &sender) const;
    bool client_is_local(const std::string &client) const;

    std::vector<std::string> m_domains;
    std::vector<Network> m_networks;
};
