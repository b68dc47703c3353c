// The notify tests' scratch directory (the program and temporary directory,
// its path ending in "/").
#pragma once

#include <string>

#include "support/base_temp_dir.h"

struct NotifyScratchDir : BaseTempDir {
    std::string path() const { return dir() + "/"; }
    std::string file(const std::string &name) const { return BaseTempDir::path(name); }
};

