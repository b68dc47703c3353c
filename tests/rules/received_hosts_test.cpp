// What the rule scanner reads besides the body: relay hosts of the
// "Received:" headers and single envelope values.
#include "rules/received_hosts.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <string>
#include <vector>

#include "mail/mail_info.h"
#include "rules/rule_scan.h"
#include "support/base_log_capture.h"
#include "support/base_temp_dir.h"

namespace {

std::vector<std::string> hosts_of(const std::string &message)
{
    CMailInfo info;
    FILE *file = fmemopen(const_cast<char *>(message.data()), message.size(), "r");
    CollectReceivedHosts(file, info);
    std::fclose(file);
    std::vector<std::string> hosts;
    for (int i = 0; i < info.m_nDomainCount; ++i)
        hosts.push_back(info.m_pDomain[i]);
    return hosts;
}

TEST(ReceivedHosts, Table)
{
    using Hosts = std::vector<std::string>;
    struct Row {
        const char *what;
        std::string message;
        Hosts hosts;
    } rows[] = {
        {"folded", "Received: from a.example (a [1.2.3.4])\r\n\tby mx.example with ESMTP\r\n\r\n", {"a.example", "mx.example"}},
        {"two headers in order", "Received: from b by c\nSubject: x\nReceived: from d\n by e\n\n", {"b", "c", "d", "e"}},
        {"any case", "Received: FROM Host1 BY Host2\n\n", {"Host1", "Host2"}},
        {"header name is case-sensitive", "received: from a by b\n\n", {}},
        {"must start the line", " Received: from a by b\n\n", {}},
        {"host on the next line", "Received: from\n a.example\n by b\n\n", {"a.example", "b"}},
        {"empty first line", "Received:\n from a by b\n\n", {"a", "b"}},
        {"not folded after from", "Received: from a\nX-Other: by z\n\n", {"a"}},
        {"body not read", "Subject: s\n\nReceived: from a by b\n", {}},
        {"stops at CR", "Received: from a\r\n\r\nReceived: from b\r\n", {"a"}},
        {"no end of header", "Received: from a by", {"a"}},
    };
    for (const Row &row : rows) {
        SCOPED_TRACE(row.what);
        EXPECT_EQ(hosts_of(row.message), row.hosts);
    }
}

TEST(ReceivedHosts, LongWordsAndManyHeaders)
{
    std::string longHost(700, 'h');
    std::vector<std::string> hosts = hosts_of("Received: from " + longHost + " by x\n\n");
    ASSERT_FALSE(hosts.empty());
    EXPECT_LE(hosts[0].size(), 511u);

    std::string many;
    for (int i = 0; i < 100; ++i)
        many += "Received: from a" + std::to_string(i) + " by b" + std::to_string(i) + "\n";
    EXPECT_EQ(hosts_of(many + "\n").size(), 128u);   // the record keeps 128
}

TEST(CRuleScanGetAFInfo, WarnsOfAnEmptyValueInRawMode)
{
    BaseTempDir dir;
    const std::string af = dir.write("AFI1", "S  \nSlater\n");
    CRuleScan scan;
    BaseLogCapture capture;
    std::string value = "old", raw = "old";
    EXPECT_TRUE(scan.GetAFInfo('S', af.c_str(), value, false));
    EXPECT_TRUE(capture.lines().empty());
    EXPECT_TRUE(scan.GetAFInfo('S', af.c_str(), raw, true));
    EXPECT_EQ(value + raw, "");
    EXPECT_EQ(capture.lines(), (std::vector<std::string>{"GetAFInfo(): Warning! S command have no value."}));
}

} // namespace

