// Handing notification mails to the MTA: the command run with the mail on
// its input (killed when it hangs); a refused mail is kept.
#include "tools/ovmilter/notification_queue.h"

#include <signal.h>
#include <sys/stat.h>

#include <gtest/gtest.h>

#include <cerrno>

#include "support/base_temp_dir.h"

namespace {

using Strings = std::vector<std::string>;

TEST(NotificationQueue, RunsTheCommandWithTheMailOnInput)
{
    BaseTempDir dir;
    const std::string mail = "From: p@c\r\nTo: a@x\r\n\r\nbinary \x01\xff end\r\n";
    const std::string input = dir.write("mail", mail), pid = dir.path("pid");
    const struct {
        Strings words;
        int seconds;
        const char *error; // empty: it runs
    } rows[] = {
        {{"/bin/sh", "-c", "cat > " + dir.path("out")}, 30, ""},
        {{"/bin/sh", "-c", "kill -9 $$"}, 30, "killed by signal 9"},
        {{dir.path("no-such-program")}, 30, "cannot run"},
        {{"/bin/sh", "-c", "echo $$ > " + pid + "; exec sleep 30"}, 1, "did not finish"},
    };
    for (const auto &row : rows) {
        std::string error;
        EXPECT_EQ(run_with_input(row.words, input, row.seconds, &error), !*row.error)
            << row.words.back();
        EXPECT_NE(error.find(row.error), std::string::npos) << error;
    }
    EXPECT_EQ(ReadFile(dir.path("out")), mail);
    const pid_t child = std::atoi(ReadFile(pid).c_str());
    ASSERT_GT(child, 0);
    EXPECT_EQ(kill(child, 0), -1); // killed and reaped
    EXPECT_EQ(errno, ESRCH);
    std::string error;
    EXPECT_FALSE(run_with_input({"/bin/cat"}, dir.path("no-such-mail"), 30, &error));
}

TEST(NotificationQueue, QueueFunctionSendsOrKeepsTheMail)
{
    BaseTempDir dir;
    const std::string script =
        dir.write("sendmail", "#!/bin/sh\nprintf '%s\\n' \"$@\" > " + dir.path("argv") +
                                  "\ncat > " + dir.path("stdin") + "\n");
    const std::string failing = dir.write("failing", "#!/bin/sh\nexit 75\n");
    chmod(script.c_str(), 0755);
    chmod(failing.c_str(), 0755);
    char a[] = "bob@corp.example", b[] = "carol@corp.example", dash[] = "-X/tmp/log";
    char *two[] = {a, dash, b, nullptr}, *onlyDash[] = {dash, nullptr};
    const std::string text = "From: postmaster@corp.example\r\n\r\nnotice\r\n";
    const struct {
        std::string command;
        char **recipients;
        int rc;
        const char *argv;
    } rows[] = {
        {script, two, 0,
         "-oi\n-f\npostmaster@corp.example\nbob@corp.example\ncarol@corp.example\n"},
        {failing, two, -1, "<missing>"},
        {script, onlyDash, -1, "<missing>"}, // no recipient left
    };
    for (const auto &row : rows) {
        std::remove(dir.path("argv").c_str());
        const std::string path = dir.write("notice.eml", text);
        set_notification_command({row.command, "-oi"});
        ZWEnqueRecord record{
            "postmaster@corp.example", row.recipients, nullptr, nullptr, path.c_str(), 0, 0};
        EXPECT_EQ(ovmilter_enque_mail(&record), row.rc) << row.command;
        EXPECT_EQ(FileExists(path), row.rc != 0) << "kept when refused";
        EXPECT_EQ(ReadFile(dir.path("argv")), row.argv);
    }
    EXPECT_EQ(ReadFile(dir.path("stdin")), text);
    EXPECT_EQ(ovmilter_enque_mail(nullptr), -1);
    set_notification_command({"/usr/sbin/sendmail", "-oi"});
}

} // namespace
