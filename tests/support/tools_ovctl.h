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

struct OvctlOptions {
    bool mergeStderr = true;   // standard error joins the output, else it is dropped
    std::string stdinFile;     // standard input; empty: /dev/null
    std::string workDir;       // where ovctl runs; empty: here
    std::string tmpDir;        // TMPDIR for ovctl; empty: inherited
};

inline OvctlRun run_ovctl(const std::vector<std::string> &words, const OvctlOptions &options)
{
    std::string command = ovctl_shell_quote(OV_OVCTL_PATH);
    if (!options.tmpDir.empty())
        command = "TMPDIR=" + ovctl_shell_quote(options.tmpDir) + " " + command;
    for (const std::string &word : words)
        command += " " + ovctl_shell_quote(word);
    command += options.mergeStderr ? " 2>&1" : " 2>/dev/null";
    command += " <" + (options.stdinFile.empty() ? std::string("/dev/null")
                                                 : ovctl_shell_quote(options.stdinFile));
    if (!options.workDir.empty())
        command = "cd " + ovctl_shell_quote(options.workDir) + " && " + command;
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

inline OvctlRun run_ovctl(const std::vector<std::string> &words, bool mergeStderr = true)
{
    OvctlOptions options;
    options.mergeStderr = mergeStderr;
    return run_ovctl(words, options);
}

// The words of a command line written with single blanks between them.
inline std::vector<std::string> ovctl_words(const std::string &line)
{
    std::vector<std::string> words;
    size_t start = 0;
    while (start < line.size()) {
        size_t end = line.find(' ', start);
        if (end == std::string::npos)
            end = line.size();
        if (end > start)
            words.push_back(line.substr(start, end - start));
        start = end + 1;
    }
    return words;
}
