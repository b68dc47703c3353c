// Test helpers for the keyword content scan.
//
//   PatternTree tree({"he", "she", "hers"});       // one keyword record each
//   std::vector<int> hits = tree.SearchText("ushers", false, false);
//   // hits holds pattern numbers in the order of the match records
//
//   std::string file = PolicyFileText({"shPolicy", "pe=t", "whfree", "wdmoney"});
//   // "CsConfig.dat2\tshPolicy\tpe=t\twhfree\twdmoney\t"
#pragma once

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <deque>
#include <memory>
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
        for (size_t i = 0; i < order.size(); ++i)
            order[i] = i;
        if (inOrder) {
            std::stable_sort(order.begin(), order.end(), [this](size_t a, size_t b) {
                return std::strcmp(m_patterns[a].c_str(), m_patterns[b].c_str()) < 0;
            });
        }
        for (size_t i : order)
            AddPatternToKeywordTree(m_tree.get(), m_patterns[i].c_str(), nullptr, &m_list,
                                    &m_keywords[i]);
        m_built = ConstructFailureLink(m_tree.get()) == 1;
        FreeDepthNodes(m_tree.get());
        FreeTreeNode(m_tree.get());
    }

    bool built() const { return m_built; }
    KEYWORDTREE *tree() { return m_tree.get(); }

    // Scans text in memory mode (the file must exist: one is made in a
    // scratch directory). *result receives the search's return value.
    std::vector<int> SearchText(const std::string &text, bool caseSensitive, bool exactMatch,
                                int *result = nullptr, std::string *lowered = nullptr)
    {
        std::unique_ptr<MEMBUF> membuf(new MEMBUF{});
        membuf->m_bInMemory = 1;
        std::memcpy(membuf->m_szData, text.data(),
                    std::min(text.size(), sizeof membuf->m_szData - 1));
        membuf->m_nLength = static_cast<int32_t>(text.size());
        std::string path = m_dir.write("empty.txt", "");
        std::vector<int> hits =
            Search(membuf.get(), path.c_str(), caseSensitive, exactMatch, result);
        if (lowered)
            *lowered = membuf->m_szData;
        return hits;
    }

    // Scans text in file mode.
    std::vector<int> SearchFile(const std::string &text, bool caseSensitive, bool exactMatch,
                                int *result = nullptr)
    {
        std::string path = m_dir.write("text.txt", text);
        return Search(nullptr, path.c_str(), caseSensitive, exactMatch, result);
    }

    std::vector<int> Search(MEMBUF *membuf, const char *path, bool caseSensitive, bool exactMatch,
                            int *result)
    {
        KEYWORD_MATCH_SET matches = {};
        int rc = AhoCorasickStringSearch(m_tree.get(), membuf, path, caseSensitive, exactMatch,
                                         &matches);
        if (result)
            *result = rc;
        std::vector<int> hits;
        for (KEYWORD_MATCH_INFO *m = matches.m_pFirst; m; m = m->m_pNext)
            hits.push_back(IndexOf(m->m_pKeyword));
        FreeKeywordMatchSet(&matches);
        return hits;
    }

    // The patterns of a hit list, for readable failures.
    std::vector<std::string> Names(const std::vector<int> &hits) const
    {
        std::vector<std::string> names;
        for (int hit : hits)
            names.push_back(hit >= 0 ? m_patterns[hit] : "?");
        return names;
    }

private:
    struct TreeDeleter {
        void operator()(KEYWORDTREE *tree) const { FreeKeywordTree(tree); }
    };

    int IndexOf(const void *keyword) const
    {
        for (size_t i = 0; i < m_keywords.size(); ++i) {
            if (&m_keywords[i] == keyword)
                return static_cast<int>(i);
        }
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
