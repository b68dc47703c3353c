// Reloading the plug-in's settings: the check that refuses a reload the real
// libov.so would wedge on, while mail keeps being judged on the old settings,
// and the work directory on a full disk that refuses a start or reload.
#include "tools/hostkit/work_directories.h"
#include "tools/ovmilter/settings_reload.h"

#include <sys/stat.h>

#include <gtest/gtest.h>

#include <cstring>
#include <functional>

#include "support/plugin_host_fixture.h"
#include "support/plugin_installation.h"
#include "support/plugin_mail_corpus.h"
#include "support/small_tmpfs.h"

namespace {

// The transcript of start, break, reload, judge a junk mail, stop - in a
// child, so that a wedged plug-in fails the test rather than hang it.
std::string ReloadInChild(PluginInstallation &install, const std::function<void()> &breakFiles)
{
    PluginHeaders junk;
    junk.subject = PluginJunkSubject();
    const PluginSpoolMail mail = install.AddMail(PluginPlainMail(junk, "hello"));
    const std::string transcript = install.root() + "/transcript";
    const int status = PluginRunInChild(
        [&] {
            // Written after each step, so that a hang shows where.
            std::string text, error;
            auto note = [&](const std::string &step) { WriteFile(transcript, text += step); };
            PluginHost host;
            if (!host.load(OV_LIBOV_PATH, &error))
                note(error);
            ZWHostInfo info{};
            note("init=" + std::to_string(host.initialize(install.root().c_str(), &info)));
            breakFiles();
            note(" reload=" + std::to_string(reload_settings(host, install.root(), &error)));
            note(" why=" + error);
            ZWHostCall call{};
            std::strcpy(call.af_path, mail.af.c_str());
            ZWMailResult result{};
            note(" process=" + std::to_string(host.process(&call, &result)));
            note(" cleanup=" + std::to_string(host.cleanup()));
            return 0;
        },
        60);
    EXPECT_EQ(status, 0) << "the child crashed or hung";
    return ReadFile(transcript);
}

TEST(SettingsReload, RefusesAReloadThatWouldHoldMail)
{
    struct Row {
        const char *what;
        std::function<void(PluginInstallation &)> breakFiles;
        std::string expected;
    } rows[] = {
        {"files as installed", [](PluginInstallation &) {}, "init=0 reload=0 why= "},
        {"policies garbled",
         [](PluginInstallation &install) {
             WriteFile(install.Path("CsConfig.dat"), "policies\t\x01garbage");
         },
         "init=0 reload=1 why=the keyword policies of %CsConfig.dat do not load "},
        {"contscan.ini gone",
         [](PluginInstallation &install) { std::remove(install.Path("contscan.ini").c_str()); },
         "init=0 reload=1 why=cannot read %contscan.ini: No such file or directory "},
        {"quarantine directory a plain file",
         [](PluginInstallation &install) {
             WriteFile(install.root() + "/q", "x");
             install.ini.Set("Advanced Options", "QuarantineDirectory", install.root() + "/q");
             install.WriteIni();
         },
         "init=0 reload=1 why=quarantine directory %/q (QuarantineDirectory): cannot create it: "
         "Not a directory "},
    };
    for (const Row &row : rows) {
        PluginInstallation install;
        std::string expected = row.expected;
        size_t mark = expected.find('%');
        if (mark != std::string::npos)
            expected.replace(mark, 1, expected[mark + 1] == '/' ? install.root() : install.ProgramDir());
        // The junk rule of the old settings still deletes the mail (2).
        EXPECT_EQ(ReloadInChild(install, [&] { row.breakFiles(install); }),
                  expected + "process=2 cleanup=0")
            << row.what;
    }
}

TEST(WorkDirectories, FullDiskIsRefused)
{
    SmallTmpfs disk(64 * 1024);
    if (!disk.mounted())
        GTEST_SKIP() << disk.reason();
    ASSERT_EQ(0, mkdir((disk.dir() + "/q").c_str(), 0755));
    disk.Fill();
    std::string error;
    EXPECT_FALSE(work_directory_usable(disk.dir() + "/q", &error));
    EXPECT_EQ("cannot write a file in it: No space left on device", error);
    EXPECT_EQ(0, rmdir((disk.dir() + "/q").c_str()));
}

} // namespace
