// What the tests of ovctl share: a scratch copy of an example installation,
// the example mails, a directory's names, and tables of command lines with
// the exit status and output each must give.
#pragma once

#include <dirent.h>

#include <algorithm>
#include <cstdlib>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "support/base_temp_dir.h"
#include "support/tools_ovctl.h"

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
        EXPECT_EQ(std::system(("cp -r " + ovctl_shell_quote(OV_SOURCE_DIR "/" + source) + "/. " +
                               ovctl_shell_quote(m_tmp.dir()))
                                  .c_str()),
                  0);
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

// The names in a directory, sorted, without "." and "..".
inline std::vector<std::string> directory_names(const std::string &dir)
{
    std::vector<std::string> names;
    if (DIR *handle = opendir(dir.c_str())) {
        while (dirent *entry = readdir(handle))
            if (std::string(entry->d_name) != "." && std::string(entry->d_name) != "..")
                names.push_back(entry->d_name);
        closedir(handle);
    }
    std::sort(names.begin(), names.end());
    return names;
}

// One command line: its exit status and its output, the whole output when
// it succeeds and a part of it otherwise.
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
