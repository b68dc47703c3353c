// ovmilter's settings file: the defaults, every key, and the errors that
// name the key an administrator has to mend.
#include "tools/ovmilter/milter_config.h"

#include <gtest/gtest.h>

#include "support/base_temp_dir.h"

namespace {

std::string Join(const std::vector<std::string> &words)
{
    std::string text;
    for (const std::string &word : words)
        text += (text.empty() ? "" : ",") + word;
    return text;
}

std::string Describe(const MilterConfig &c)
{
    return "socket=" + c.socket + ";plugin=" + c.plugin + ";root=" + c.root + ";spool=" + c.spool +
           ";domains=" + Join(c.localDomains) + ";networks=" + Join(c.localNetworks) +
           ";onblock=" + (c.onBlock == BlockReply::Reject ? "reject" : "discard") +
           ";text=" + c.rejectText + ";workers=" + std::to_string(c.workers) +
           ";sendmail=" + Join(c.sendmailCommand) + ";header=" + std::to_string(c.verdictHeader) +
           ";pid=" + c.pidFile + ";user=" + c.user + ";group=" + c.group + ";";
}

const std::string kMinimal = "[milter]\nRoot=/gw\n";

TEST(MilterConfig, ReadsTheKeysOfItsSection)
{
    const struct {
        std::string text;     // after kMinimal when it starts with no "["
        const char *expected; // the whole description, or a "key=value;" of it
    } rows[] = {
        {"", "socket=inet:8895@127.0.0.1;plugin=;root=/gw;spool=/var/spool/ovmilter;domains=;"
             "networks=;onblock=discard;text=Message refused by the content filter;workers=4;"
             "sendmail=/usr/sbin/sendmail,-oi;header=0;pid=;user=;group=;"},
        {"[other]\nRoot=/elsewhere\nWorkers=0\n"
         "[milter]\nSocket=unix:/run/ovmilter/ovmilter.sock\nPlugin=/usr/lib/ov/libov.so\n"
         "Root= /opt/gw \nSpool=/var/spool/ovm\nLocalDomains=Example.COM, example.org,,\n"
         "LocalNetworks=192.0.2.0/24, 2001:db8::/32\nOnBlock=REJECT\nRejectText=Refused here\n"
         "Workers=16\nSendmailCommand=/usr/sbin/sendmail  -oi -odq\nVerdictHeader=Yes\n"
         "PidFile=/run/ovmilter.pid\nUser= ovmilter \nGroup=postfix\n",
         "socket=unix:/run/ovmilter/ovmilter.sock;plugin=/usr/lib/ov/libov.so;root=/opt/gw;"
         "spool=/var/spool/ovm;domains=example.com,example.org;networks=192.0.2.0/24,2001:db8::/32;"
         "onblock=reject;text=Refused here;workers=16;sendmail=/usr/sbin/sendmail,-oi,-odq;"
         "header=1;pid=/run/ovmilter.pid;user=ovmilter;group=postfix;"},
        {"Socket=inet6:65535@[::1]\nWorkers=256\n", "socket=inet6:65535@[::1];"},
    };
    for (const auto &row : rows) {
        BaseTempDir dir;
        MilterConfig config;
        std::string error;
        const std::string text = row.text[0] == '[' ? row.text : kMinimal + row.text;
        ASSERT_TRUE(load_milter_config(dir.write("ovmilter.ini", text), &config, &error))
            << text << error;
        const std::string described = ";" + Describe(config);
        EXPECT_NE(described.find(std::string(";") + row.expected), std::string::npos) << described;
    }
}

TEST(MilterConfig, ErrorsNameTheBadKeyAndLeaveTheSettingsAlone)
{
    const struct {
        std::string text; // after kMinimal when it starts with no "["; "-": no file at all
        const char *named;
    } rows[] = {
        {"-", "cannot read"},
        {"OnBlock=bounce\n", "OnBlock"},
        {"Workers=0\n", "Workers"},
        {"Workers=4x\n", "Workers"},
        {"Socket=inet:65536@127.0.0.1\n", "Socket"},
        {"Socket=tcp:8895@127.0.0.1\n", "Socket"},
        {"Socket=unix:ovm.sock\n", "Socket"},
        {"[milter]\nSpool=/var/spool/ovm\n", "Root"},
        {"Spool=spool/ovm\n", "Spool"},
        {"SocketMode=0999\n", "SocketMode"},
        {"RejectText=" + std::string(901, 'x') + "\n", "RejectText"},
        {"Group=mail\n", "Group"},
    };
    for (const auto &row : rows) {
        BaseTempDir dir;
        MilterConfig config;
        config.root = "untouched";
        std::string error;
        const std::string path =
            row.text == "-" ? dir.path("missing.ini")
                            : dir.write("ovmilter.ini", row.text[0] == '[' ? row.text
                                                                           : kMinimal + row.text);
        EXPECT_FALSE(load_milter_config(path, &config, &error)) << row.text;
        EXPECT_NE(error.find(row.named), std::string::npos) << error;
        EXPECT_EQ(config.root, "untouched") << error;
    }
}

} // namespace
