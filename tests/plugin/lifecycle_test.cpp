// Start, reload and stop of libov.so through its exported entry points: the
// exported names, the answers in every state, the host information record,
// the lifecycle lines of the logs, and failed starts and updates.
#include <dlfcn.h>
#include <unistd.h>

#include <atomic>
#include <thread>

#include "support/plugin_host_fixture.h"

namespace {

const char kBuild[] = ", Version: 3.8_Linux_Build_1036 $Date: 12/20/2002 18:02:39";

// Every entry point of a plug-in that is not running answers without work.
void ExpectNotRunning(const PluginHost &plugin, const std::string &af)
{
    ZWHostCall call = PluginCall(af);
    ZWMailResult result{};
    EXPECT_EQ(-9, plugin.process(&call, &result));
    EXPECT_EQ(-9, plugin.process(nullptr, nullptr));
    EXPECT_EQ(-9, plugin.cleanup());
    EXPECT_EQ(-9, plugin.update());
    EXPECT_EQ(-9, plugin.command("update"));
    EXPECT_EQ(-99, plugin.command("Update"));
    EXPECT_STREQ("3.8_Linux_Build_1036", plugin.version());
    EXPECT_STREQ("12/20/2002 18:02:39", plugin.build_date());
}

using PluginLifecycleTest = PluginTest;

TEST_F(PluginLifecycleTest, ExportsOnlyTheHostInterface)
{
    void *library = dlopen(OV_LIBOV_PATH, RTLD_NOW | RTLD_LOCAL);
    ASSERT_NE(nullptr, library) << dlerror();
    for (const char *name :
         {"ZWEmailPluginInitialize", "ZWEmailPluginProcess", "OVEmailPluginProcessReport",
          "ZWEmailPluginCleanup", "ZWEmailPluginCommand", "ZWEmailPluginGetCMVersion",
          "ZWEmailPluginGetCMBuildDate", "_Z19ZWEmailPluginUpdatev", "ZWContScanInit",
          "ZWContScanCleanUp", "ZWContScanScanFile", "OVCMDecodeTNEF", "OVCMSetExtractAttachName",
          "OVCMSetSaveAttachPath", "bInit", "ovConfig", "m_pPolicySet", "m_pRuleScanObj", "m_rwObj",
          "logFile_rwObj", "ThreadsNum", "ovux_sink", "ovux_log", "bDebugLog", "Enque_Mail",
          "_language", "_kanji", "g_nHostCharset", "g_t_strProgramDirectory", "g_t_strCSINIFILE",
          "g_t_strTEMPDIR", "g_t_strDEBUGLOG"})
        EXPECT_NE(nullptr, dlsym(library, name)) << name;
    // The update entry point only under its C++ name; internals stay inside.
    for (const char *name : {"ZWEmailPluginUpdate", "SetFullPath", "_Z11SetFullPathPKc",
                             "LoadPluginSettings", "_Z18LoadPluginSettingsv", "WriteLogFile",
                             "ReplaceFileBlock", "bRemoveAttachment"})
        EXPECT_EQ(nullptr, dlsym(library, name)) << name;
    dlclose(library);
}

// A fresh copy of the library, never started, has no global objects yet; it
// starts and stops on its own, beside the shared library.
TEST_F(PluginLifecycleTest, AnswersInEveryStateWithoutWork)
{
    const std::string copy = install.root() + "/libov-copy.so";
    WriteFile(copy, ReadFile(OV_LIBOV_PATH));
    PluginHost fresh;
    std::string error;
    ASSERT_TRUE(fresh.load(copy, &error)) << error;
    PluginSpoolMail mail = install.AddMail(PluginPlainMail({}, "hello"));
    ExpectNotRunning(fresh, mail.af);
    ASSERT_EQ(0, fresh.initialize(install.root().c_str(), &info));
    EXPECT_EQ(-9, plugin().cleanup());
    EXPECT_EQ(0, fresh.cleanup());

    ExpectNotRunning(plugin(), mail.af);
    for (int round = 0; round < 2; ++round) { // a stopped plug-in starts again
        Start();
        for (const char *command : {static_cast<const char *>(nullptr), "Update", "", "update "})
            EXPECT_EQ(-99, plugin().command(command)) << command;
        EXPECT_EQ(0, plugin().command("update"));
        EXPECT_EQ(0, plugin().update());
        EXPECT_EQ(0, Run(mail));
        EXPECT_EQ(0, plugin().cleanup());
        ExpectNotRunning(plugin(), mail.af);
    }
}

TEST_F(PluginLifecycleTest, FillsTheHostRecordAndLogsTheLifecycle)
{
    install.Set("Content Filter", {{"ConfigEXE", "/usr/bin/ovconfig"},
                                   {"ConfigURL", "https://gw.corp.example/ov"},
                                   {"DebugLog", "YES"}}); // "yes" only in that case
    std::memset(&info, 'x', sizeof info);
    // Trailing slashes, blanks and line ends of the root are dropped.
    ASSERT_EQ(0, plugin().initialize((install.root() + "/// \n").c_str(), &info));
    EXPECT_EQ(std::vector<std::string>({"3.8_Linux_1036", "This plug-in does Content Management.",
                                        "/usr/bin/ovconfig", "https://gw.corp.example/ov", "1.0"}),
              std::vector<std::string>({info.version, info.description, info.config_program,
                                        info.config_url, info.interface_version}));
    EXPECT_EQ(16, info.interface_flags);
    EXPECT_TRUE(FileExists(install.Path("tempdir")));

    // A second Initialize changes nothing, not even the record.
    PluginInstallation other;
    ZWHostInfo untouched, second;
    std::memset(&untouched, 'y', sizeof untouched);
    second = untouched;
    EXPECT_EQ(0, plugin().initialize(other.root().c_str(), &second));
    EXPECT_EQ(0, std::memcmp(&untouched, &second, sizeof second));
    EXPECT_EQ("", other.EventLog());

    EXPECT_EQ(0, plugin().command("update"));
    EXPECT_EQ(0, plugin().cleanup());
    const std::string program = install.ProgramDir();
    const std::string prefix = " CONTENT_MANAGEMENT[" + std::to_string(getpid()) + "]: ";
    const std::vector<std::string> lines = SplitLines(install.EventLog());
    const std::string expected[] = {"Daily Log" + std::string(kBuild),
                                    "PLUG-IN STARTED BY " + program + kBuild,
                                    "PLUG-IN UPDATE BY " + program, "PLUG-IN STOPPED"};
    ASSERT_EQ(4u, lines.size()) << install.EventLog();
    for (size_t i = 0; i < lines.size(); ++i)
        EXPECT_NE(std::string::npos, lines[i].find(prefix + expected[i])) << lines[i];
    EXPECT_FALSE(FileExists(program + "Debug-" + std::to_string(getpid()) + ".log"));
}

TEST_F(PluginLifecycleTest, RefusesUnusableRoots)
{
    if (FileExists("/etc/pwall_plugins/ov.dsc"))
        GTEST_SKIP() << "/etc/pwall_plugins/ov.dsc exists and would supply a root";
    const std::string missing = install.root() + "/no-such-gateway";
    std::vector<std::pair<std::string, const char *>> rows = {
        {"", nullptr}, {"", ""}, {"/", "/"}, {" / /  ", " / /  "}, {"\n", "\n"},
        {missing, missing.c_str()}};
    PluginInstallation partial[4]; // each without one of its files
    const char *files[] = {"contscan.ini", "CsConfig.dat", "spamrule/spamrule.txt", "spamrule/SFRule.txt"};
    for (int i = 0; i < 4; ++i) {
        std::remove(partial[i].Path(files[i]).c_str());
        rows.emplace_back(partial[i].root(), partial[i].root().c_str());
    }
    for (const auto &row : rows) {
        SCOPED_TRACE(row.second ? row.second : "null");
        std::memset(&info, 'x', sizeof info);
        EXPECT_EQ(-8, plugin().initialize(row.second, &info));
        EXPECT_EQ(std::vector<std::string>({"3.8_Linux_1036",
                                            "This plug-in does Content Management. \r\nroot_path: (" +
                                                row.first + ") and () error!",
                                            "", ""}),
                  std::vector<std::string>(
                      {info.version, info.description, info.config_program, info.config_url}));
        EXPECT_EQ(-9, plugin().cleanup());
        EXPECT_EQ(-8, plugin().initialize(row.first.c_str(), nullptr)); // no record: no crash
    }
    Start(); // a failed start leaves nothing half-running
}

// An update that cannot read contscan.ini or the policy file never ends the
// wait for running mails: new mail waits forever (checked in a child). One
// that cannot read the rules fails with -6 and keeps the old rules.
TEST_F(PluginLifecycleTest, FailedUpdateHoldsNewMail)
{
    const struct {
        const char *file;
        int code;
    } rows[] = {{"contscan.ini", -10}, {"CsConfig.dat", -7}, {"spamrule/spamrule.txt", -6}};
    PluginSpoolMail mail = install.AddMail(PluginPlainMail(PluginJunkHeaders(), "hello"));
    for (const auto &row : rows) {
        SCOPED_TRACE(row.file);
        const std::string file = install.Path(row.file), kept = ReadFile(file);
        const int status = PluginRunInChild([&] {
            if (plugin().initialize(install.root().c_str(), &info) != 0)
                return 101;
            row.code == -7 ? WriteFile(file, "policies\t") : (void)std::remove(file.c_str());
            if (plugin().command("update") != row.code)
                return 102;
            std::atomic<int> verdict{-100};
            std::thread([&] { verdict = Verdict(mail).second; }).detach();
            std::this_thread::sleep_for(std::chrono::milliseconds(300));
            return row.code == -6 ? (verdict == 1 ? 0 : 103) : (verdict == -100 ? 0 : 104);
        });
        EXPECT_EQ(0, status);
        WriteFile(file, kept);
    }
}

} // namespace
