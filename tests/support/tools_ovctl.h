// Runs the built ovctl (OV_OVCTL_PATH) with words, as a shell would, and
// collects its exit status and output. For the tests of ovctl's commands.
#pragma once

#include <sys/wait.h>

#include <cstdio>
#include <string>
#include <vector>

struct OvctlRun {
    int status = -1;       // exit status; -1 when it did not exit normally
    std::string output;    // standard output (and standard error when merged)
};

inline std::string ovctl_shell_quote(const std::string &word)
{
    std::string text = "'";
    for (char c : word)
        text += c == '\'' ? std::string("'\\''") : std::string(1, c);
    return text + "'";
}

// mergeStderr: standard error joins the output; otherwise it is discarded.
inline OvctlRun run_ovctl(const std::vector<std::string> &words, bool mergeStderr = true)
{
    std::string command = ovctl_shell_quote(OV_OVCTL_PATH);
    for (const std::string &word : words)
        command += " " + ovctl_shell_quote(word);
    command += mergeStderr ? " 2>&1 </dev/null" : " 2>/dev/null </dev/null";
    OvctlRun run;
    FILE *pipe = popen(command.c_str(), "r");
    if (!pipe)
        return run;
    char block[4096];
    size_t got;
    while ((got = fread(block, 1, sizeof block, pipe)) > 0)
        run.output.append(block, got);
    int status = pclose(pipe);
    run.status = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    return run;
}
