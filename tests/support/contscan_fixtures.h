// Test helpers for the keyword content scan.
//
//   PatternTree tree({"he", "she", "hers"});   // one keyword record each
//   std::vector<int> hits = tree.SearchText("ushers", false, false);   // pattern numbers
//   std::string file = PolicyFileText({"shPolicy", "whfree"});   // "CsConfig.dat2\tshPolicy\twhfree\t"
#pragma once

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <deque>
#include <memory>
#include <numeric>
#include <string>
#include <vector>

#include "contscan/keyword_tree.h"
#include "support/base_temp_dir.h"

// An automaton over a list of patterns, each with its own keyword record;
// denseLimit 0 lets the tree choose how many states get rows. With inOrder
// the patterns are added sorted by text, as BuildKeywordTree adds them.
class PatternTree {
public:
    explicit PatternTree(const std::vector<std::string> &patterns, uint32_t denseLimit = 0,
                         bool inOrder = false)
        : m_patterns(patterns), m_keywords(patterns.size()), m_tree(InitKeywordTree())
    {
        m_tree->m_nDenseLimit = denseLimit;
        std::vector<size_t> order(m_patterns.size());
        std::iota(order.begin(), order.end(), 0);
        if (inOrder)
            std::stable_sort(order.begin(), order.end(),
                             [this](size_t a, size_t b) { return m_patterns[a] < m_patterns[b]; });
        for (size_t i : order)
            AddPatternToKeywordTree(m_tree.get(), m_patterns[i].c_str(), nullptr, &m_list, &m_keywords[i]);
        m_built = ConstructFailureLink(m_tree.get()) == 1;
        FreeDepthNodes(m_tree.get());
        FreeTreeNode(m_tree.get());
    }

    bool built() const { return m_built; }
    KEYWORDTREE *tree() { return m_tree.get(); }

    // Scans text in memory mode (an empty file must exist); *result gets the return value.
    std::vector<int> SearchText(const std::string &text, bool caseSensitive, bool exactMatch,
                                int *result = nullptr, std::string *lowered = nullptr)
    {
        std::unique_ptr<MEMBUF> membuf(new MEMBUF{});
        membuf->m_bInMemory = 1;
        std::memcpy(membuf->m_szData, text.data(), std::min(text.size(), sizeof membuf->m_szData - 1));
        membuf->m_nLength = static_cast<int32_t>(text.size());
        std::vector<int> hits = Search(membuf.get(), m_dir.write("empty.txt", "").c_str(),
                                       caseSensitive, exactMatch, result);
        if (lowered)
            *lowered = membuf->m_szData;
        return hits;
    }

    std::vector<int> SearchFile(const std::string &text, bool caseSensitive, bool exactMatch,
                                int *result = nullptr)
    {
        return Search(nullptr, m_dir.write("text.txt", text).c_str(), caseSensitive, exactMatch, result);
    }

    std::vector<int> Search(MEMBUF *membuf, const char *path, bool caseSensitive, bool exactMatch,
                            int *result)
    {
        KEYWORD_MATCH_SET matches = {};
        const int rc = AhoCorasickStringSearch(m_tree.get(), membuf, path, caseSensitive, exactMatch, &matches);
        if (result)
            *result = rc;
        std::vector<int> hits;
        for (KEYWORD_MATCH_INFO *m = matches.m_pFirst; m; m = m->m_pNext)
            hits.push_back(IndexOf(m->m_pKeyword));
        FreeKeywordMatchSet(&matches);
        return hits;
    }

private:
    struct TreeDeleter {
        void operator()(KEYWORDTREE *tree) const { FreeKeywordTree(tree); }
    };

    int IndexOf(const void *keyword) const
    {
        for (size_t i = 0; i < m_keywords.size(); ++i)
            if (&m_keywords[i] == keyword)
                return static_cast<int>(i);
        return -1;
    }

    std::vector<std::string> m_patterns;
    std::deque<KEYWORD_STRU> m_keywords;
    KEYWORDLIST_STRU m_list{};
    std::unique_ptr<KEYWORDTREE, TreeDeleter> m_tree;
    bool m_built = false;
    BaseTempDir m_dir;
};

// A policy file: the magic token and the given tokens, each ended by a tab.
inline std::string PolicyFileText(const std::vector<std::string> &tokens)
{
    std::string text = "CsConfig.dat2\t";
    for (const std::string &token : tokens)
        text += token + "\t";
    return text;
}
