// ovctl tnef and ovctl mime on generated winmail.dat files and mails.
#include <sys/wait.h>

#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "support/base_temp_dir.h"
#include "support/mail_tnef_writer.h"

namespace {

struct OvctlResult {
    int status;
    std::string out;   // standard output
    std::string err;
};

std::string Quoted(const std::string &word)
{
    std::string text = "'";
    for (char c : word)
        text += c == '\'' ? std::string("'\\''") : std::string(1, c);
    return text + "'";
}

OvctlResult Ovctl(const std::vector<std::string> &words, const BaseTempDir &tmp)
{
    std::string command = Quoted(OV_OVCTL_PATH);
    for (const std::string &word : words)
        command += " " + Quoted(word);
    command += " 2>" + Quoted(tmp.path("stderr"));
    OvctlResult run{-1, "", ""};
    FILE *pipe = popen(command.c_str(), "r");
    if (!pipe)
        return run;
    char block[512];
    size_t got;
    while ((got = fread(block, 1, sizeof block, pipe)) > 0)
        run.out.append(block, got);
    int status = pclose(pipe);
    run.status = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    run.err = BaseTempDir::read(tmp.path("stderr"));
    return run;
}

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
    OvctlResult list = Ovctl({"tnef", "list", file}, tmp);
    EXPECT_EQ(list.status, 0);
    EXPECT_EQ(list.out, "a.txt\n../b.txt\na.txt\n");

    std::string out = tmp.path("out");
    ASSERT_EQ(std::system(("mkdir " + Quoted(out)).c_str()), 0);
    OvctlResult extract = Ovctl({"tnef", "extract", file, out}, tmp);
    EXPECT_EQ(extract.status, 0);
    EXPECT_EQ(extract.out, "a.txt\n__b.txt\na_2.txt\n");
    EXPECT_EQ(BaseTempDir::read(out + "/a.txt"), "first");
    EXPECT_EQ(BaseTempDir::read(out + "/__b.txt"), "second");
    EXPECT_EQ(BaseTempDir::read(out + "/a_2.txt"), "third");
    EXPECT_FALSE(BaseTempDir::exists(tmp.path("b.txt")));

    std::string bad = tmp.write("bad.dat", "not a tnef stream");
    OvctlResult refused = Ovctl({"tnef", "list", bad}, tmp);
    EXPECT_EQ(refused.status, 1);
    EXPECT_EQ(refused.err.compare(0, 7, "ovctl: "), 0);
    EXPECT_EQ(Ovctl({"tnef", "extract", file, tmp.path("missing")}, tmp).status, 1);
    EXPECT_EQ(Ovctl({"tnef", "list"}, tmp).status, 2);
    EXPECT_EQ(Ovctl({"tnef", "dump", file}, tmp).status, 2);
}

TEST(MailOvctl, MimeListsAttachmentsTnefNamesAndText)
{
    BaseTempDir tmp;
    // base64 of the stream, by the shell's own tool.
    std::string raw = tmp.write("raw", Winmail());
    ASSERT_EQ(std::system(("base64 " + Quoted(raw) + " > " + Quoted(tmp.path("b64"))).c_str()), 0);
    std::string head = "From: a@example.com\nSubject: report\nMIME-Version: 1.0\n"
                       "Content-Type: multipart/mixed; boundary=\"b\"\n\n"
                       "--b\nContent-Type: text/plain\n\nplain words\n"
                       "--b\nContent-Type: application/ms-tnef; name=\"winmail.dat\"\n"
                       "Content-Transfer-Encoding: base64\n\n";
    std::string mail = head + BaseTempDir::read(tmp.path("b64")) + "--b--\n";
    std::string df = tmp.write("DF", mail);
    int start = int(mail.find("Content-Type: application/ms-tnef"));
    int end = int(mail.find("--b--"));
    OvctlResult run = Ovctl({"mime", df, "--text", tmp.path("text")}, tmp);
    EXPECT_EQ(run.status, 0) << run.err;
    EXPECT_EQ(run.out, "0\twinmail.dat\tapplication/ms-tnef\t" + std::to_string(start) + "\t" +
                           std::to_string(end) + "\t4\n0.0\ta.txt\n0.1\t../b.txt\n0.2\ta.txt\n");
    std::string text = BaseTempDir::read(tmp.path("text"));
    EXPECT_NE(text.find("Subject: report"), std::string::npos);
    EXPECT_NE(text.find("plain words"), std::string::npos);
    EXPECT_EQ(text.find("second"), std::string::npos);
    Ovctl({"mime", df, "--text", tmp.path("text2"), "--attach-scan"}, tmp);
    EXPECT_NE(BaseTempDir::read(tmp.path("text2")).find("second"), std::string::npos);

    EXPECT_EQ(Ovctl({"mime", tmp.path("missing")}, tmp).status, 1);
    EXPECT_EQ(Ovctl({"mime"}, tmp).status, 2);
}

} // namespace
