// Fuzz target: ReadPolicy over arbitrary policy files, then the automaton
// built from whatever was read, run over a short text in both modes.
//
// The input is written as CsConfig.dat into a scratch directory holding a
// settings file (with an exclusion file for "Anti-Spam") and a small import
// file, so that "sf" tokens naming "words.txt" or "ex.txt" read real files.
#include <stdlib.h>
#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <cstring>
#include <string>

#include "contscan/content_scan.h"
#include "contscan/keyword_tree.h"
#include "contscan/policy.h"
#include "contscan/policy_reader.h"

namespace
{

std::string WriteFile(const std::string &path, const void *data, size_t size)
{
    FILE *file = std::fopen(path.c_str(), "wb");
    if (file) {
        std::fwrite(data, 1, size, file);
        std::fclose(file);
    }
    return path;
}

std::string WriteFile(const std::string &path, const std::string &text)
{
    return WriteFile(path, text.data(), text.size());
}

struct Scratch {
    Scratch()
    {
        char pattern[] = "/tmp/fuzz_contscan_policy_XXXXXX";
        dir = mkdtemp(pattern) ? pattern : "/tmp";
        settings =
            WriteFile(dir + "/contscan.ini",
                      "[Content Filter]\nExactMatch=no\n[Advanced Options]\nEx-AntiSpam=ex.txt\n"
                      "[Out]\nOutboundMailScan=no\n");
        WriteFile(dir + "/ex.txt", "spam,ham\n");
        WriteFile(dir + "/words.txt", "free,money\nspam,ham\nwin\n");
        text = WriteFile(dir + "/DFI1", "Free money! You win spam and ham\nnext line\n");
        policy = dir + "/CsConfig.dat";
    }
    ~Scratch()
    {
        for (const char *name : {"contscan.ini", "ex.txt", "words.txt", "DFI1", "CsConfig.dat"})
            std::remove((dir + "/" + name).c_str());
        rmdir(dir.c_str());
    }
    std::string dir, settings, text, policy;
};

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    static Scratch scratch;
    WriteFile(scratch.policy, data, size);
    POLICYSET *set = ZWContScanInit(scratch.policy.c_str(), scratch.settings.c_str());
    if (!set)
        return 0;
    std::vector<_POLICY_MATCH_INFO> entries;
    for (POLICY_STRU *p = set->m_pFirstPolicy; p; p = p->m_pNext)
        entries.push_back(_POLICY_MATCH_INFO{p, 0, 0, nullptr});
    for (size_t i = 0; i + 1 < entries.size(); ++i)
        entries[i].m_pNext = &entries[i + 1];
    static MEMBUF membuf;
    for (int inMemory = 0; inMemory < 2; ++inMemory) {
        membuf.m_bInMemory = inMemory;
        std::strcpy(membuf.m_szData, "Free money! You win spam and ham");
        int result = ZWContScanScanFile(set, &membuf, &scratch.text[0],
                                        entries.empty() ? nullptr : &entries[0]);
        if (result < 0)
            __builtin_trap(); // the text file is there: the scan must work
    }
    ZWContScanCleanUp(set);
    return 0;
}
