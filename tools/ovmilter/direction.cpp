#include "tools/ovmilter/direction.h"

#include <arpa/inet.h>

#include <cctype>
#include <cstdlib>
#include <cstring>

#include "base/ov_string.h"

namespace {

// Parses an address into 16 bytes; the family, or 0 when it is no address.
int parse_address(const std::string &text, std::array<uint8_t, 16> *bytes)
{
    bytes->fill(0);
    if (inet_pton(AF_INET, text.c_str(), bytes->data()) == 1)
        return AF_INET;
    if (inet_pton(AF_INET6, text.c_str(), bytes->data()) == 1)
        return AF_INET6;
    return 0;
}

bool prefix_matches(const std::array<uint8_t, 16> &a, const std::array<uint8_t, 16> &b, int bits)
{
    int whole = bits / 8;
    if (std::memcmp(a.data(), b.data(), static_cast<size_t>(whole)) != 0)
        return false;
    int rest = bits % 8;
    if (rest == 0)
        return true;
    uint8_t mask = static_cast<uint8_t>(0xFF << (8 - rest));
    return (a[whole] & mask) == (b[whole] & mask);
}

} // namespace

bool MailDirection::configure(const std::vector<std::string> &domains,
                              const std::vector<std::string> &networks, std::string *error)
{
    m_domains.clear();
    for (const std::string &domain : domains) {
        std::string name = t_string(domain).make_lower();
        while (!name.empty() && (name[0] == '@' || name[0] == '.'))
            name.erase(0, 1);
        if (!name.empty())
            m_domains.push_back(name);
    }
    m_networks.clear();
    for (const std::string &text : networks) {
        Network network;
        size_t slash = text.find('/');
        network.family = parse_address(text.substr(0, slash), &network.address);
        int maximum = network.family == AF_INET ? 32 : 128;
        network.bits = maximum;
        if (network.family != 0 && slash != std::string::npos) {
            std::string bits = text.substr(slash + 1);
            char *end = nullptr;
            long value = std::strtol(bits.c_str(), &end, 10);
            network.bits = bits.empty() || *end != '\0' || value < 0 || value > maximum
                               ? -1
                               : static_cast<int>(value);
        }
        if (network.family == 0 || network.bits < 0) {
            *error = "not a network: \"" + text + "\" (write ADDRESS/BITS)";
            return false;
        }
        m_networks.push_back(network);
    }
    return true;
}

bool MailDirection::is_outbound(const std::string &sender, const std::string &client) const
{
    return sender_is_local(sender) || client_is_local(client);
}

bool MailDirection::sender_is_local(const std::string &sender) const
{
    std::string address = t_string(sender).make_lower();
    if (!address.empty() && address.front() == '<')
        address.erase(0, 1);
    if (!address.empty() && address.back() == '>')
        address.pop_back();
    size_t at = address.rfind('@');
    if (at == std::string::npos)
        return false;
    std::string domain = address.substr(at + 1);
    for (const std::string &local : m_domains) {
        if (domain == local)
            return true;
        if (domain.size() > local.size() &&
            domain.compare(domain.size() - local.size(), local.size(), local) == 0 &&
            domain[domain.size() - local.size() - 1] == '.')
            return true;
    }
    return false;
}

bool MailDirection::client_is_local(const std::string &client) const
{
    std::array<uint8_t, 16> address;
    int family = parse_address(client, &address);
    if (family == 0)
        return false;
    for (const Network &network : m_networks) {
        if (network.family == family && prefix_matches(address, network.address, network.bits))
            return true;
    }
    return false;
}
