// Handing the plug-in's notification mails to the MTA: the command's words,
// running it with the mail on standard input, and the queue function that
// deletes a mail the command took and keeps one it refused.
#include "tools/ovmilter/notification_queue.h"

#include <signal.h>
#include <sys/stat.h>

#include <gtest/gtest.h>

#include <cerrno>

#include "support/base_temp_dir.h"

namespace {

using Strings = std::vector<std::string>;

TEST(NotificationQueue, SendmailArguments)
{
    char a[] = "a@x", dash[] = "-oQ/tmp", empty[] = "", b[] = "b@y";
    char *two[] = {a, b, nullptr};
    char *odd[] = {dash, a, empty, b, nullptr};
    char *none[] = {nullptr};
    struct Row {
        const char *from;
        char **recipients;
        Strings words, refused;
    } rows[] = {
        {"postmaster@corp.example",
         two,
         {"/usr/sbin/sendmail", "-oi", "-f", "postmaster@corp.example", "a@x", "b@y"},
         {}},
        {"", two, {"/usr/sbin/sendmail", "-oi", "-f", "<>", "a@x", "b@y"}, {}},
        {nullptr, none, {"/usr/sbin/sendmail", "-oi", "-f", "<>"}, {}},
        {"p@c", nullptr, {"/usr/sbin/sendmail", "-oi", "-f", "p@c"}, {}},
        {"p@c", odd, {"/usr/sbin/sendmail", "-oi", "-f", "p@c", "a@x", "b@y"}, {"-oQ/tmp"}},
    };
    for (const Row &row : rows) {
        Strings refused;
        EXPECT_EQ(
            sendmail_arguments({"/usr/sbin/sendmail", "-oi"}, row.from, row.recipients, &refused),
            row.words);
        EXPECT_EQ(refused, row.refused);
    }
}

TEST(NotificationQueue, RunsTheCommandWithTheMailOnInput)
{
    BaseTempDir dir;
    const std::string mail = "From: p@c\r\nTo: a@x\r\n\r\nbinary \x01\xff end\r\n";
    const std::string input = dir.write("mail", mail);
    std::string error;
    ASSERT_TRUE(run_with_input({"/bin/sh", "-c", "cat > " + dir.path("out")}, input, 30, &error))
        << error;
    EXPECT_EQ(ReadFile(dir.path("out")), mail);

    struct Row {
        Strings words;
        const char *error;
    } rows[] = {
        {{"/bin/sh", "-c", "exit 3"}, "exit status 3"},
        {{"/bin/sh", "-c", "kill -9 $$"}, "killed by signal 9"},
        {{dir.path("no-such-program")}, "cannot run"},
        {{"no-such-program-on-the-path"}, "cannot run"},
    };
    for (const Row &row : rows) {
        error.clear();
        EXPECT_FALSE(run_with_input(row.words, input, 30, &error)) << row.words[0];
        EXPECT_NE(error.find(row.error), std::string::npos) << error;
    }
    EXPECT_FALSE(run_with_input({"/bin/cat"}, dir.path("no-such-mail"), 30, &error));
}

TEST(NotificationQueue, KillsACommandThatDoesNotFinish)
{
    BaseTempDir dir;
    std::string error;
    EXPECT_FALSE(
        run_with_input({"/bin/sh", "-c", "echo $$ > " + dir.path("pid") + "; exec sleep 30"},
                       dir.write("mail", "x"), 1, &error));
    EXPECT_NE(error.find("did not finish"), std::string::npos) << error;
    const pid_t child = std::atoi(ReadFile(dir.path("pid")).c_str());
    ASSERT_GT(child, 0);
    EXPECT_EQ(kill(child, 0), -1); // killed and reaped
    EXPECT_EQ(errno, ESRCH);
}

TEST(NotificationQueue, QueueFunctionSendsOrKeepsTheMail)
{
    BaseTempDir dir;
    const std::string script =
        dir.write("sendmail", "#!/bin/sh\nprintf '%s\\n' \"$@\" > " + dir.path("argv") +
                                  "\ncat > " + dir.path("stdin") + "\nexit ${FAIL:-0}\n");
    chmod(script.c_str(), 0755);
    const std::string failing = dir.write("failing", "#!/bin/sh\nexit 75\n");
    chmod(failing.c_str(), 0755);
    char a[] = "bob@corp.example", b[] = "carol@corp.example", dash[] = "-X/tmp/log";
    char *two[] = {a, b, nullptr};
    char *onlyDash[] = {dash, nullptr};
    struct Row {
        std::string command;
        char **recipients;
        int rc;
        bool kept;
        const char *argv;
    } rows[] = {
        {script, two, 0, false,
         "-oi\n-f\npostmaster@corp.example\nbob@corp.example\ncarol@corp.example\n"},
        {failing, two, -1, true, "<missing>"},
        {script, onlyDash, -1, true, "<missing>"}, // no recipient left
    };
    for (const Row &row : rows) {
        std::remove(dir.path("argv").c_str());
        const std::string text = "From: postmaster@corp.example\r\n\r\nnotice\r\n";
        const std::string path = dir.write("notice.eml", text);
        set_notification_command({row.command, "-oi"});
        ZWEnqueRecord record{
            "postmaster@corp.example", row.recipients, nullptr, nullptr, path.c_str(), 0, 0};
        EXPECT_EQ(ovmilter_enque_mail(&record), row.rc) << row.command;
        EXPECT_EQ(FileExists(path), row.kept) << row.command;
        EXPECT_EQ(ReadFile(dir.path("argv")), row.argv);
        if (row.rc == 0) {
            EXPECT_EQ(ReadFile(dir.path("stdin")), text);
        }
    }
    EXPECT_EQ(ovmilter_enque_mail(nullptr), -1);
    set_notification_command({"/usr/sbin/sendmail", "-oi"});
}

} // namespace
