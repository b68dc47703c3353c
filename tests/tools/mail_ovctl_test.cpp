// ovctl tnef and ovctl mime on generated winmail.dat files and mails.
#include <sys/stat.h>

#include "mail/transfer_codecs.h"
#include "support/mail_tnef_writer.h"
#include "tools/ovctl_cases.h"

namespace
{

std::string Winmail()
{
    TnefWriter tnef;
    tnef.MessageHeader("s")
        .File("a.txt", "first")
        .File("../b.txt", "second")
        .File("a.txt", "third");
    return tnef.bytes();
}

TEST(MailOvctl, TnefListAndExtract)
{
    BaseTempDir tmp;
    const std::string file = tmp.write("winmail.dat", Winmail()), out = tmp.path("out");
    ASSERT_EQ(mkdir(out.c_str(), 0755), 0);
    OvctlOptions options;
    options.mergeStderr = false;
    expect_ovctl_cases({{{"tnef", "list", file}, 0, "a.txt\n../b.txt\na.txt\n"},
                        {{"tnef", "extract", file, out}, 0, "a.txt\n__b.txt\na_2.txt\n"}},
                       options);
    EXPECT_EQ(ReadFile(out + "/a.txt"), "first");
    EXPECT_EQ(ReadFile(out + "/__b.txt"), "second");
    EXPECT_EQ(ReadFile(out + "/a_2.txt"), "third");
    EXPECT_FALSE(FileExists(tmp.path("b.txt")));
    expect_ovctl_cases({
        {{"tnef", "list", tmp.write("bad.dat", "not a tnef stream")}, 1, "ovctl: "},
        {{"tnef", "extract", file, tmp.path("missing")}, 1, ""},
        {{"tnef", "list"}, 2, ""},
        {{"tnef", "dump", file}, 2, ""},
    });
}

TEST(MailOvctl, MimeListsAttachmentsTnefNamesAndText)
{
    BaseTempDir tmp;
    const std::string stream = Winmail();
    int length = 0;
    char *encoded = to_base64(stream.data(), int(stream.size()), &length);
    const std::string mail = "From: a@example.com\nSubject: report\nMIME-Version: 1.0\n"
                             "Content-Type: multipart/mixed; boundary=\"b\"\n\n"
                             "--b\nContent-Type: text/plain\n\nplain words\n"
                             "--b\nContent-Type: application/ms-tnef; name=\"winmail.dat\"\n"
                             "Content-Transfer-Encoding: base64\n\n" +
                             std::string(encoded, size_t(length)) + "--b--\n";
    std::free(encoded);
    const std::string df = tmp.write("DF", mail);
    const size_t start = mail.find("Content-Type: application/ms-tnef"), end = mail.find("--b--");
    OvctlRun run = run_ovctl({"mime", df, "--text", tmp.path("text")}, false);
    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(run.output, "0\twinmail.dat\tapplication/ms-tnef\t" + std::to_string(start) + "\t" +
                              std::to_string(end) + "\t4\n0.0\ta.txt\n0.1\t../b.txt\n0.2\ta.txt\n");
    const std::string text = ReadFile(tmp.path("text"));
    EXPECT_NE(text.find("Subject: report"), std::string::npos);
    EXPECT_NE(text.find("plain words"), std::string::npos);
    EXPECT_EQ(text.find("second"), std::string::npos);
    run_ovctl({"mime", df, "--text", tmp.path("text2"), "--attach-scan"});
    EXPECT_NE(ReadFile(tmp.path("text2")).find("second"), std::string::npos);
    expect_ovctl_cases({{{"mime", tmp.path("missing")}, 1, ""}, {{"mime"}, 2, ""}});
}

} // namespace
