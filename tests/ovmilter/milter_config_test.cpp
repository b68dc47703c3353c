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

// Every setting as "key=value;", in the order of the struct.
std::string Describe(const MilterConfig &c)
{
    return "socket=" + c.socket + ";plugin=" + c.plugin + ";root=" + c.root + ";spool=" + c.spool +
           ";domains=" + Join(c.localDomains) + ";networks=" + Join(c.localNetworks) +
           ";onblock=" + (c.onBlock == BlockReply::Reject ? "reject" : "discard") +
           ";text=" + c.rejectText + ";workers=" + std::to_string(c.workers) +
           ";sendmail=" + Join(c.sendmailCommand) + ";header=" + std::to_string(c.verdictHeader) +
           ";pid=" + c.pidFile + ";";
}

TEST(MilterConfig, ReadsTheKeysOfItsSection)
{
    struct Row {
        const char *text;
        const char *expected; // the whole description, or a "key=value;" of it
    } rows[] = {
        {"[milter]\nRoot=/opt/gw\n",
         "socket=inet:8895@127.0.0.1;plugin=;root=/opt/gw;spool=/var/spool/ovmilter;domains=;"
         "networks=;onblock=discard;text=Message refused by the content filter;workers=4;"
         "sendmail=/usr/sbin/sendmail,-oi;header=0;pid=;"},
        {"[other]\nRoot=/elsewhere\nWorkers=0\n"
         "[milter]\nSocket=unix:/run/ovmilter/ovmilter.sock\nPlugin=/usr/lib/ov/libov.so\n"
         "Root= /opt/gw \nSpool=/var/spool/ovm\nLocalDomains=Example.COM, example.org,,\n"
         "LocalNetworks=192.0.2.0/24, 2001:db8::/32\nOnBlock=REJECT\nRejectText=Refused here\n"
         "Workers=16\nSendmailCommand=/usr/sbin/sendmail  -oi -odq\nVerdictHeader=Yes\n"
         "PidFile=/run/ovmilter.pid\n",
         "socket=unix:/run/ovmilter/ovmilter.sock;plugin=/usr/lib/ov/libov.so;root=/opt/gw;"
         "spool=/var/spool/ovm;domains=example.com,example.org;networks=192.0.2.0/24,2001:db8::/32;"
         "onblock=reject;text=Refused here;workers=16;sendmail=/usr/sbin/sendmail,-oi,-odq;"
         "header=1;pid=/run/ovmilter.pid;"},
        {"[milter]\nRoot=/gw\nSocket=inet:10025@0.0.0.0\n", "socket=inet:10025@0.0.0.0;"},
        {"[milter]\nRoot=/gw\nSocket=inet:10025\n", "socket=inet:10025;"},
        {"[milter]\nRoot=/gw\nSocket=inet6:65535@[::1]\n", "socket=inet6:65535@[::1];"},
        {"[milter]\nRoot=/gw\nSocket=local:/run/ovm.sock\n", "socket=local:/run/ovm.sock;"},
        {"[milter]\nRoot=/gw\nOnBlock=Discard\n", "onblock=discard;"},
        {"[milter]\nRoot=/gw\nOnBlock= reject \n", "onblock=reject;"},
        {"[milter]\nRoot=/gw\nVerdictHeader=no\n", "header=0;"},
        {"[milter]\nRoot=/gw\nVerdictHeader=YES\n", "header=1;"},
        {"[milter]\nRoot=/gw\nWorkers=1\n", "workers=1;"},
        {"[milter]\nRoot=/gw\nWorkers=256\n", "workers=256;"},
    };
    for (const Row &row : rows) {
        BaseTempDir dir;
        MilterConfig config;
        std::string error;
        ASSERT_TRUE(load_milter_config(dir.write("ovmilter.ini", row.text), &config, &error))
            << row.text << error;
        const std::string described = ";" + Describe(config);
        EXPECT_NE(described.find(std::string(";") + row.expected), std::string::npos) << described;
    }
}

TEST(MilterConfig, ErrorsNameTheBadKeyAndLeaveTheSettingsAlone)
{
    const std::string longReject = "[milter]\nRoot=/gw\nRejectText=" + std::string(901, 'x') + "\n";
    struct Row {
        const char *text; // null: no file at all
        const char *named;
    } rows[] = {
        {nullptr, "cannot read"},
        {"[milter]\nRoot=/gw\nOnBlock=bounce\n", "OnBlock"},
        {"[milter]\nRoot=/gw\nWorkers=0\n", "Workers"},
        {"[milter]\nRoot=/gw\nWorkers=abc\n", "Workers"},
        {"[milter]\nRoot=/gw\nWorkers=300\n", "Workers"},
        {"[milter]\nRoot=/gw\nWorkers=4x\n", "Workers"},
        {"[milter]\nRoot=/gw\nSocket=inet:@127.0.0.1\n", "Socket"},
        {"[milter]\nRoot=/gw\nSocket=inet:70000@127.0.0.1\n", "Socket"},
        {"[milter]\nRoot=/gw\nSocket=inet:0@127.0.0.1\n", "Socket"},
        {"[milter]\nRoot=/gw\nSocket=tcp:8895@127.0.0.1\n", "Socket"},
        {"[milter]\nRoot=/gw\nSocket=unix:\n", "Socket"},
        {"[milter]\nSpool=/var/spool/ovm\n", "Root"},
        {"[other]\nRoot=/gw\n", "Root"},
        {"[milter]\nRoot=/gw\nSpool=spool/ovm\n", "Spool"},
        {"[milter]\nRoot=/gw\nSocket=unix:ovm.sock\n", "Socket"},
        {"[milter]\nRoot=/gw\nSocketMode=0999\n", "SocketMode"},
        {"[milter]\nRoot=/gw\nSocketMode=rw\n", "SocketMode"},
        {longReject.c_str(), "RejectText"},
        {"[milter]\nRoot=/gw\nGroup=mail\n", "Group"},
    };
    for (const Row &row : rows) {
        BaseTempDir dir;
        MilterConfig config;
        config.root = "untouched";
        std::string error;
        const std::string path =
            row.text ? dir.write("ovmilter.ini", row.text) : dir.path("missing.ini");
        EXPECT_FALSE(load_milter_config(path, &config, &error)) << path;
        EXPECT_NE(error.find(row.named), std::string::npos) << error;
        EXPECT_EQ(config.root, "untouched") << error;
    }
}

TEST(MilterConfig, UserAndGroupAreNamesReadAsWritten)
{
    struct Row {
        const char *text;
        const char *user;
        const char *group;
    } rows[] = {
        {"[milter]\nRoot=/gw\n", "", ""},
        {"[milter]\nRoot=/gw\nUser= ovmilter \n", "ovmilter", ""},
        {"[milter]\nRoot=/gw\nUser=ovmilter\nGroup=postfix\n", "ovmilter", "postfix"},
    };
    for (const Row &row : rows) {
        BaseTempDir dir;
        MilterConfig config;
        std::string error;
        ASSERT_TRUE(load_milter_config(dir.write("ovmilter.ini", row.text), &config, &error))
            << error;
        EXPECT_EQ(config.user, row.user) << row.text;
        EXPECT_EQ(config.group, row.group) << row.text;
    }
}

} // namespace
