// Fuzz target: the keyword automaton over arbitrary texts with a fixed
// keyword set, checked against a plain search that tries every keyword at
// every place (tests/support/contscan_naive_search.h).
//
// Input: one flag byte (bit 0 exact matching, bit 1 case sensitive, bit 2
// memory mode), then the text.
#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>

#include "contscan/keyword_tree.h"
#include "tests/support/contscan_naive_search.h"

namespace
{

const std::vector<std::string> kPatterns = {
    "a",
    "aa",
    "ab",
    "abc",
    "bca",
    "b c",
    "abcabcab",
    "c\n",
    "cab\n",
    "1a",
    "A",
    "Ab",
    "\xa4\xa2",
    "\xa4\xa2\xa4",
    "\x82\xa0",
    "ab",
    "zzzzzzzzzzzzzzzzzzzzzzzzzzzzzzzzzzzzzzzzzzzzzzzz",
    std::string(80, 'q'),
    std::string(81, 'r'),
    "",
};

struct Automaton {
    Automaton()
    {
        for (int dense : {0, 1}) {
            trees[dense] = InitKeywordTree();
            trees[dense]->m_nDenseLimit = dense ? 1 : 0;
            keywords.resize(kPatterns.size());
            for (size_t i = 0; i < kPatterns.size(); ++i)
                AddPatternToKeywordTree(trees[dense], kPatterns[i].c_str(), nullptr, nullptr,
                                        &keywords[i]);
            if (!ConstructFailureLink(trees[dense]))
                std::abort();
        }
        char pattern[] = "/tmp/fuzz_contscan_search_XXXXXX";
        int fd = mkstemp(pattern);
        if (fd < 0)
            std::abort();
        close(fd);
        path = pattern;
    }
    ~Automaton()
    {
        std::remove(path.c_str());
        for (KEYWORDTREE *tree : trees)
            FreeKeywordTree(tree);
    }
    KEYWORDTREE *trees[2];
    std::vector<KEYWORD_STRU> keywords;
    std::string path;
};

std::vector<int> Hits(const Automaton &a, const KEYWORD_MATCH_SET &matches)
{
    std::vector<int> hits;
    for (const KEYWORD_MATCH_INFO *m = matches.m_pFirst; m; m = m->m_pNext)
        hits.push_back(
            static_cast<int>(static_cast<const KEYWORD_STRU *>(m->m_pKeyword) - &a.keywords[0]));
    return hits;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    static Automaton automaton;
    static std::unique_ptr<MEMBUF> membuf(new MEMBUF);
    if (size < 1)
        return 0;
    bool exactMatch = data[0] & 1, caseSensitive = data[0] & 2, inMemory = data[0] & 4;
    std::string text(reinterpret_cast<const char *>(data + 1), size - 1);
    if (text.size() >= sizeof membuf->m_szData)
        return 0;
    FILE *file = std::fopen(automaton.path.c_str(), "wb");
    if (!file)
        std::abort();
    if (!inMemory)
        std::fwrite(text.data(), 1, text.size(), file);
    std::fclose(file);
    NaiveSearch naive(kPatterns, exactMatch, caseSensitive);
    std::vector<int> expected = inMemory ? naive.Memory(text) : naive.File(text);
    for (KEYWORDTREE *tree : automaton.trees) {
        membuf->m_bInMemory = inMemory;
        std::memcpy(membuf->m_szData, text.data(), text.size());
        membuf->m_szData[text.size()] = '\0';
        KEYWORD_MATCH_SET matches = {};
        if (AhoCorasickStringSearch(tree, membuf.get(), automaton.path.c_str(), caseSensitive,
                                    exactMatch, &matches) != 0)
            __builtin_trap();
        if (Hits(automaton, matches) != expected)
            __builtin_trap();
        FreeKeywordMatchSet(&matches);
    }
    return 0;
}
