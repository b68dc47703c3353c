// What the ovctl tests share: ovctl run as a shell would, a scratch example
// installation, and tables of command lines with their status and output.
#pragma once

#include <sys/wait.h>

#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "support/base_temp_dir.h"

struct OvctlRun {
    int status = -1;    // exit status; -1 when it did not exit normally
    std::string output; // standard output (and standard error when merged)
};

struct OvctlOptions {
    OvctlOptions(bool merge = true) : mergeStderr(merge) {}
    bool mergeStderr; // standard error joins the output, else it is dropped
    std::string stdinFile;   // empty: /dev/null
    std::string workDir;     // where ovctl runs; empty: here
};

inline std::string ovctl_shell_quote(const std::string &word)
{
    std::string text = "'";
    for (char c : word)
        text += c == '\'' ? std::string("'\\''") : std::string(1, c);
    return text + "'";
}

inline OvctlRun run_shell(const std::string &command)
{
    OvctlRun run;
    FILE *pipe = popen(command.c_str(), "r");
    if (!pipe)
        return run;
    char block[4096];
    for (size_t got; (got = fread(block, 1, sizeof block, pipe)) > 0;)
        run.output.append(block, got);
    const int status = pclose(pipe);
    run.status = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    return run;
}

inline OvctlRun run_ovctl(const std::vector<std::string> &words, const OvctlOptions &options = {})
{
    std::string command = ovctl_shell_quote(OV_OVCTL_PATH);
    if (!options.workDir.empty())
        command = "cd " + ovctl_shell_quote(options.workDir) + " && " + command;
    for (const std::string &word : words)
        command += " " + ovctl_shell_quote(word);
    command += options.mergeStderr ? " 2>&1" : " 2>/dev/null";
    return run_shell(command + " <" +
                     ovctl_shell_quote(options.stdinFile.empty() ? "/dev/null" : options.stdinFile));
}

inline std::string example_mail(const std::string &name)
{
    return std::string(OV_SOURCE_DIR) + "/examples/mail/" + name;
}

// A copy of examples/gateway (or another installation under the sources).
class ExampleRoot
{
public:
    explicit ExampleRoot(const std::string &source = "examples/gateway")
    {
        std::filesystem::copy(OV_SOURCE_DIR "/" + source, m_tmp.dir(),
                              std::filesystem::copy_options::recursive);
    }
    std::string root() const { return m_tmp.dir(); }
    std::string file(const std::string &name) const { return m_tmp.path("Plug-Ins/OV/" + name); }
    std::string write(const std::string &name, const std::string &text) const
    {
        return m_tmp.write("Plug-Ins/OV/" + name, text);
    }

private:
    BaseTempDir m_tmp;
};

// A command line, its exit status and its whole output (a part on failure).
struct OvctlCase {
    std::vector<std::string> words;
    int status;
    std::string output;
    std::string stdinFile = "";
};

inline void expect_ovctl_cases(const std::vector<OvctlCase> &cases, OvctlOptions options = {})
{
    for (const OvctlCase &c : cases) {
        std::string line;
        for (const std::string &word : c.words)
            line += word + " ";
        SCOPED_TRACE(line);
        options.stdinFile = c.stdinFile;
        const OvctlRun run = run_ovctl(c.words, options);
        EXPECT_EQ(run.status, c.status) << run.output;
        if (c.status == 0)
            EXPECT_EQ(run.output, c.output);
        else
            EXPECT_NE(run.output.find(c.output), std::string::npos) << run.output;
    }
}
