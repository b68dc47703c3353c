// ovctl tnef and ovctl mime on generated winmail.dat files and mails.
#include <sys/stat.h>

#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "mail/transfer_codecs.h"
#include "support/base_temp_dir.h"
#include "support/mail_tnef_writer.h"
#include "support/tools_ovctl.h"

namespace {

std::string Winmail()
{
    TnefWriter tnef;
    tnef.MessageHeader("s").File("a.txt", "first").File("../b.txt", "second").File("a.txt", "third");
    return tnef.bytes();
}

TEST(MailOvctl, TnefListAndExtract)
{
    BaseTempDir tmp;
    std::string file = tmp.write("winmail.dat", Winmail());
    OvctlRun list = run_ovctl({"tnef", "list", file}, false);
    EXPECT_EQ(list.status, 0);
    EXPECT_EQ(list.output, "a.txt\n../b.txt\na.txt\n");

    std::string out = tmp.path("out");
    ASSERT_EQ(mkdir(out.c_str(), 0755), 0);
    OvctlRun extract = run_ovctl({"tnef", "extract", file, out}, false);
    EXPECT_EQ(extract.status, 0);
    EXPECT_EQ(extract.output, "a.txt\n__b.txt\na_2.txt\n");
    EXPECT_EQ(ReadFile(out + "/a.txt"), "first");
    EXPECT_EQ(ReadFile(out + "/__b.txt"), "second");
    EXPECT_EQ(ReadFile(out + "/a_2.txt"), "third");
    EXPECT_FALSE(FileExists(tmp.path("b.txt")));

    std::string bad = tmp.write("bad.dat", "not a tnef stream");
    OvctlRun refused = run_ovctl({"tnef", "list", bad});
    EXPECT_EQ(refused.status, 1);
    EXPECT_EQ(refused.output.compare(0, 7, "ovctl: "), 0);
    EXPECT_EQ(run_ovctl({"tnef", "extract", file, tmp.path("missing")}).status, 1);
    EXPECT_EQ(run_ovctl({"tnef", "list"}).status, 2);
    EXPECT_EQ(run_ovctl({"tnef", "dump", file}).status, 2);
}

TEST(MailOvctl, MimeListsAttachmentsTnefNamesAndText)
{
    BaseTempDir tmp;
    std::string stream = Winmail();
    int length = 0;
    char *encoded = to_base64(stream.data(), int(stream.size()), &length);
    std::string base64(encoded, size_t(length));
    std::free(encoded);
    std::string head = "From: a@example.com\nSubject: report\nMIME-Version: 1.0\n"
                       "Content-Type: multipart/mixed; boundary=\"b\"\n\n"
                       "--b\nContent-Type: text/plain\n\nplain words\n"
                       "--b\nContent-Type: application/ms-tnef; name=\"winmail.dat\"\n"
                       "Content-Transfer-Encoding: base64\n\n";
    std::string mail = head + base64 + "--b--\n";
    std::string df = tmp.write("DF", mail);
    int start = int(mail.find("Content-Type: application/ms-tnef"));
    int end = int(mail.find("--b--"));
    OvctlRun run = run_ovctl({"mime", df, "--text", tmp.path("text")}, false);
    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(run.output, "0\twinmail.dat\tapplication/ms-tnef\t" + std::to_string(start) + "\t" +
                           std::to_string(end) + "\t4\n0.0\ta.txt\n0.1\t../b.txt\n0.2\ta.txt\n");
    std::string text = ReadFile(tmp.path("text"));
    EXPECT_NE(text.find("Subject: report"), std::string::npos);
    EXPECT_NE(text.find("plain words"), std::string::npos);
    EXPECT_EQ(text.find("second"), std::string::npos);
    run_ovctl({"mime", df, "--text", tmp.path("text2"), "--attach-scan"});
    EXPECT_NE(ReadFile(tmp.path("text2")).find("second"), std::string::npos);

    EXPECT_EQ(run_ovctl({"mime", tmp.path("missing")}).status, 1);
    EXPECT_EQ(run_ovctl({"mime"}).status, 2);
}

} // namespace
